#pragma once

#include "core/convert/line_reader.h"

#include <QObject>
#include <QProcess>
#include <QStringList>

namespace sonivert {

struct FfmpegJobResult
{
    bool finished = false;
    bool ok = false; // exit code 0, neither stopped nor crashed
    bool stopped = false; // ended by Stop
    bool crashed = false; // ended by a signal it did not get from us
    bool failedToStart = false;
    int exitCode = -1;
    QString startError; // why the program could not be started
    QString program;
    QStringList arguments;
    QStringList errorLines; // error and fatal lines, prefixes removed; the last ones only
    QStringList stderrTail; // the last lines of standard error as ffmpeg wrote them
    bool partialFile = false; // ffmpeg said the input ended early
};

// One run of the ffmpeg program as a child process. The child dies with this process, reports
// its position through "-progress pipe:1" (the arguments must ask for it) and is paused and
// resumed by SIGSTOP and SIGCONT. Stop continues it, asks it to end and kills it after a grace
// period. Standard error is kept only as a short tail, so a long or noisy run stays small.
class FfmpegJob : public QObject
{
    Q_OBJECT

public:
    static constexpr int StopGraceMs = 3000;
    static constexpr int TailLines = 120;
    static constexpr int ErrorLines = 40;
    static constexpr int LoggedLines = 4000;

    FfmpegJob(const QString &program, const QStringList &arguments, QObject *parent = nullptr);
    ~FfmpegJob() override;

    void start();
    void pause();
    void resume();
    // Ends the child; finished() still follows, with stopped set.
    void stop();
    // Stop and wait up to the grace period (plus a moment for a kill) for the end.
    void stopAndWait();

    bool isFinished() const { return m_result.finished; }
    bool isPaused() const { return m_paused; }
    const FfmpegJobResult &Result() const { return m_result; }

signals:
    void progress(qint64 outTimeUs);
    // One line of standard error with its level; after LoggedLines lines only a notice follows.
    void logLine(int level, const QString &text);
    void finished();

private:
    void readProgress();
    void readErrors();
    void takeErrorLine(const QString &line);
    void onFinished(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);
    void finish();
    void signalChild(int signal);

    QProcess m_process;
    FfmpegJobResult m_result;
    ProgressReader m_progress;
    QByteArray m_errorBuffer;
    int m_loggedLines = 0;
    bool m_paused = false;
    bool m_stopping = false;
};

} // namespace sonivert
