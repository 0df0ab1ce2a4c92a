#include "support/media_maker.h"

#include <QProcess>
#include <QTest>

using sonivert::test::CliProgram;

namespace {

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

Run runCli(const QStringList &args)
{
    QProcess p;
    p.start(CliProgram(), args);
    p.waitForFinished(30000);
    return { p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
        QString::fromUtf8(p.readAllStandardError()) };
}

} // namespace

class CliMainTest : public QObject
{
    Q_OBJECT

private slots:
    void versionNamesTheBuild()
    {
        for (const char *flag : { "--version", "-v" }) {
            const Run r = runCli({ QLatin1String(flag) });
            QCOMPARE(r.exitCode, 0);
            QCOMPARE(r.out, QStringLiteral("sonivert-cli " SONIVERT_VERSION "\n"));
        }
    }

    void helpListsUsageAndExitCodes()
    {
        const Run r = runCli({ QStringLiteral("--help") });
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.startsWith(QStringLiteral("Usage: sonivert-cli COMMAND")));
        QVERIFY(r.out.contains(QStringLiteral("2 usage error")));
        QVERIFY(r.err.isEmpty());
    }

    void usageErrorsExitWithTwo()
    {
        Run r = runCli({});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains(QStringLiteral("Usage:")));
        QVERIFY(r.out.isEmpty());

        r = runCli({ QStringLiteral("transmogrify") });
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.startsWith(QStringLiteral("sonivert-cli: unknown command 'transmogrify'")));
    }
};

QTEST_GUILESS_MAIN(CliMainTest)
#include "cli_main_test.moc"
