#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/run_progress.h"
#include "core/convert/segmented_encode_job.h"
#include "core/convert/worker_encode_job.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <algorithm>
#include <vector>

namespace sonivert {

enum class EncoderTaskState {
    Queued,
    Running,
    Succeeded,
    Failed,
    Cancelled,
};

// What a task was asked to do and how it went, for the failure report and the log.
struct EncoderTaskInfo
{
    QString input;
    QString inputOptions;
    QString output; // as queued
    QString outputOptions;
    QString finalOutput; // where the file ended up once the task succeeded
    EncoderTaskState state = EncoderTaskState::Queued;
    QString message;
    QString engine; // the engine that ran the task ("ffmpeg", "worker"); "" before it started
    QStringList commandLine; // the program followed by its arguments, exactly as run
    QStringList stderrTail; // the engine's last log lines
    int exitCode = -1;
    int segments = 1; // the workers that encoded parts of it at once
};

// The length of the output in microseconds: the input's duration within the cut; the cut's
// length, or 0, when the input's duration is unknown.
qint64 expectedOutputLength(qint64 inputDurationUs, const TaskCut &cut);

// The task queue: each task converts one input into one output with a job of the engine (the
// automatic choice between sonivert-worker and the ffmpeg program unless another factory is set),
// up to the thread count at once. Events arrive on the thread that owns the encoder. An output is
// written under a hidden temporary name and moved into place, never over an existing file, only
// when its task succeeded; anything else leaves no file behind.
class Encoder : public QObject
{
    Q_OBJECT

public:
    static constexpr double ProgressIntervalSeconds = 0.4;
    static constexpr int DefaultStallTimeoutSeconds = 120;

    explicit Encoder(QObject *parent = nullptr);
    ~Encoder() override;

    // The program to run; findFfmpegProgram() unless set. "" makes AddInputFile fail.
    void setFfmpegProgram(const QString &program) { m_program = program; }
    QString ffmpegProgram() const { return m_program; }
    // Another engine: its jobs convert every task queued from now on, and no program is needed.
    void setJobFactory(EncodeJobFactory factory) { m_factory = std::move(factory); }
    // Without a factory: which engine runs the tasks (Auto unless set).
    void setEngineChoice(EngineChoice choice) { m_engineChoice = choice; }
    // A running task that gives no sign of life (progress or a log line) for this long is ended
    // and fails: its input or output folder has stopped answering, or its engine hangs.
    void setStallTimeoutMs(int ms);
    int stallTimeoutMs() const { return m_stallTimeoutMs; }
    // A task that starts while more threads are free than tasks wait is split into segments that
    // workers encode at once, when its format joins exactly and each segment gets at least
    // minimumSegmentUs of sound (on unless turned off; not for jobs of a factory).
    void setSegmentation(bool on) { m_segmentation = on; }
    void setMinimumSegmentUs(qint64 us) { m_minimumSegmentUs = std::max<qint64>(us, 1); }

    // The new task's index, or -1 with the reason in LastErrorText ("PATH: reason", or how to
    // install a missing ffmpeg). Fails only for an input that cannot be read at all. The facts
    // are the probe's: the queue does not open the input itself (without them the output's
    // length is unknown and no tags travel).
    int AddInputFile(
        const QString &input, const QString &inputOptions, const SourceFacts &facts = {});
    // 0, or -1 with the reason in LastErrorText. The cut is the part of the input to convert.
    int AddOutputFile(
        int taskIndex, const QString &output, const QString &outputOptions, const TaskCut &cut);
    // The option string of a task as values, for an engine that converts in process.
    void setTaskPlan(int taskIndex, const EncodePlan &plan);
    // The cover and chapters a task's output carries (the source's own unless set).
    void setTaskExtras(int taskIndex, const OutputExtras &extras);
    // Drops a task that has not started; later tasks move up by one.
    void RemoveInputFile(int taskIndex);
    // Ends whatever runs (without events) and empties the queue.
    void ClearTasks();
    // Works through the queue, threadCount tasks at once (0 = one per processor core).
    void StartTasks(int threadCount);
    // A paused queue holds its running tasks and starts no new ones.
    void PauseTasks();
    void ResumeTasks();
    // Ends the running tasks and cancels the queued ones. No task or queue-end event follows.
    // With wait, returns only when every child has ended and its temporary file is gone.
    void StopTasks(bool wait);

    QString LastErrorText() const { return m_lastError; }
    int TaskCount() const { return static_cast<int>(m_tasks.size()); }
    bool isBusy() const { return m_started; }
    bool isPaused() const { return m_paused; }
    EncoderTaskInfo taskInfo(int taskIndex) const;
    // The length the task's output is expected to have; 0 when unknown.
    qint64 taskLengthUs(int taskIndex) const;

signals:
    // About every 400 ms while a task runs; totalUs 0 when the length is unknown.
    void progress(int taskIndex, qint64 positionUs, qint64 totalUs);
    // Before taskEnd, when the output had to take another name than the one queued.
    void outputFileRenamed(int taskIndex, const QString &path);
    // One per task (Succeeded, Failed or Cancelled), then once with taskIndex -1 and Succeeded
    // when the queue is done. A task succeeds only
    // when its output reads back with the whole sound asked of it.
    void taskEnd(int taskIndex, EncoderTaskState state, const QString &message);
    // One line of a task's engine log with ffmpeg's level (AV_LOG_*).
    void logLine(int taskIndex, int level, const QString &text);

private:
    struct Task
    {
        EncoderTaskInfo info;
        SourceFacts facts;
        QString temporaryOutput;
        TaskCut cut;
        std::optional<EncodePlan> plan;
        OutputExtras extras;
        qint64 totalUs = 0;
        int threads = 1; // the thread slots its job takes
        QPointer<EncodeJob> job;
        QElapsedTimer quiet; // since the job's last sign of life
    };

    void scheduleNext();
    void startNext();
    bool startTask(int index);
    void onJobFinished(int index);
    void moveIntoPlace(int index);
    void endTask(int index, EncoderTaskState state, const QString &message);
    void checkStalls();
    void abandonJob(Task &task);
    int runningCount() const;
    int runningThreads() const;
    EncodeJob *makeJob(Task &task, const EncodeTask &spec, int index);
    bool anyQueued() const;

    QString m_program;
    EncodeJobFactory m_factory;
    EngineChoice m_engineChoice = EngineChoice::Auto;
    QString m_lastError;
    std::vector<Task> m_tasks;
    int m_threadCount = 1;
    bool m_started = false;
    bool m_paused = false;
    bool m_nextScheduled = false;
    quint64 m_generation = 0; // counts stops, so a handler that stopped the queue is noticed
    int m_stallTimeoutMs = DefaultStallTimeoutSeconds * 1000;
    bool m_segmentation = true;
    qint64 m_minimumSegmentUs = DefaultMinimumSegmentUs;
    QTimer m_stallCheck;
};

} // namespace sonivert
