#include "support/cli_runner.h"

#include <QDir>
#include <QProcess>

namespace sonivert::test {

QString cliProgram()
{
    return QStringLiteral(SONIVERT_BIN_DIR "/sonivert-cli");
}

QStringList CliRun::lines() const
{
    QStringList all = text().split(QLatin1Char('\n'));
    if (!all.isEmpty() && all.constLast().isEmpty())
        all.removeLast();
    return all;
}

QJsonDocument CliRun::json() const
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(out, &error);
    if (error.error != QJsonParseError::NoError)
        qWarning("sonivert-cli printed no JSON (%s): %s", qPrintable(error.errorString()),
            out.constData());
    return doc;
}

CliRun runCli(const QStringList &args, int timeoutMs)
{
    QProcess cli;
    cli.start(cliProgram(), args);
    CliRun run;
    if (!cli.waitForStarted()) {
        qWarning(
            "%s cannot be started: %s", qPrintable(cliProgram()), qPrintable(cli.errorString()));
        return run;
    }
    if (!cli.waitForFinished(timeoutMs)) {
        qWarning(
            "sonivert-cli %s did not end within %d ms", qPrintable(args.join(u' ')), timeoutMs);
        cli.kill();
        cli.waitForFinished();
    } else if (cli.exitStatus() == QProcess::NormalExit) {
        run.exitCode = cli.exitCode();
    }
    run.out = cli.readAllStandardOutput();
    run.err = QString::fromUtf8(cli.readAllStandardError());
    return run;
}

QString outputFolder(const QTemporaryDir &dir, const QString &name)
{
    const QString path = dir.filePath(name);
    QDir().mkpath(path);
    return path;
}

} // namespace sonivert::test
