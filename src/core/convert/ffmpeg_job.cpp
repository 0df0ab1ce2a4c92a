#include "core/convert/ffmpeg_job.h"

#include "core/convert/engine_message.h"
#include "core/convert/line_reader.h"

#include <QTimer>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace sonivert {

namespace {

template<typename List> void keepLast(List &list, qsizetype count)
{
    if (list.size() > count)
        list.erase(list.begin(), list.begin() + (list.size() - count));
}

} // namespace

FfmpegJob::FfmpegJob(const QString &program, const QStringList &arguments, QObject *parent)
    : QObject(parent)
{
    m_result.program = program;
    m_result.arguments = arguments;
    m_process.setProgram(program);
    m_process.setArguments(arguments);
    m_process.setStandardInputFile(QProcess::nullDevice());

    // SIGKILL rather than SIGTERM: a paused (stopped) child would keep a SIGTERM pending forever,
    // and its output is an unfinished temporary file either way.
    const pid_t parent_pid = ::getpid();
    m_process.setChildProcessModifier([parent_pid] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent_pid)
            ::_exit(127);
    });

    connect(&m_process, &QProcess::readyReadStandardOutput, this, &FfmpegJob::readProgress);
    connect(&m_process, &QProcess::readyReadStandardError, this, &FfmpegJob::readErrors);
    connect(&m_process, &QProcess::finished, this, &FfmpegJob::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &FfmpegJob::onError);
    connect(&m_process, &QProcess::started, this, [this] {
        if (m_paused)
            signalChild(SIGSTOP);
    });
}

FfmpegJob::~FfmpegJob()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.disconnect(this);
        signalChild(SIGCONT);
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

void FfmpegJob::start()
{
    m_process.start(QIODevice::ReadOnly);
}

void FfmpegJob::signalChild(int signal)
{
    const qint64 pid = m_process.processId();
    if (pid > 0 && m_process.state() != QProcess::NotRunning)
        ::kill(static_cast<pid_t>(pid), signal);
}

void FfmpegJob::pause()
{
    if (m_paused || m_result.finished)
        return;
    m_paused = true;
    signalChild(SIGSTOP);
}

void FfmpegJob::resume()
{
    if (!m_paused)
        return;
    m_paused = false;
    signalChild(SIGCONT);
}

void FfmpegJob::stop()
{
    if (m_result.finished || m_stopping)
        return;
    m_stopping = true;
    m_paused = false;
    if (m_process.state() == QProcess::NotRunning) {
        // Never started (or start failed before the event arrived): nothing to end.
        QTimer::singleShot(0, this, [this] { finish(); });
        return;
    }
    // A stopped process keeps SIGTERM pending until it runs again.
    signalChild(SIGCONT);
    m_process.terminate();
    QTimer::singleShot(StopGraceMs, this, [this] {
        if (m_process.state() != QProcess::NotRunning)
            m_process.kill();
    });
}

void FfmpegJob::stopAndWait()
{
    stop();
    if (m_process.state() == QProcess::NotRunning) {
        if (!m_result.finished)
            finish();
        return;
    }
    if (!m_process.waitForFinished(StopGraceMs)) {
        m_process.kill();
        m_process.waitForFinished(1000);
    }
    if (!m_result.finished)
        finish();
}

void FfmpegJob::readProgress()
{
    for (const qint64 outTimeUs : m_progress.feed(m_process.readAllStandardOutput())) {
        if (!m_stopping)
            emit progress(outTimeUs);
    }
}

void FfmpegJob::readErrors()
{
    m_errorBuffer += m_process.readAllStandardError();
    for (const QByteArray &bytes : takeLines(m_errorBuffer, false))
        takeErrorLine(QString::fromUtf8(bytes));
}

void FfmpegJob::takeErrorLine(const QString &line)
{
    m_result.stderrTail << line;
    keepLast(m_result.stderrTail, TailLines);

    const FfmpegLogLine parsed = parseFfmpegLogLine(line);
    if (parsed.level <= LogError) {
        m_result.errorLines << parsed.text;
        keepLast(m_result.errorLines, ErrorLines);
    }
    if (reportsPartialFile(parsed.text))
        m_result.partialFile = true;

    if (m_loggedLines < LoggedLines) {
        emit logLine(parsed.level, line);
    } else if (m_loggedLines == LoggedLines) {
        emit logLine(
            LogWarning, QStringLiteral("(further output of this run is left out of the log)"));
    }
    ++m_loggedLines;
}

void FfmpegJob::onFinished(int exitCode, QProcess::ExitStatus status)
{
    m_result.exitCode = exitCode;
    m_result.crashed = status == QProcess::CrashExit && !m_stopping;
    if (m_result.finished)
        return;
    finish();
}

void FfmpegJob::onError(QProcess::ProcessError error)
{
    if (error != QProcess::FailedToStart || m_result.finished)
        return;
    m_result.failedToStart = true;
    m_result.startError = m_process.errorString();
    finish();
}

void FfmpegJob::finish()
{
    if (m_result.finished)
        return;
    readProgress();
    m_errorBuffer += m_process.readAllStandardError();
    for (const QByteArray &bytes : takeLines(m_errorBuffer, true))
        takeErrorLine(QString::fromUtf8(bytes));

    m_result.finished = true;
    m_result.stopped = m_stopping;
    m_result.ok = !m_stopping && !m_result.failedToStart && !m_result.crashed
        && m_process.exitStatus() == QProcess::NormalExit && m_result.exitCode == 0;
    emit finished();
}

} // namespace sonivert
