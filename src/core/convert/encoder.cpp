#include "core/convert/encoder.h"

#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/output_naming.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavutil/error.h>
}

namespace sonivert {

namespace {

constexpr int StallCheckSlackMs = 2000;

// 0 when the path is a file this process can read, else the errno that says why not.
int readableFileError(const QByteArray &name)
{
    struct stat st;
    if (::stat(name.constData(), &st) != 0)
        return errno;
    if (S_ISDIR(st.st_mode))
        return EISDIR;
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    ::close(fd);
    return 0;
}

QString absolutePath(const QString &path)
{
    return QFileInfo(path).isAbsolute() ? path : QFileInfo(path).absoluteFilePath();
}

} // namespace

qint64 expectedOutputLength(qint64 inputDurationUs, const TaskCut &cut)
{
    if (inputDurationUs <= 0)
        return std::max<qint64>(0, cut.lengthUs);
    return cutLength(cut, 0, inputDurationUs);
}

Encoder::Encoder(QObject *parent)
    : QObject(parent)
    , m_program(findFfmpegProgram())
{
    connect(&m_stallCheck, &QTimer::timeout, this, &Encoder::checkStalls);
}

Encoder::~Encoder()
{
    StopTasks(true);
}

int Encoder::AddInputFile(
    const QString &input, const QString &inputOptions, const SourceFacts &facts)
{
    if (!m_factory && (m_program.isEmpty() || !QFileInfo(m_program).isExecutable())) {
        m_lastError = missingFfmpegMessage();
        return -1;
    }
    Task task;
    task.info.input = absolutePath(input);
    task.info.inputOptions = inputOptions;
    if (const int error = readableFileError(QFile::encodeName(task.info.input))) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(AVERROR(error), text, sizeof text);
        m_lastError = task.info.input + QLatin1String(": ") + QString::fromUtf8(text);
        return -1;
    }
    task.facts = facts;
    m_tasks.push_back(std::move(task));
    return TaskCount() - 1;
}

int Encoder::AddOutputFile(
    int taskIndex, const QString &output, const QString &outputOptions, const TaskCut &cut)
{
    if (taskIndex < 0 || taskIndex >= TaskCount()
        || m_tasks[taskIndex].info.state != EncoderTaskState::Queued) {
        m_lastError = QStringLiteral("There is no waiting task %1.").arg(taskIndex);
        return -1;
    }
    if (output.trimmed().isEmpty()) {
        m_lastError = QStringLiteral("No output file was given.");
        return -1;
    }
    Task &task = m_tasks[taskIndex];
    task.info.output = absolutePath(output);
    task.info.outputOptions = outputOptions;
    task.cut = cut;
    task.totalUs = expectedOutputLength(task.facts.durationUs, cut);
    return 0;
}

void Encoder::setTaskPlan(int taskIndex, const EncodePlan &plan)
{
    if (taskIndex >= 0 && taskIndex < TaskCount())
        m_tasks[size_t(taskIndex)].plan = plan;
}

void Encoder::setTaskExtras(int taskIndex, const OutputExtras &extras)
{
    if (taskIndex >= 0 && taskIndex < TaskCount())
        m_tasks[size_t(taskIndex)].extras = extras;
}

void Encoder::RemoveInputFile(int taskIndex)
{
    // Indices of running tasks must stay put, so only a queue at rest shrinks.
    if (m_started || taskIndex < 0 || taskIndex >= TaskCount())
        return;
    m_tasks.erase(m_tasks.begin() + taskIndex);
}

void Encoder::ClearTasks()
{
    StopTasks(true);
    m_tasks.clear();
}

void Encoder::StartTasks(int threadCount)
{
    m_threadCount = threadCount > 0 ? threadCount : std::max(1, QThread::idealThreadCount());
    m_started = true;
    m_paused = false;
    scheduleNext();
}

void Encoder::PauseTasks()
{
    if (!m_started)
        return;
    m_paused = true;
    for (Task &task : m_tasks) {
        if (task.job)
            task.job->pause();
    }
}

void Encoder::ResumeTasks()
{
    if (!m_started || !m_paused)
        return;
    m_paused = false;
    for (Task &task : m_tasks) {
        if (task.job)
            task.job->resume();
    }
    scheduleNext();
}

void Encoder::StopTasks(bool wait)
{
    ++m_generation;
    m_started = false;
    m_paused = false;
    QList<QPointer<EncodeJob>> ending;
    for (Task &task : m_tasks) {
        if (task.info.state == EncoderTaskState::Queued
            || task.info.state == EncoderTaskState::Running)
            task.info.state = EncoderTaskState::Cancelled;
        if (task.job) {
            ending << task.job;
            abandonJob(task);
        }
    }
    // Signal every job first, so they end side by side rather than one after another.
    for (const QPointer<EncodeJob> &job : ending) {
        if (job)
            job->stop();
    }
    // Jobs left to end on their own by an earlier stop are children too, and waited for here.
    if (wait) {
        for (EncodeJob *job : findChildren<EncodeJob *>(Qt::FindDirectChildrenOnly))
            job->stopAndWait();
    }
}

// The job goes on alone: no events reach the queue from it any more, and when it has ended it
// removes its temporary file and itself.
void Encoder::abandonJob(Task &task)
{
    EncodeJob *job = task.job;
    task.job = nullptr;
    job->disconnect(this);
    const QString temporary = task.temporaryOutput;
    auto cleanUp = [job, temporary] {
        QFile::remove(temporary);
        job->deleteLater();
    };
    if (job->isFinished())
        cleanUp();
    else
        connect(job, &EncodeJob::finished, job, cleanUp);
}

EncoderTaskInfo Encoder::taskInfo(int taskIndex) const
{
    if (taskIndex < 0 || taskIndex >= TaskCount())
        return {};
    return m_tasks[taskIndex].info;
}

qint64 Encoder::taskLengthUs(int taskIndex) const
{
    return taskIndex >= 0 && taskIndex < TaskCount() ? m_tasks[size_t(taskIndex)].totalUs : 0;
}

int Encoder::runningCount() const
{
    return static_cast<int>(std::count_if(m_tasks.begin(), m_tasks.end(),
        [](const Task &t) { return t.info.state == EncoderTaskState::Running; }));
}

int Encoder::runningThreads() const
{
    int threads = 0;
    for (const Task &task : m_tasks) {
        if (task.info.state == EncoderTaskState::Running)
            threads += task.threads;
    }
    return threads;
}

// A task takes the threads that no waiting task will need when this one starts: split into
// segments where its format allows, else one.
EncodeJob *Encoder::makeJob(Task &task, const EncodeTask &spec, int index)
{
    task.threads = 1;
    if (m_factory)
        return m_factory(spec, this);
    const QString engine = engineFor(m_engineChoice, spec, WorkerPool::instance()->program());
    if (m_segmentation && engine == WorkerEngineName) {
        const auto waiting = std::count_if(m_tasks.begin() + index + 1, m_tasks.end(),
            [](const Task &t) { return t.info.state == EncoderTaskState::Queued; });
        const int spare = m_threadCount - (runningThreads() - 1) - int(waiting);
        // The sound's own length where the file gives one: a container's can be far off (the
        // times of a damaged video), and segments are cut from the sound.
        const qint64 soundUs = spec.facts.audioDurationUs > 0
            ? expectedOutputLength(spec.facts.audioDurationUs, spec.cut)
            : task.totalUs;
        const int segments = segmentCountFor(spec, soundUs, spare, m_minimumSegmentUs);
        if (segments > 1) {
            task.threads = segments;
            task.info.segments = segments;
            return new SegmentedEncodeJob(WorkerPool::instance(), m_program, spec, segments, this);
        }
    }
    return engineJobFactory(m_engineChoice, m_program)(spec, this);
}

bool Encoder::anyQueued() const
{
    return std::any_of(m_tasks.begin(), m_tasks.end(),
        [](const Task &t) { return t.info.state == EncoderTaskState::Queued; });
}

// Events never come from inside the call that caused them: the next step runs from the loop.
void Encoder::scheduleNext()
{
    if (m_nextScheduled)
        return;
    m_nextScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_nextScheduled = false;
        startNext();
    });
}

void Encoder::startNext()
{
    if (!m_started || m_paused)
        return;
    for (int i = 0; i < TaskCount() && runningThreads() < m_threadCount; ++i) {
        if (m_tasks[i].info.state != EncoderTaskState::Queued)
            continue;
        if (!startTask(i))
            return; // its end event has run; the handler may have changed the queue
    }
    if (m_started && runningCount() == 0 && !anyQueued()) {
        m_started = false;
        emit taskEnd(-1, EncoderTaskState::Succeeded, QString());
    }
}

bool Encoder::startTask(int index)
{
    Task &task = m_tasks[index];
    if (task.info.output.isEmpty()) {
        endTask(index, EncoderTaskState::Failed, QStringLiteral("No output file was given."));
        scheduleNext();
        return false;
    }
    task.info.state = EncoderTaskState::Running;
    task.temporaryOutput = temporaryOutputName(task.info.output);
    const EncodeTask spec { task.info.input, task.info.output, task.temporaryOutput,
        task.info.inputOptions, task.info.outputOptions, task.cut, task.facts, task.plan,
        task.extras };
    // The worker's own watch over its silence stays a backstop: this queue's, which names the
    // file and the stall, comes first.
    if (!m_factory)
        WorkerPool::instance()->setNoProgressTimeoutMs(m_stallTimeoutMs + StallCheckSlackMs);
    EncodeJob *job = makeJob(task, spec, index);
    task.job = job;
    task.info.commandLine = job->Result().commandLine;
    task.info.engine = job->Result().engine;
    const qint64 total = task.totalUs;
    task.quiet.start();
    connect(job, &EncodeJob::progress, this, [this, index, total](qint64 position) {
        m_tasks[size_t(index)].quiet.start();
        emit progress(index, position, total);
    });
    connect(job, &EncodeJob::logLine, this, [this, index](int level, const QString &line) {
        m_tasks[size_t(index)].quiet.start();
        emit logLine(index, level, line);
    });
    if (!m_stallCheck.isActive())
        m_stallCheck.start(std::clamp(m_stallTimeoutMs / 4, 50, StallCheckSlackMs / 2));
    connect(job, &EncodeJob::finished, this, [this, index] { onJobFinished(index); });
    if (m_paused)
        job->pause();
    job->start();
    return true;
}

void Encoder::onJobFinished(int index)
{
    Task &task = m_tasks[index];
    EncodeJob *job = task.job;
    task.job = nullptr;
    const EncodeJobResult result = job->Result(); // the job goes away with deleteLater
    task.info.exitCode = result.exitCode;
    task.info.stderrTail = result.logTail;
    if (!result.commandLine.isEmpty())
        task.info.commandLine = result.commandLine;
    if (!result.engine.isEmpty())
        task.info.engine = result.engine;
    job->deleteLater();

    if (result.outcome == JobOutcome::Succeeded) {
        moveIntoPlace(index);
        return;
    }
    QFile::remove(task.temporaryOutput);
    if (result.outcome == JobOutcome::Stopped) {
        // Stopped by something other than the queue: the task ends as cancelled.
        endTask(index, EncoderTaskState::Cancelled, QString());
    } else {
        endTask(index, EncoderTaskState::Failed, result.message);
    }
    scheduleNext();
}

void Encoder::moveIntoPlace(int index)
{
    Task &task = m_tasks[index];
    // Names promised to tasks still to come stay theirs.
    OutputNameRegistry promised;
    for (const Task &other : m_tasks) {
        if (other.info.state == EncoderTaskState::Queued
            || other.info.state == EncoderTaskState::Running)
            promised.reserve(other.info.output);
    }
    promised.release(task.info.output);
    const MoveResult moved
        = moveWithoutReplacing(task.temporaryOutput, task.info.output, &promised);
    if (moved.ok) {
        task.info.finalOutput = moved.path;
        if (moved.path != task.info.output) {
            const quint64 generation = m_generation;
            emit outputFileRenamed(index, moved.path);
            if (generation != m_generation)
                return; // the handler stopped or cleared the queue
        }
    } else {
        QFile::remove(task.temporaryOutput);
    }
    endTask(index, moved.ok ? EncoderTaskState::Succeeded : EncoderTaskState::Failed,
        moved.ok ? QString() : moved.path + QLatin1String(": ") + moved.message);
    scheduleNext();
}

void Encoder::setStallTimeoutMs(int ms)
{
    m_stallTimeoutMs = std::max(ms, 1);
}

void Encoder::checkStalls()
{
    bool anyRunning = false;
    for (size_t i = 0; i < m_tasks.size(); ++i) {
        Task &task = m_tasks[i];
        if (!task.job || task.info.state != EncoderTaskState::Running)
            continue;
        anyRunning = true;
        if (m_paused) {
            task.quiet.start(); // a pause is not a stall
            continue;
        }
        if (task.quiet.elapsed() < m_stallTimeoutMs)
            continue;
        const QString seconds = QString::number(m_stallTimeoutMs / 1000.0, 'g', 4);
        task.info.stderrTail
            << QStringLiteral("No progress for %1 s: the conversion was ended.").arg(seconds);
        // The job may be stuck in the kernel (a hung network mount); it ends on its own time.
        const QPointer<EncodeJob> job = task.job;
        abandonJob(task);
        if (job)
            job->stop();
        const QString message = QStringLiteral(
            "%1: the conversion made no progress for %2 s and was ended. The file or the output "
            "folder stopped responding (a network share or a disk that hangs?).")
                                    .arg(task.info.input, seconds);
        const quint64 generation = m_generation;
        endTask(int(i), EncoderTaskState::Failed, message);
        if (generation != m_generation)
            return;
        scheduleNext();
    }
    if (!anyRunning)
        m_stallCheck.stop();
}

void Encoder::endTask(int index, EncoderTaskState state, const QString &message)
{
    Task &task = m_tasks[index];
    task.info.state = state;
    task.info.message = message;
    emit taskEnd(index, state, message);
}

} // namespace sonivert
