#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/output_check.h"

#include <QFutureWatcher>
#include <QPointer>
#include <QTimer>

namespace sonivert {

class WorkerPool;
class WorkerProcess;
namespace worker {
struct Message;
}

enum class EngineChoice {
    Auto, // the worker for every plan it runs, the ffmpeg program for the rest
    Ffmpeg,
    Worker,
};

// "auto", "ffmpeg", "worker"; false for another text.
bool ParseEngineChoice(const QString &text, EngineChoice *choice);

// Why the worker cannot run a plan that writes output, or "" when it can: it converts one audio
// stream into an audio-only file with an encoder it knows.
QString WorkerRefusal(const EncodePlan &plan, const QString &output);

// The engine a task goes to: the worker only for a plan it runs (and, for Auto, when its program
// is there).
QString EngineFor(EngineChoice choice, const EncodeTask &task, const QString &workerProgram);
// The same for a row as planned, before it has a task: its output is named by the plan's
// extension (an M4B or M4R is written as the M4A it is encoded as), the worker is the pool's.
QString WorkerRefusal(const TaskPlan &plan);
QString PlannedEngine(EngineChoice choice, const TaskPlan &plan);

// The message of a task whose worker died while it held the task.
inline const QString WorkerCrashMessage
    = QStringLiteral("The converter stopped unexpectedly while reading this file.");
// The message of a task whose worker said nothing for longer than the pool's time-out.
inline const QString WorkerHangMessage
    = QStringLiteral("The converter stopped responding while reading this file.");

// A task converted by a long-lived sonivert-worker of the pool, then read back as the ffmpeg
// engine's are. Its command line is the ffmpeg command that does the same.
class WorkerEncodeJob : public EncodeJob
{
    Q_OBJECT

public:
    WorkerEncodeJob(WorkerPool *pool, const QString &ffmpegProgram, const EncodeTask &task,
        QObject *parent = nullptr);
    ~WorkerEncodeJob() override;

    void Start() override;
    void Pause() override;
    void Resume() override;
    void Stop() override;
    void StopAndWait() override;

private:
    // Gives the task to a worker of the pool: an idle one, or one started for it.
    void sendTask(bool freshWorker);
    void onMessage(const worker::Message &message);
    void onWorkerEnded();
    void onTimeout();
    void takeLogLine(int level, const QString &line);
    void endTask(bool ok);
    void fail(const QString &message);
    void dropWorker(int waitMs);
    QString failureMessage() const;

    QPointer<WorkerPool> pool_;
    EncodeTask task_;
    QPointer<WorkerProcess> worker_;
    qint64 taskId_ = 0;
    QTimer watchdog_;
    QPointer<QFutureWatcher<OutputVerdict>> check_;
    QStringList errorLines_;
    bool accepted_ = false; // the worker has read the task
    bool retried_ = false;
    bool partialFile_ = false;
    bool paused_ = false;
    bool stopping_ = false;
    int loggedLines_ = 0;
};

// The factory of an engine choice: Ffmpeg runs every task with the program; Worker every task on
// the pool's workers (a plan it cannot run fails with the reason); Auto each task where
// EngineFor sends it.
EncodeJobFactory EngineJobFactory(
    EngineChoice choice, const QString &ffmpegProgram, WorkerPool *pool = nullptr);

} // namespace sonivert
