#include "core/convert/worker_pool.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <unistd.h>

namespace sonivert {

namespace {

constexpr int ErrorTailLines = 20;
constexpr int StartWaitMs = 10'000;

} // namespace

QString FindWorkerProgram()
{
    const QString configured = qEnvironmentVariable("SONIVERT_WORKER_PROGRAM");
    if (!configured.isEmpty())
        return QFileInfo(configured).isExecutable() ? configured : QString();
    if (!QCoreApplication::instance())
        return QString();
    const QFileInfo beside(
        QCoreApplication::applicationDirPath() + QStringLiteral("/sonivert-worker"));
    return beside.isFile() && beside.isExecutable() ? beside.absoluteFilePath() : QString();
}

WorkerProcess::WorkerProcess(const QString &program, QObject *parent)
    : QObject(parent)
{
    process_.setProgram(program);
    const pid_t parentPid = ::getpid();
    process_.setChildProcessModifier([parentPid] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parentPid)
            ::_exit(127);
    });
    connect(&process_, &QProcess::readyReadStandardOutput, this, &WorkerProcess::readMessages);
    connect(&process_, &QProcess::readyReadStandardError, this, &WorkerProcess::readErrors);
    connect(&process_, &QProcess::finished, this, &WorkerProcess::onFinished);
}

WorkerProcess::~WorkerProcess()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.disconnect(this);
        process_.kill();
        process_.waitForFinished(1000);
    }
}

bool WorkerProcess::Start()
{
    process_.start(QIODevice::ReadWrite);
    if (!process_.waitForStarted(StartWaitMs)) {
        startError_ = process_.program() + QLatin1String(": ") + process_.errorString();
        ended_ = true;
        return false;
    }
    return true;
}

bool WorkerProcess::Send(const worker::Message &message)
{
    if (ended_ || process_.state() != QProcess::Running)
        return false;
    const std::string frame = worker::EncodeFrame(message);
    return process_.write(frame.data(), qint64(frame.size())) == qint64(frame.size());
}

void WorkerProcess::Signal(int signal)
{
    const qint64 pid = process_.processId();
    if (pid > 0 && process_.state() != QProcess::NotRunning)
        ::kill(pid_t(pid), signal);
}

void WorkerProcess::Kill(int waitMs)
{
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.kill();
    if (waitMs > 0)
        process_.waitForFinished(waitMs);
}

void WorkerProcess::readMessages()
{
    const QByteArray bytes = process_.readAllStandardOutput();
    reader_.Append(bytes.constData(), size_t(bytes.size()));
    QPointer<WorkerProcess> alive(this);
    while (std::optional<worker::Message> message = reader_.Next()) {
        emit messageReceived(*message);
        if (!alive || ended_)
            return;
    }
    if (reader_.Failed() && !ended_) {
        endDescription_ = QStringLiteral("sent a message that could not be read (%1)")
                              .arg(QString::fromStdString(reader_.Error()));
        process_.disconnect(this);
        process_.kill();
        process_.waitForFinished(1000);
        ended_ = true;
        emit ended();
    }
}

void WorkerProcess::readErrors()
{
    const QList<QByteArray> lines = process_.readAllStandardError().split('\n');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            errorTail_ << QString::fromUtf8(line.left(4096));
    }
    while (errorTail_.size() > ErrorTailLines)
        errorTail_.removeFirst();
}

void WorkerProcess::onFinished(int exitCode, QProcess::ExitStatus status)
{
    if (ended_)
        return;
    readMessages();
    readErrors();
    if (ended_)
        return;
    ended_ = true;
    if (status == QProcess::CrashExit) {
        // QProcess gives no signal number; the exit code holds it for a crash.
        const int signal = exitCode;
        endDescription_ = signal > 0 ? QStringLiteral("ended by signal %1 (%2)")
                                           .arg(signal)
                                           .arg(QString::fromLocal8Bit(::strsignal(signal)))
                                     : QStringLiteral("ended by a signal");
    } else {
        endDescription_ = QStringLiteral("exited with code %1").arg(exitCode);
    }
    emit ended();
}

WorkerPool *WorkerPool::Instance()
{
    static QPointer<WorkerPool> pool;
    if (!pool) {
        pool = new WorkerPool(QCoreApplication::instance());
        pool->SetProgram(FindWorkerProgram());
    }
    return pool;
}

WorkerPool::WorkerPool(QObject *parent)
    : QObject(parent)
{
}

WorkerPool::~WorkerPool()
{
    Shutdown();
}

WorkerProcess *WorkerPool::Acquire(QString *error, Reuse reuse)
{
    while (reuse == Reuse::IdleFirst && !idle_.isEmpty()) {
        QPointer<WorkerProcess> worker = idle_.takeLast();
        if (worker && worker->IsRunning()) {
            busy_ << worker;
            return worker;
        }
        if (worker)
            worker->deleteLater();
    }
    if (program_.isEmpty()) {
        if (error)
            *error = QStringLiteral("The converter program sonivert-worker was not found.");
        return nullptr;
    }
    auto *worker = new WorkerProcess(program_, this);
    if (!worker->Start()) {
        if (error)
            *error = worker->StartError();
        delete worker;
        return nullptr;
    }
    ++started_;
    busy_ << worker;
    return worker;
}

void WorkerPool::Release(WorkerProcess *worker)
{
    busy_.removeAll(worker);
    if (!worker->IsRunning()) {
        worker->deleteLater();
        return;
    }
    if (idle_.size() >= maxIdle_) {
        worker->Send(worker::Message { worker::MessageType::Quit, {} });
        worker->deleteLater();
        return;
    }
    idle_ << worker;
}

void WorkerPool::Discard(WorkerProcess *worker, int waitMs)
{
    busy_.removeAll(worker);
    idle_.removeAll(worker);
    worker->disconnect();
    worker->Kill(waitMs);
    worker->deleteLater();
}

void WorkerPool::Shutdown()
{
    for (const QPointer<WorkerProcess> &worker : std::as_const(idle_)) {
        if (worker)
            worker->Send(worker::Message { worker::MessageType::Quit, {} });
    }
    for (const QPointer<WorkerProcess> &worker : std::as_const(busy_)) {
        if (worker)
            worker->Kill(1000);
    }
    idle_.clear();
    busy_.clear();
}

QList<qint64> WorkerPool::BusyProcessIds() const
{
    QList<qint64> ids;
    for (const QPointer<WorkerProcess> &worker : busy_) {
        if (worker && worker->IsRunning())
            ids << worker->ProcessId();
    }
    return ids;
}

QList<qint64> WorkerPool::ProcessIds() const
{
    QList<qint64> ids = BusyProcessIds();
    for (const QPointer<WorkerProcess> &worker : idle_) {
        if (worker && worker->IsRunning())
            ids << worker->ProcessId();
    }
    return ids;
}

} // namespace sonivert
