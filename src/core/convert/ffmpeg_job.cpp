#include "core/convert/ffmpeg_job.h"

#include "core/convert/engine_message.h"

#include <QTimer>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace sonivert {

namespace {

// A line that never ends must not grow without bound.
constexpr qsizetype MaxLineBytes = 64 * 1024;

template<typename List> void keepLast(List &list, qsizetype count)
{
    if (list.size() > count)
        list.erase(list.begin(), list.begin() + (list.size() - count));
}

// Splits complete lines off buffer; a line over the limit is cut there.
QList<QByteArray> takeLines(QByteArray &buffer, bool flushAll)
{
    QList<QByteArray> lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < buffer.size(); ++i) {
        const char c = buffer.at(i);
        if (c == '\n' || c == '\r') {
            if (i > start)
                lines << buffer.mid(start, i - start);
            start = i + 1;
        } else if (i - start >= MaxLineBytes) {
            lines << buffer.mid(start, i - start);
            start = i;
        }
    }
    buffer.remove(0, start);
    if (flushAll && !buffer.isEmpty()) {
        lines << buffer;
        buffer.clear();
    }
    return lines;
}

} // namespace

FfmpegJob::FfmpegJob(const QString &program, const QStringList &arguments, QObject *parent)
    : QObject(parent)
{
    result_.program = program;
    result_.arguments = arguments;
    process_.setProgram(program);
    process_.setArguments(arguments);
    process_.setStandardInputFile(QProcess::nullDevice());

    // SIGKILL rather than SIGTERM: a paused (stopped) child would keep a SIGTERM pending forever,
    // and its output is an unfinished temporary file either way.
    const pid_t parent_pid = ::getpid();
    process_.setChildProcessModifier([parent_pid] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent_pid)
            ::_exit(127);
    });

    connect(&process_, &QProcess::readyReadStandardOutput, this, &FfmpegJob::readProgress);
    connect(&process_, &QProcess::readyReadStandardError, this, &FfmpegJob::readErrors);
    connect(&process_, &QProcess::finished, this, &FfmpegJob::onFinished);
    connect(&process_, &QProcess::errorOccurred, this, &FfmpegJob::onError);
    connect(&process_, &QProcess::started, this, [this] {
        if (paused_)
            signalChild(SIGSTOP);
    });
}

FfmpegJob::~FfmpegJob()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.disconnect(this);
        signalChild(SIGCONT);
        process_.kill();
        process_.waitForFinished(1000);
    }
}

void FfmpegJob::Start()
{
    process_.start(QIODevice::ReadOnly);
}

void FfmpegJob::signalChild(int signal)
{
    const qint64 pid = process_.processId();
    if (pid > 0 && process_.state() != QProcess::NotRunning)
        ::kill(static_cast<pid_t>(pid), signal);
}

void FfmpegJob::Pause()
{
    if (paused_ || result_.finished)
        return;
    paused_ = true;
    signalChild(SIGSTOP);
}

void FfmpegJob::Resume()
{
    if (!paused_)
        return;
    paused_ = false;
    signalChild(SIGCONT);
}

void FfmpegJob::Stop()
{
    if (result_.finished || stopping_)
        return;
    stopping_ = true;
    paused_ = false;
    if (process_.state() == QProcess::NotRunning) {
        // Never started (or start failed before the event arrived): nothing to end.
        QTimer::singleShot(0, this, [this] { finish(); });
        return;
    }
    // A stopped process keeps SIGTERM pending until it runs again.
    signalChild(SIGCONT);
    process_.terminate();
    QTimer::singleShot(StopGraceMs, this, [this] {
        if (process_.state() != QProcess::NotRunning)
            process_.kill();
    });
}

void FfmpegJob::StopAndWait()
{
    Stop();
    if (process_.state() == QProcess::NotRunning) {
        if (!result_.finished)
            finish();
        return;
    }
    if (!process_.waitForFinished(StopGraceMs)) {
        process_.kill();
        process_.waitForFinished(1000);
    }
    if (!result_.finished)
        finish();
}

void FfmpegJob::readProgress()
{
    progressBuffer_ += process_.readAllStandardOutput();
    for (const QByteArray &line : takeLines(progressBuffer_, false)) {
        if (line.startsWith("out_time_us=")) {
            bool ok = false;
            const qint64 value = line.mid(12).toLongLong(&ok);
            if (ok && value >= 0)
                outTimeUs_ = value;
        } else if (line.startsWith("progress=")) {
            if (outTimeUs_ >= 0 && !stopping_)
                emit progress(outTimeUs_);
        }
    }
}

void FfmpegJob::readErrors()
{
    errorBuffer_ += process_.readAllStandardError();
    for (const QByteArray &bytes : takeLines(errorBuffer_, false))
        takeErrorLine(QString::fromUtf8(bytes));
}

void FfmpegJob::takeErrorLine(const QString &line)
{
    result_.stderrTail << line;
    keepLast(result_.stderrTail, TailLines);

    const FfmpegLogLine parsed = ParseFfmpegLogLine(line);
    if (parsed.level <= LogError) {
        result_.errorLines << parsed.text;
        keepLast(result_.errorLines, ErrorLines);
    }
    if (ReportsPartialFile(parsed.text))
        result_.partialFile = true;

    if (loggedLines_ < LoggedLines) {
        emit logLine(parsed.level, line);
    } else if (loggedLines_ == LoggedLines) {
        emit logLine(
            LogWarning, QStringLiteral("(further output of this run is left out of the log)"));
    }
    ++loggedLines_;
}

void FfmpegJob::onFinished(int exitCode, QProcess::ExitStatus status)
{
    result_.exitCode = exitCode;
    result_.crashed = status == QProcess::CrashExit && !stopping_;
    if (result_.finished)
        return;
    finish();
}

void FfmpegJob::onError(QProcess::ProcessError error)
{
    if (error != QProcess::FailedToStart || result_.finished)
        return;
    result_.failedToStart = true;
    result_.startError = process_.errorString();
    finish();
}

void FfmpegJob::finish()
{
    if (result_.finished)
        return;
    readProgress();
    errorBuffer_ += process_.readAllStandardError();
    for (const QByteArray &bytes : takeLines(errorBuffer_, true))
        takeErrorLine(QString::fromUtf8(bytes));

    result_.finished = true;
    result_.stopped = stopping_;
    result_.ok = !stopping_ && !result_.failedToStart && !result_.crashed
        && process_.exitStatus() == QProcess::NormalExit && result_.exitCode == 0;
    emit finished();
}

} // namespace sonivert
