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

QString findWorkerProgram()
{
    const QString configured = qEnvironmentVariable("SONIVERT_WORKER_PROGRAM");
    if (!configured.isEmpty())
        return QFileInfo(configured).isExecutable() ? configured : QString();
    if (!QCoreApplication::instance())
        return QString();
    // Beside the programs in the build folder; in PREFIX/libexec/sonivert once installed.
    const QString programFolder = QCoreApplication::applicationDirPath();
    for (const QString &candidate : { programFolder + QStringLiteral("/sonivert-worker"),
             programFolder + QStringLiteral("/../libexec/sonivert/sonivert-worker") }) {
        const QFileInfo worker(candidate);
        if (worker.isFile() && worker.isExecutable())
            return worker.absoluteFilePath();
    }
    return QString();
}

WorkerProcess::WorkerProcess(const QString &program, QObject *parent)
    : QObject(parent)
{
    m_process.setProgram(program);
    const pid_t parentPid = ::getpid();
    m_process.setChildProcessModifier([parentPid] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parentPid)
            ::_exit(127);
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &WorkerProcess::readMessages);
    connect(&m_process, &QProcess::readyReadStandardError, this, &WorkerProcess::readErrors);
    connect(&m_process, &QProcess::finished, this, &WorkerProcess::onFinished);
}

WorkerProcess::~WorkerProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.disconnect(this);
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

bool WorkerProcess::start()
{
    m_process.start(QIODevice::ReadWrite);
    if (!m_process.waitForStarted(StartWaitMs)) {
        m_startError = m_process.program() + QLatin1String(": ") + m_process.errorString();
        m_ended = true;
        return false;
    }
    return true;
}

bool WorkerProcess::send(const worker::Message &message)
{
    if (m_ended || m_process.state() != QProcess::Running)
        return false;
    const std::string frame = worker::encodeFrame(message);
    return m_process.write(frame.data(), qint64(frame.size())) == qint64(frame.size());
}

void WorkerProcess::signal(int signal)
{
    const qint64 pid = m_process.processId();
    if (pid > 0 && m_process.state() != QProcess::NotRunning)
        ::kill(pid_t(pid), signal);
}

void WorkerProcess::kill(int waitMs)
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    if (waitMs > 0)
        m_process.waitForFinished(waitMs);
}

void WorkerProcess::readMessages()
{
    const QByteArray bytes = m_process.readAllStandardOutput();
    m_reader.append(bytes.constData(), size_t(bytes.size()));
    QPointer<WorkerProcess> alive(this);
    while (std::optional<worker::Message> message = m_reader.next()) {
        emit messageReceived(*message);
        if (!alive || m_ended)
            return;
    }
    if (m_reader.failed() && !m_ended) {
        m_endDescription = QStringLiteral("sent a message that could not be read (%1)")
                               .arg(QString::fromStdString(m_reader.error()));
        m_process.disconnect(this);
        m_process.kill();
        m_process.waitForFinished(1000);
        m_ended = true;
        emit ended();
    }
}

void WorkerProcess::readErrors()
{
    const QList<QByteArray> lines = m_process.readAllStandardError().split('\n');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            m_errorTail << QString::fromUtf8(line.left(4096));
    }
    while (m_errorTail.size() > ErrorTailLines)
        m_errorTail.removeFirst();
}

void WorkerProcess::onFinished(int exitCode, QProcess::ExitStatus status)
{
    if (m_ended)
        return;
    readMessages();
    readErrors();
    if (m_ended)
        return;
    m_ended = true;
    if (status == QProcess::CrashExit) {
        // QProcess gives no signal number; the exit code holds it for a crash.
        const int signal = exitCode;
        m_endDescription = signal > 0 ? QStringLiteral("ended by signal %1 (%2)")
                                            .arg(signal)
                                            .arg(QString::fromLocal8Bit(::strsignal(signal)))
                                      : QStringLiteral("ended by a signal");
    } else {
        m_endDescription = QStringLiteral("exited with code %1").arg(exitCode);
    }
    emit ended();
}

WorkerPool *WorkerPool::instance()
{
    static QPointer<WorkerPool> pool;
    if (!pool) {
        pool = new WorkerPool(QCoreApplication::instance());
        pool->setProgram(findWorkerProgram());
    }
    return pool;
}

WorkerPool::WorkerPool(QObject *parent)
    : QObject(parent)
{
}

WorkerPool::~WorkerPool()
{
    shutdown();
}

WorkerProcess *WorkerPool::acquire(QString *error, Reuse reuse)
{
    while (reuse == Reuse::IdleFirst && !m_idle.isEmpty()) {
        QPointer<WorkerProcess> worker = m_idle.takeLast();
        if (worker && worker->isRunning()) {
            m_busy << worker;
            return worker;
        }
        if (worker)
            worker->deleteLater();
    }
    if (m_program.isEmpty()) {
        if (error)
            *error = QStringLiteral("The converter program sonivert-worker was not found.");
        return nullptr;
    }
    auto *worker = new WorkerProcess(m_program, this);
    if (!worker->start()) {
        if (error)
            *error = worker->startError();
        delete worker;
        return nullptr;
    }
    ++m_started;
    m_busy << worker;
    return worker;
}

void WorkerPool::release(WorkerProcess *worker)
{
    m_busy.removeAll(worker);
    if (!worker->isRunning()) {
        worker->deleteLater();
        return;
    }
    if (m_idle.size() >= m_maxIdle) {
        worker->send(worker::Message { worker::MessageType::Quit, {} });
        worker->deleteLater();
        return;
    }
    m_idle << worker;
}

void WorkerPool::discard(WorkerProcess *worker, int waitMs)
{
    m_busy.removeAll(worker);
    m_idle.removeAll(worker);
    worker->disconnect();
    worker->kill(waitMs);
    worker->deleteLater();
}

void WorkerPool::shutdown()
{
    for (const QPointer<WorkerProcess> &worker : std::as_const(m_idle)) {
        if (worker)
            worker->send(worker::Message { worker::MessageType::Quit, {} });
    }
    for (const QPointer<WorkerProcess> &worker : std::as_const(m_busy)) {
        if (worker)
            worker->kill(1000);
    }
    m_idle.clear();
    m_busy.clear();
}

QList<qint64> WorkerPool::busyProcessIds() const
{
    QList<qint64> ids;
    for (const QPointer<WorkerProcess> &worker : m_busy) {
        if (worker && worker->isRunning())
            ids << worker->processId();
    }
    return ids;
}

QList<qint64> WorkerPool::processIds() const
{
    QList<qint64> ids = busyProcessIds();
    for (const QPointer<WorkerProcess> &worker : m_idle) {
        if (worker && worker->isRunning())
            ids << worker->processId();
    }
    return ids;
}

} // namespace sonivert
