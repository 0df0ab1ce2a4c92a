#include "core/app/single_instance.h"

#include "core/app/command_line.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QTimer>
#include <memory>
#include <unistd.h>

namespace sonivert {

namespace {

constexpr char kEndOfText = '\0';
constexpr char kAcknowledge = '\x06';
constexpr qsizetype kMaxTextBytes = 64 * 1024;

// An instance that does not accept within this time is taken for a socket left by a crash.
constexpr int kConnectMs = 500;
// How long a second start waits for the instance to confirm; a live but busy instance still has
// the text queued, so running out of patience is not a failure.
constexpr int kAcknowledgeMs = 3000;
constexpr int kClientIdleMs = 5000;
constexpr int kLockWaitMs = 5000;

bool somethingAnswers(const QString &socketPath)
{
    QLocalSocket probe;
    probe.connectToServer(socketPath);
    const bool answered = probe.waitForConnected(kConnectMs);
    probe.abort();
    return answered;
}

} // namespace

SingleInstance::SingleInstance(const QString &productId, QObject *parent)
    : QObject(parent)
    , m_socketPath(socketPath(productId))
    , m_server(new QLocalServer(this))
{
    // Default options on purpose: with UserAccessOption a second listen under the same name
    // succeeds while the first instance is alive.
    m_server->setSocketOptions(QLocalServer::NoOptions);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath(const QString &productId)
{
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeDir.isEmpty() && QFileInfo(runtimeDir).isDir())
        return QDir(runtimeDir).filePath(productId + QLatin1String(".socket"));
    // The temporary folder may be shared between users: the user id keeps the instances apart.
    return QDir(QDir::tempPath())
        .filePath(
            productId + QLatin1Char('-') + QString::number(getuid()) + QLatin1String(".socket"));
}

QByteArray SingleInstance::handOverMessage(const QStringList &arguments)
{
    QByteArrayList paths;
    for (const QString &argument : arguments) {
        const QString path = pathFromCommandText(argument);
        if (!path.isEmpty())
            paths.append(path.toUtf8());
    }
    return ' ' + paths.join(kEndOfText) + QByteArray(2, kEndOfText);
}

bool SingleInstance::findRunningInstance(const QStringList &arguments)
{
    // Without the lock two starts could both find a stale socket, and the later removeServer
    // would delete the socket the earlier one had just made. Not getting the lock in time only
    // loses that protection.
    QLockFile lock(m_socketPath + QLatin1String(".lock"));
    lock.tryLock(kLockWaitMs);

    // An instance may come alive between a failed hand-over and our listen (one that did not
    // take the lock): then the hand-over is tried again.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (handOverToRunningInstance(arguments))
            return true;
        bool otherAlive = false;
        if (listenHoldingLock(&otherAlive))
            return false;
        if (!otherAlive)
            return false;
    }
    return false;
}

bool SingleInstance::handOverToRunningInstance(const QStringList &arguments)
{
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(kConnectMs))
        return false;

    socket.write(handOverMessage(arguments));
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(kAcknowledgeMs))
            return false;
    }
    // The answer may already have come in while the text was being written.
    if (socket.bytesAvailable() > 0 || socket.waitForReadyRead(kAcknowledgeMs))
        return socket.read(1) == QByteArray(1, kAcknowledge);
    return socket.state() == QLocalSocket::ConnectedState;
}

bool SingleInstance::listen()
{
    QLockFile lock(m_socketPath + QLatin1String(".lock"));
    lock.tryLock(kLockWaitMs);
    bool otherAlive = false;
    return listenHoldingLock(&otherAlive);
}

bool SingleInstance::isListening() const
{
    return m_server->isListening();
}

bool SingleInstance::listenHoldingLock(bool *otherInstanceAlive)
{
    *otherInstanceAlive = false;
    if (m_server->isListening())
        return true;
    if (m_server->listen(m_socketPath))
        return true;
    if (m_server->serverError() != QAbstractSocket::AddressInUseError)
        return false;
    if (somethingAnswers(m_socketPath)) {
        *otherInstanceAlive = true;
        return false;
    }
    QLocalServer::removeServer(m_socketPath);
    return m_server->listen(m_socketPath);
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection())
        serve(socket);
}

void SingleInstance::serve(QLocalSocket *socket)
{
    // The text may arrive in pieces; a client that never finishes is dropped after a while so
    // that it holds nothing.
    auto received = std::make_shared<QByteArray>();
    auto done = std::make_shared<bool>(false);

    auto *idle = new QTimer(socket);
    idle->setSingleShot(true);
    idle->start(kClientIdleMs);
    connect(idle, &QTimer::timeout, socket, [socket] {
        socket->abort();
        socket->deleteLater();
    });
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);

    auto readSome = [this, socket, received, done, idle] {
        if (*done)
            return;
        received->append(socket->readAll());
        const std::optional<QStringList> files = readHandOverMessage(*received);
        if (!files) {
            if (received->size() > kMaxTextBytes) {
                *done = true;
                socket->abort();
                socket->deleteLater();
            }
            return;
        }
        *done = true;
        idle->stop();
        // Flushed now: the receiver may end the event loop before a delayed write would run.
        socket->write(QByteArray(1, kAcknowledge));
        socket->flush();
        socket->disconnectFromServer();
        // Last, because a receiver may open a modal message and run a nested event loop.
        emit commandReceived(*files);
    };
    connect(socket, &QLocalSocket::readyRead, this, readSome);
    if (socket->bytesAvailable() > 0)
        readSome();
}

} // namespace sonivert
