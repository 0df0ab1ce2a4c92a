#include "gui/app/quick_convert.h"

#include "gui/app/desktop_notifier.h"
#include "gui/app/sleep_inhibitor.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sonivert {

namespace {

constexpr int kShownProblems = 3;
constexpr qsizetype kComplaintLimit = 64 * 1024;

// The command's complaint without its name and the usage line that follows a usage error.
QString complaintText(const QString &complaint)
{
    QStringList lines;
    const QString prefix = QStringLiteral("sonivert-cli convert: ");
    for (QString line : complaint.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1String("Usage: ")))
            continue;
        if (line.startsWith(prefix))
            line = line.mid(prefix.size());
        lines.append(line.trimmed());
    }
    return lines.join(QLatin1Char('\n'));
}

QString countText(int done, int failed)
{
    QString text = done == 1 ? QStringLiteral("1 file converted")
                             : QStringLiteral("%1 files converted").arg(done);
    if (failed > 0)
        text += QStringLiteral(", %1 failed").arg(failed);
    return text;
}

} // namespace

QuickConvertOutcome readQuickConvertOutcome(
    int exitCode, const QByteArray &json, const QString &complaint)
{
    QuickConvertOutcome outcome;
    outcome.exitCode = exitCode;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isArray()) {
        // Usage errors and an unusable output folder end before any JSON is written.
        outcome.error = complaintText(complaint);
        if (outcome.error.isEmpty())
            outcome.error = QStringLiteral("sonivert-cli ended with status %1 and said nothing.")
                                .arg(exitCode);
        if (outcome.exitCode == 0)
            outcome.exitCode = 1;
        return outcome;
    }
    for (const QJsonValue &value : document.array()) {
        const QJsonObject entry = value.toObject();
        const QString state = entry.value(QLatin1String("state")).toString();
        if (state == QLatin1String("done")) {
            ++outcome.done;
            if (outcome.folder.isEmpty())
                outcome.folder = QFileInfo(entry.value(QLatin1String("output")).toString()).path();
            continue;
        }
        ++outcome.failed;
        QString why = entry.value(QLatin1String("message")).toString().simplified();
        if (why.isEmpty())
            why = state == QLatin1String("cancelled") ? QStringLiteral("stopped")
                                                      : QStringLiteral("not converted");
        outcome.problems.append(QFileInfo(entry.value(QLatin1String("file")).toString()).fileName()
            + QStringLiteral(": ") + why);
    }
    return outcome;
}

QuickConvert::QuickConvert(
    const QString &cliProgram, DesktopNotifier &notifier, SleepInhibitor &sleep, QObject *parent)
    : QObject(parent)
    , m_cli(cliProgram)
    , m_notifier(notifier)
    , m_sleep(sleep)
{
    m_linger.setSingleShot(true);
    m_linger.setInterval(10 * 60 * 1000);
    connect(&m_linger, &QTimer::timeout, this, &QuickConvert::finish);
    connect(&m_notifier, &DesktopNotifier::closed, this, [this] {
        if (m_linger.isActive())
            finish();
    });
    m_notifier.setOpenFolder([this](const QString &folder) {
        if (!m_linger.isActive())
            return;
        if (m_openFolder)
            m_openFolder(folder);
        finish();
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this,
        [this] { m_stdout += m_process.readAllStandardOutput(); });
    connect(&m_process, &QProcess::readyReadStandardError, this, [this] {
        m_stderr += m_process.readAllStandardError();
        if (m_stderr.size() > kComplaintLimit)
            m_stderr = m_stderr.right(kComplaintLimit);
    });
    connect(&m_process, &QProcess::finished, this, &QuickConvert::onProcessEnded);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        m_outcome = {};
        m_outcome.exitCode = 1;
        m_outcome.error = QStringLiteral("The converter %1 could not be started (%2). Please "
                                         "re-install the program to solve this problem.")
                              .arg(m_cli, m_process.errorString());
        tell();
    });
}

QuickConvert::~QuickConvert()
{
    m_sleep.release();
    // The program is ending (a logout, Ctrl+C): nobody is told any more.
    disconnect(&m_process, nullptr, this, nullptr);
    if (m_process.state() == QProcess::NotRunning)
        return;
    // SIGTERM is the command's Stop: it removes what was not finished before it ends.
    m_process.terminate();
    if (!m_process.waitForFinished(15000))
        m_process.kill();
    m_process.waitForFinished(1000);
}

void QuickConvert::start(const QString &formatKeyword, const QStringList &files)
{
    m_format = formatKeyword;
    DesktopNotifier::Notice notice;
    notice.summary = QStringLiteral("Converting to %1").arg(formatKeyword.toUpper());
    notice.body = files.size() == 1 ? QFileInfo(files.first()).fileName()
                                    : QStringLiteral("%1 files").arg(files.size());
    notice.category = QStringLiteral("transfer");
    m_notifier.show(notice);
    m_process.setProgram(m_cli);
    m_process.setArguments(QStringList { QStringLiteral("convert"), QStringLiteral("--format"),
                               formatKeyword, QStringLiteral("--json"), QStringLiteral("--") }
        + files);
    m_sleep.hold();
    m_process.start(QIODevice::ReadOnly);
}

void QuickConvert::onProcessEnded(int exitCode, QProcess::ExitStatus status)
{
    m_stdout += m_process.readAllStandardOutput();
    m_stderr += m_process.readAllStandardError();
    const QString complaint = QString::fromUtf8(m_stderr);
    if (status == QProcess::CrashExit) {
        m_outcome = {};
        m_outcome.exitCode = 1;
        m_outcome.error
            = QStringLiteral("The conversion ended unexpectedly. ") + complaintText(complaint);
    } else {
        m_outcome = readQuickConvertOutcome(exitCode, m_stdout, complaint);
    }
    tell();
}

void QuickConvert::tell()
{
    m_sleep.release();
    if (!m_outcome.error.isEmpty()) {
        // Nothing ran: the person has to act, and a notification would pass unread.
        m_notifier.show({ QStringLiteral("Conversion failed"), m_outcome.error, QString(),
            QStringLiteral("transfer.error") });
        tellByMessage(m_outcome.error, true);
        return;
    }
    DesktopNotifier::Notice notice;
    notice.summary = m_outcome.done == 0
        ? QStringLiteral("Conversion failed")
        : QStringLiteral("Converted to %1").arg(m_format.toUpper());
    notice.body = countText(m_outcome.done, m_outcome.failed);
    const QStringList listed = m_outcome.problems.mid(0, kShownProblems);
    if (!listed.isEmpty())
        notice.body += QStringLiteral(".\n") + listed.join(QLatin1Char('\n'));
    if (m_outcome.problems.size() > kShownProblems)
        notice.body
            += QStringLiteral("\nand %1 more").arg(m_outcome.problems.size() - kShownProblems);
    notice.folder = m_outcome.folder;
    if (m_outcome.failed > 0)
        notice.category = QStringLiteral("transfer.error");
    m_notifier.show(notice, [this, notice](bool shown) {
        if (!shown)
            tellByMessage(
                notice.summary + QStringLiteral("\n\n") + notice.body, m_outcome.done == 0);
        else if (notice.folder.isEmpty())
            finish();
        else
            m_linger.start(); // the notice's "Open folder" needs someone to answer it
    });
}

void QuickConvert::tellByMessage(const QString &text, bool failure)
{
    if (m_message)
        m_message(text, failure);
    finish();
}

void QuickConvert::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_linger.stop();
    emit finished(m_outcome.exitCode);
}

} // namespace sonivert
