#pragma once

#include <QByteArray>
#include <QObject>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

namespace sonivert {

// One running instance per user and product. The instance listens on a local socket named after
// the product; a later start hands its files over that socket and ends.
//
// Wire format: the client sends " " followed by the files in UTF-8, each ended by a NUL byte (no
// path holds one), and one more NUL; the instance answers with one byte and closes. A client
// that sends nothing is dropped.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(const QString &productId, QObject *parent = nullptr);
    ~SingleInstance() override;

    // The socket of productId for this user: in XDG_RUNTIME_DIR, else in the temporary folder.
    static QString socketPath(const QString &productId);
    QString socketPath() const { return m_socketPath; }

    // What a start with these arguments (the files after the program path) sends: every argument
    // made absolute, in order (a file manager hands all selected files to one start).
    static QByteArray handOverMessage(const QStringList &arguments);

    // The start-up check. Returns true when a running instance took the hand-over (this process
    // should end); otherwise this object has become the instance, or, when no socket could be
    // made at all, runs alone (isListening() tells which). Two processes starting at once are
    // serialised by a lock file beside the socket, so exactly one of them becomes the instance.
    bool findRunningInstance(const QStringList &arguments);

    // Sends handOverMessage(arguments) to a running instance; true when one took it.
    bool handOverToRunningInstance(const QStringList &arguments);

    // Becomes the instance. A socket left behind by a crashed instance is removed first; false
    // when another instance is alive or the socket cannot be made.
    bool listen();
    bool isListening() const;

signals:
    // The files another start sent, in order. None means "come to the front, open nothing".
    void commandReceived(const QStringList &files);

private:
    bool listenHoldingLock(bool *otherInstanceAlive);
    void acceptConnections();
    void serve(QLocalSocket *socket);

    QString m_socketPath;
    QLocalServer *m_server = nullptr;
};

} // namespace sonivert
