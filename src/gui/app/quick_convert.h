#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <functional>

namespace sonivert {

class DesktopNotifier;
class SleepInhibitor;

// What one sonivert-cli conversion gave, read from its JSON answer (or its complaint).
struct QuickConvertOutcome
{
    int done = 0;
    int failed = 0; // every file not converted, stopped ones included
    QString folder; // where the outputs went; "" when nothing was converted
    QStringList problems; // "name: why" for each file not converted
    QString error; // the whole run could not happen: why, in the command's own words
    int exitCode = 0;
};

// Reads sonivert-cli convert's exit, JSON (standard output) and complaint (standard error).
QuickConvertOutcome readQuickConvertOutcome(
    int exitCode, const QByteArray &json, const QString &complaint);

// The desktop's "Convert to" action: converts the files with sonivert-cli, without the window,
// and tells the person how it went: a notification at the start and one at the end with the
// counts, what failed and "Open folder"; a message where no notification can be shown, and
// always when the run could not happen at all.
class QuickConvert : public QObject
{
    Q_OBJECT
public:
    // How the person is told when a notification will not do; failure is true for an error.
    using MessageSink = std::function<void(const QString &text, bool failure)>;

    // The computer does not suspend while the files convert.
    QuickConvert(const QString &cliProgram, DesktopNotifier &notifier, SleepInhibitor &sleep,
        QObject *parent = nullptr);
    // A conversion still running is stopped as Stop would (its unfinished files go).
    ~QuickConvert() override;

    void setMessageSink(MessageSink sink) { m_message = std::move(sink); }
    // What "Open folder" on the end notification does; the program ends after it.
    void setFolderOpener(std::function<void(const QString &)> open)
    {
        m_openFolder = std::move(open);
    }
    // How long the last notification keeps the program for its "Open folder" (default 10 min).
    void setLingerMilliseconds(int ms) { m_linger.setInterval(ms); }

    void start(const QString &formatKeyword, const QStringList &files);
    const QuickConvertOutcome &outcome() const { return m_outcome; }

signals:
    // Told and done: the end notification went away or was used, or the message was answered.
    void finished(int exitCode);

private:
    void onProcessEnded(int exitCode, QProcess::ExitStatus status);
    void tell();
    void tellByMessage(const QString &text, bool failure);
    void finish();

    QString m_cli;
    DesktopNotifier &m_notifier;
    SleepInhibitor &m_sleep;
    MessageSink m_message;
    std::function<void(const QString &)> m_openFolder;
    QProcess m_process;
    QByteArray m_stdout;
    QByteArray m_stderr;
    QString m_format;
    QuickConvertOutcome m_outcome;
    QTimer m_linger;
    bool m_finished = false;
};

} // namespace sonivert
