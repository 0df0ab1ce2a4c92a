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
bool parseEngineChoice(const QString &text, EngineChoice *choice);

// Why the worker cannot run a plan that writes output, or "" when it can: it converts one audio
// stream into an audio-only file with an encoder it knows.
QString workerRefusal(const EncodePlan &plan, const QString &output);

// The encoder the worker (and ffmpeg) runs for a plan writing output; "" with the reason in why.
QString workerEncoderName(const EncodePlan &plan, const QString &output, QString *why);

// The engine a task goes to: the worker only for a plan it runs (and, for Auto, when its program
// is there).
QString engineFor(EngineChoice choice, const EncodeTask &task, const QString &workerProgram);
// The same for a row as planned, before it has a task: its output is named by the plan's
// extension (an M4B or M4R is written as the M4A it is encoded as), the worker is the pool's.
QString workerRefusal(const TaskPlan &plan);
QString plannedEngine(EngineChoice choice, const TaskPlan &plan);

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

    void start() override;
    void pause() override;
    void resume() override;
    void stop() override;
    void stopAndWait() override;

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

    QPointer<WorkerPool> m_pool;
    EncodeTask m_task;
    QPointer<WorkerProcess> m_worker;
    qint64 m_taskId = 0;
    QTimer m_watchdog;
    QPointer<QFutureWatcher<OutputVerdict>> m_check;
    QStringList m_errorLines;
    bool m_accepted = false; // the worker has read the task
    bool m_retried = false;
    bool m_partialFile = false;
    bool m_paused = false;
    bool m_stopping = false;
    int m_loggedLines = 0;
};

// The factory of an engine choice: Ffmpeg runs every task with the program; Worker every task on
// the pool's workers (a plan it cannot run fails with the reason); Auto each task where
// EngineFor sends it.
EncodeJobFactory engineJobFactory(
    EngineChoice choice, const QString &ffmpegProgram, WorkerPool *pool = nullptr);

} // namespace sonivert
