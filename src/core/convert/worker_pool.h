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
QString findWorkerProgram();

// One sonivert-worker process: it takes task messages and answers with framed messages. It dies
// with this process.
class WorkerProcess : public QObject
{
    Q_OBJECT

public:
    explicit WorkerProcess(const QString &program, QObject *parent = nullptr);
    ~WorkerProcess() override;

    bool start();
    QString startError() const { return m_startError; }
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    qint64 processId() const { return m_process.processId(); }
    bool send(const worker::Message &message);
    void signal(int signal);
    // SIGKILL, then wait up to waitMs for the end; ended() follows when it has ended.
    void kill(int waitMs);
    // How it ended, for the report: "ended by signal 9 (Killed)", "exited with code 2".
    QString endDescription() const { return m_endDescription; }
    // What it wrote on its standard error, last lines only.
    QStringList errorTail() const { return m_errorTail; }

signals:
    void messageReceived(const sonivert::worker::Message &message);
    // The process ended or lost its framing (and was killed): it takes no more tasks.
    void ended();

private:
    void readMessages();
    void readErrors();
    void onFinished(int exitCode, QProcess::ExitStatus status);

    QProcess m_process;
    worker::FrameReader m_reader;
    QString m_startError;
    QString m_endDescription;
    QStringList m_errorTail;
    bool m_ended = false;
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
    static WorkerPool *instance();

    explicit WorkerPool(QObject *parent = nullptr);
    ~WorkerPool() override;

    void setProgram(const QString &program) { m_program = program; }
    QString program() const { return m_program; }
    // How long a task may go without a word from its worker before it counts as hung.
    void setNoProgressTimeoutMs(int ms) { m_noProgressTimeoutMs = ms; }
    int noProgressTimeoutMs() const { return m_noProgressTimeoutMs; }
    // Idle workers kept beyond this many are told to quit.
    void setMaxIdle(int count) { m_maxIdle = count; }

    // An idle worker, or a freshly started one; nullptr with the reason in error.
    WorkerProcess *acquire(QString *error);
    // A worker back from a task that ended normally.
    void release(WorkerProcess *worker);
    // A worker that cannot be trusted any more: killed (waiting up to waitMs) and dropped.
    void discard(WorkerProcess *worker, int waitMs);
    // Ends every worker (idle ones quit, busy ones are killed).
    void shutdown();

    // For tests and the bench: the process ids of the workers that hold a task, and of all.
    QList<qint64> busyProcessIds() const;
    QList<qint64> processIds() const;
    int startedCount() const { return m_started; }

private:
    QString m_program;
    QList<QPointer<WorkerProcess>> m_idle;
    QList<QPointer<WorkerProcess>> m_busy;
    int m_noProgressTimeoutMs = DefaultNoProgressTimeoutMs;
    int m_maxIdle = 8;
    int m_started = 0;
};

} // namespace sonivert
