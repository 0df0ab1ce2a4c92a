#include "core/app/single_instance.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

using namespace sonivert;

// This binary doubles as the other process: started with one of these modes it plays a second
// (or crashing) instance and reports through its exit code.
namespace child {

const QString kHandOver = QStringLiteral("--hand-over"); // exit 0 when an instance took it
const QString kFind = QStringLiteral("--find"); // 0 handed over, 10 became the instance
const QString kCrash = QStringLiteral("--crash"); // listens, then dies without cleaning up
const QString kClaim = QStringLiteral("--claim"); // 0 handed over, 13 became the instance

constexpr int kHandedOver = 0;
constexpr int kNotTaken = 1;
constexpr int kServedOne = 10;
constexpr int kServedNone = 11;
constexpr int kNoSocket = 12;
constexpr int kBecameInstance = 13;

int run(const QString &mode, const QString &name, const QStringList &arguments)
{
    SingleInstance instance(name);
    if (mode == kHandOver)
        return instance.handOverToRunningInstance(arguments) ? kHandedOver : kNotTaken;
    if (mode == kCrash) {
        if (!instance.listen())
            return kNoSocket;
        std::fflush(stdout);
        std::_Exit(3);
    }
    if (instance.findRunningInstance(arguments))
        return kHandedOver;
    if (!instance.isListening())
        return kNoSocket;
    if (mode == kClaim)
        return kBecameInstance;
    // As the instance, serve one hand-over and print what arrived.
    int result = kServedNone;
    QObject::connect(
        &instance, &SingleInstance::commandReceived, [&result](const QStringList &files) {
            std::printf("%s\n", files.join(QLatin1Char('|')).toUtf8().constData());
            result = kServedOne;
            QCoreApplication::quit();
        });
    QTimer::singleShot(20000, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    return result;
}

} // namespace child

class SingleInstanceTest : public QObject
{
    Q_OBJECT
private:
    int m_nameCounter = 0;
    QTemporaryDir m_workDir;

    QString uniqueName() { return QStringLiteral("SonivertTest%1").arg(++m_nameCounter); }

    // Starts this binary as another process; its working folder is m_workDir.
    QProcess *startChild(
        const QString &mode, const QString &name, const QStringList &arguments = {})
    {
        auto *process = new QProcess(this);
        process->setWorkingDirectory(m_workDir.path());
        process->setProgram(QCoreApplication::applicationFilePath());
        process->setArguments(QStringList { mode, name } + arguments);
        process->start();
        return process;
    }

    // Waits for a child with the event loop running, so that an instance in this process can
    // answer it meanwhile.
    static int exitCodeOf(QProcess *process)
    {
        if (process->state() != QProcess::NotRunning) {
            QSignalSpy finished(process, &QProcess::finished);
            if (!finished.wait(30000))
                return -1;
        }
        if (process->exitStatus() != QProcess::NormalExit)
            return -2;
        return process->exitCode();
    }

private slots:
    void initTestCase() { QVERIFY(m_workDir.isValid()); }

    void socketIsPerUser()
    {
        const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
        const QByteArray saved = qgetenv("XDG_RUNTIME_DIR");
        const QString product = QStringLiteral("Sonivert");

        QVERIFY(qputenv("XDG_RUNTIME_DIR", m_workDir.path().toUtf8()));
        QCOMPARE(SingleInstance::socketPath(product),
            m_workDir.filePath(QStringLiteral("Sonivert.socket")));

        // Without a runtime folder the shared temporary folder is used, told apart by user.
        QVERIFY(qunsetenv("XDG_RUNTIME_DIR"));
        const QString fallback = SingleInstance::socketPath(product);
        QCOMPARE(
            QFileInfo(fallback).absolutePath(), QFileInfo(QDir::tempPath()).absoluteFilePath());
        QVERIFY(fallback != SingleInstance::socketPath(QStringLiteral("Other")));
        QVERIFY(QFileInfo(fallback).fileName().contains(QString::number(getuid())));

        if (!runtimeDir.isEmpty())
            QVERIFY(qputenv("XDG_RUNTIME_DIR", saved));
    }

    void handOverSendsEveryArgumentMadeAbsoluteInOrder()
    {
        const QString name = uniqueName();
        SingleInstance instance(name);
        QVERIFY(instance.listen());
        QSignalSpy received(&instance, &SingleInstance::commandReceived);

        const QString file = QStringLiteral("Müsik ♫ clip.mp4");
        QProcess *second = startChild(
            child::kHandOver, name, { file, QStringLiteral("/b.avi"), QStringLiteral("c d.mkv") });
        QCOMPARE(exitCodeOf(second), child::kHandedOver);
        QCOMPARE(received.size(), 1);
        QCOMPARE(received.first().first().toStringList(),
            QStringList({ m_workDir.filePath(file), QStringLiteral("/b.avi"),
                m_workDir.filePath(QStringLiteral("c d.mkv")) }));

        // A start without arguments only asks the instance to come to the front.
        QProcess *third = startChild(child::kHandOver, name);
        QCOMPARE(exitCodeOf(third), child::kHandedOver);
        QCOMPARE(received.size(), 2);
        QCOMPARE(received.last().first().toStringList(), QStringList());
        QVERIFY(instance.isListening());
    }

    void handOverFailsWhenNoInstanceRuns()
    {
        const QString name = uniqueName();
        QCOMPARE(exitCodeOf(startChild(child::kHandOver, name, { QStringLiteral("a.mp4") })),
            child::kNotTaken);

        // And a start that finds nobody becomes the instance itself; it cleans up after itself.
        QCOMPARE(exitCodeOf(startChild(child::kClaim, name)), child::kBecameInstance);
        QVERIFY(!QFileInfo::exists(SingleInstance::socketPath(name)));
    }

    void findRunningInstanceHandsOverToALiveInstance()
    {
        const QString name = uniqueName();
        SingleInstance instance(name);
        QVERIFY(!instance.findRunningInstance({}));
        QVERIFY(instance.isListening());
        QSignalSpy received(&instance, &SingleInstance::commandReceived);

        QCOMPARE(exitCodeOf(startChild(child::kClaim, name, { QStringLiteral("/media/x.mkv") })),
            child::kHandedOver);
        QCOMPARE(received.size(), 1);
        QCOMPARE(
            received.first().first().toStringList(), QStringList(QStringLiteral("/media/x.mkv")));
    }

    void socketLeftByACrashIsReclaimed()
    {
        const QString name = uniqueName();
        QCOMPARE(exitCodeOf(startChild(child::kCrash, name)), 3);
        QVERIFY2(QFileInfo::exists(SingleInstance::socketPath(name)), "the crash left no socket");

        SingleInstance instance(name);
        QVERIFY(!instance.handOverToRunningInstance({ QStringLiteral("a.mp4") }));
        QVERIFY(instance.listen());
        QSignalSpy received(&instance, &SingleInstance::commandReceived);
        QCOMPARE(exitCodeOf(startChild(child::kHandOver, name, { QStringLiteral("/b.mp4") })),
            child::kHandedOver);
        QCOMPARE(received.size(), 1);
    }

    void nonSocketFileInTheWayIsReclaimed()
    {
        const QString name = uniqueName();
        QFile junk(SingleInstance::socketPath(name));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.close();
        SingleInstance instance(name);
        QVERIFY(instance.listen());
    }

    void secondListenFailsWhileTheFirstLives()
    {
        const QString name = uniqueName();
        auto first = std::make_unique<SingleInstance>(name);
        SingleInstance second(name);
        QVERIFY(first->listen());
        QVERIFY(!second.listen());
        QVERIFY(!second.isListening());
        QVERIFY(first->isListening());

        first.reset();
        QVERIFY(second.listen());
    }

    void twoStartsAtOnceMakeExactlyOneInstance()
    {
        for (int round = 0; round < 3; ++round) {
            const QString name = uniqueName();
            // The worst case: both find a dead socket and would both like to remove it.
            QCOMPARE(exitCodeOf(startChild(child::kCrash, name)), 3);

            QProcess *a = startChild(child::kFind, name, { QStringLiteral("/from/a.mp4") });
            QProcess *b = startChild(child::kFind, name, { QStringLiteral("/from/b.mp4") });
            const int codeA = exitCodeOf(a);
            const int codeB = exitCodeOf(b);
            QVERIFY2((codeA == child::kServedOne && codeB == child::kHandedOver)
                    || (codeA == child::kHandedOver && codeB == child::kServedOne),
                qPrintable(QStringLiteral("exit codes %1 and %2").arg(codeA).arg(codeB)));
            QProcess *served = codeA == child::kServedOne ? a : b;
            const QString other
                = served == a ? QStringLiteral("/from/b.mp4") : QStringLiteral("/from/a.mp4");
            QCOMPARE(QString::fromUtf8(served->readAllStandardOutput()).trimmed(), other);
        }
    }

    void aStartWaitsWhileAnotherClaimsTheInstance()
    {
        const QString name = uniqueName();
        const QString socketPath = SingleInstance::socketPath(name);
        QCOMPARE(exitCodeOf(startChild(child::kCrash, name)), 3);

        // This process plays a start that is half-way through claiming: it holds the claim while
        // the other start comes up, then makes the socket and lets go.
        auto claim = std::make_unique<QLockFile>(socketPath + QLatin1String(".lock"));
        QVERIFY(claim->tryLock(0));
        QProcess *later = startChild(child::kClaim, name, { QStringLiteral("/late.mp4") });
        QVERIFY(later->waitForStarted(10000));
        QVERIFY(!later->waitForFinished(300));

        QLocalServer::removeServer(socketPath);
        QLocalServer server;
        QVERIFY(server.listen(socketPath));
        claim.reset();

        // Had the later start not waited, it would have reclaimed the dead socket as its own.
        QVERIFY(server.waitForNewConnection(10000));
        QLocalSocket *connection = server.nextPendingConnection();
        QByteArray text;
        while (!text.endsWith(QByteArray(2, '\0')) && connection->waitForReadyRead(10000))
            text += connection->readAll();
        QCOMPARE(text, QByteArray(" /late.mp4\0\0", 12));
        connection->write("\x06");
        connection->flush();
        QCOMPARE(exitCodeOf(later), child::kHandedOver);
    }

    void textInPiecesAndSilentClients()
    {
        const QString name = uniqueName();
        SingleInstance instance(name);
        QVERIFY(instance.listen());
        QSignalSpy received(&instance, &SingleInstance::commandReceived);

        // Connects and never says anything: must not block anyone else.
        QLocalSocket silent;
        silent.connectToServer(instance.socketPath());
        QVERIFY(silent.waitForConnected(5000));

        // Connects, says nothing and goes away: no command.
        {
            QLocalSocket probe;
            probe.connectToServer(instance.socketPath());
            QVERIFY(probe.waitForConnected(5000));
        }

        QLocalSocket slow;
        slow.connectToServer(instance.socketPath());
        QVERIFY(slow.waitForConnected(5000));
        const QByteArray text = QStringLiteral("  /videos/été/clip.mkv").toUtf8();
        slow.write(text.left(9));
        slow.flush();
        QTest::qWait(100);
        QCOMPARE(received.size(), 0);
        slow.write(text.mid(9) + QByteArray(1, '\0'));
        slow.flush();
        QTest::qWait(100);
        QCOMPARE(received.size(), 0);
        slow.write(QByteArray(1, '\0'));
        slow.flush();
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.first().first().toStringList(),
            QStringList(QStringLiteral("/videos/été/clip.mkv")));
        QTRY_COMPARE(slow.state(), QLocalSocket::UnconnectedState);
        QCOMPARE(slow.readAll().size(), 1);

        QCOMPARE(exitCodeOf(startChild(child::kHandOver, name, { QStringLiteral("/c.avi") })),
            child::kHandedOver);
        QCOMPARE(received.size(), 2);
        QCOMPARE(silent.state(), QLocalSocket::ConnectedState);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() >= 3) {
        const QString mode = arguments.at(1);
        if (mode == child::kHandOver || mode == child::kFind || mode == child::kCrash
            || mode == child::kClaim)
            return child::run(mode, arguments.at(2), arguments.mid(3));
    }
    SingleInstanceTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "single_instance_test.moc"
