#pragma once

#include "core/convert/worker_protocol.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QStringList>

namespace sonivert {

// sonivert-worker beside the running program, or where SONIVERT_WORKER_PROGRAM points; "" when
// there is none.
QString FindWorkerProgram();

// One sonivert-worker process: it takes task messages and answers with framed messages. It dies
// with this process.
class WorkerProcess : public QObject
{
    Q_OBJECT

public:
    explicit WorkerProcess(const QString &program, QObject *parent = nullptr);
    ~WorkerProcess() override;

    bool Start();
    QString StartError() const { return startError_; }
    bool IsRunning() const { return process_.state() != QProcess::NotRunning; }
    qint64 ProcessId() const { return process_.processId(); }
    bool Send(const worker::Message &message);
    void Signal(int signal);
    // SIGKILL, then wait up to waitMs for the end; ended() follows when it has ended.
    void Kill(int waitMs);
    // How it ended, for the report: "ended by signal 9 (Killed)", "exited with code 2".
    QString EndDescription() const { return endDescription_; }
    // What it wrote on its standard error, last lines only.
    QStringList ErrorTail() const { return errorTail_; }

signals:
    void messageReceived(const sonivert::worker::Message &message);
    // The process ended or lost its framing (and was killed): it takes no more tasks.
    void ended();

private:
    void readMessages();
    void readErrors();
    void onFinished(int exitCode, QProcess::ExitStatus status);

    QProcess process_;
    worker::FrameReader reader_;
    QString startError_;
    QString endDescription_;
    QStringList errorTail_;
    bool ended_ = false;
};

// The long-lived workers of this program: a task takes an idle worker or starts one, and gives
// it back when the task is over, so a run (and the next run) reuses them. A worker that died or
// was killed is dropped; the next task starts a fresh one.
class WorkerPool : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultNoProgressTimeoutMs = 120'000;

    // The pool of the application (made on first use, gone with the application object).
    static WorkerPool *Instance();

    explicit WorkerPool(QObject *parent = nullptr);
    ~WorkerPool() override;

    void SetProgram(const QString &program) { program_ = program; }
    QString Program() const { return program_; }
    // How long a task may go without a word from its worker before it counts as hung.
    void SetNoProgressTimeoutMs(int ms) { noProgressTimeoutMs_ = ms; }
    int NoProgressTimeoutMs() const { return noProgressTimeoutMs_; }
    // Idle workers kept beyond this many are told to quit.
    void SetMaxIdle(int count) { maxIdle_ = count; }

    enum class Reuse { IdleFirst, StartFresh };
    // An idle worker (unless reuse says otherwise), or a freshly started one; nullptr with the
    // reason in error.
    WorkerProcess *Acquire(QString *error, Reuse reuse = Reuse::IdleFirst);
    // A worker back from a task that ended normally.
    void Release(WorkerProcess *worker);
    // A worker that cannot be trusted any more: killed (waiting up to waitMs) and dropped.
    void Discard(WorkerProcess *worker, int waitMs);
    // Ends every worker (idle ones quit, busy ones are killed).
    void Shutdown();

    // For tests and the bench: the process ids of the workers that hold a task, and of all.
    QList<qint64> BusyProcessIds() const;
    QList<qint64> ProcessIds() const;
    int StartedCount() const { return started_; }

private:
    QString program_;
    QList<QPointer<WorkerProcess>> idle_;
    QList<QPointer<WorkerProcess>> busy_;
    int noProgressTimeoutMs_ = DefaultNoProgressTimeoutMs;
    int maxIdle_ = 8;
    int started_ = 0;
};

} // namespace sonivert
