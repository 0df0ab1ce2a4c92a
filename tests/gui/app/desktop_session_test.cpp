#include "core/convert/conversion_run.h"
#include "gui/app/desktop_session.h"
#include "support/fake_engine.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <poll.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

// Stand-ins for the desktop's services, recording what they are asked.
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QList<QVariantList> calls;

public slots:
    uint Notify(const QString &appName, uint replacesId, const QString &icon,
        const QString &summary, const QString &body, const QStringList &actions,
        const QVariantMap &hints, int timeout)
    {
        calls.append({ appName, replacesId, icon, summary, body, actions, hints, timeout });
        return 41;
    }
};

class FakeLoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
public:
    QStringList calls;
    int lockReadEnd = -1; // sees end of file once every copy of the lock is closed

    ~FakeLoginManager() override
    {
        if (lockReadEnd >= 0)
            ::close(lockReadEnd);
    }
    bool lockReleased() const
    {
        pollfd watch { lockReadEnd, POLLIN, 0 };
        return ::poll(&watch, 1, 0) == 1 && (watch.revents & POLLHUP);
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(
        const QString &what, const QString &who, const QString &why, const QString &mode)
    {
        calls.append(QStringList { what, who, why, mode }.join(u'|'));
        int ends[2];
        if (::pipe(ends) != 0)
            return {};
        lockReadEnd = ends[0];
        QDBusUnixFileDescriptor lock(ends[1]);
        ::close(ends[1]);
        return lock;
    }
};

class LauncherWatch : public QObject
{
    Q_OBJECT
public:
    QList<QVariantMap> updates;
    QString appUri;

public slots:
    void onUpdate(const QString &uri, const QVariantMap &properties)
    {
        appUri = uri;
        updates.append(properties);
    }
};

class DesktopSessionTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QProcess m_bus;
    QString m_address;
    FakeEngine m_engine;

    QString in(const QString &name) const { return m_dir.filePath(name); }

    // Two rows: a.mp4 converts, b.mp4 fails.
    void runTwoRows(ConversionRun &run)
    {
        m_engine = FakeEngine();
        m_engine.scripts.insert(
            u"b.mp4"_s, FakeScript { JobOutcome::Failed, u"boom"_s, {}, false });
        run.setJobFactory(m_engine.factory());
        run.begin(m_dir.filePath(u"out"_s));
        const TaskPlan plan { QString(), u" -vn -acodec libmp3lame"_s, u"MP3"_s, {}, {}, {}, {} };
        QVERIFY(!run.addRow(0, in(u"a.mp4"_s), plan).isEmpty());
        QVERIFY(!run.addRow(1, in(u"b.mp4"_s), plan).isEmpty());
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        run.start(1);
        QVERIFY(ended.wait(5000));
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET);
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkpath(u"out"_s));
        for (const char *name : { "a.mp4", "b.mp4" }) {
            QFile file(in(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not a video") > 0);
        }
        const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_s);
        if (daemon.isEmpty())
            QSKIP("dbus-daemon is not installed (package dbus)");
        m_bus.start(daemon, { u"--session"_s, u"--nofork"_s, u"--print-address=1"_s });
        QVERIFY(m_bus.waitForReadyRead(10000));
        m_address = QString::fromUtf8(m_bus.readLine()).trimmed();
        QVERIFY(!m_address.isEmpty());
    }

    void cleanupTestCase()
    {
        m_bus.terminate();
        m_bus.waitForFinished(5000);
    }

    void aRunIsShownInhibitsSleepAndIsAnnouncedWhenUnseen()
    {
        QDBusConnection services = QDBusConnection::connectToBus(m_address, u"services"_s);
        QVERIFY(services.isConnected());
        FakeNotifications notifications;
        FakeLoginManager login;
        LauncherWatch launcher;
        QVERIFY(services.registerObject(
            u"/org/freedesktop/Notifications"_s, &notifications, QDBusConnection::ExportAllSlots));
        QVERIFY(services.registerService(u"org.freedesktop.Notifications"_s));
        QVERIFY(services.registerObject(
            u"/org/freedesktop/login1"_s, &login, QDBusConnection::ExportAllSlots));
        QVERIFY(services.registerService(u"org.freedesktop.login1"_s));
        QVERIFY(services.connect(QString(), QString(), u"com.canonical.Unity.LauncherEntry"_s,
            u"Update"_s, &launcher, SLOT(onUpdate(QString, QVariantMap))));

        // The program's side: the login manager is looked for on the same test bus.
        QDBusConnection client = QDBusConnection::connectToBus(m_address, u"client"_s);
        ConversionRun run;
        DesktopSession session(run, { client, client });
        bool windowActive = false;
        QString opened;
        session.setWindowActive([&] { return windowActive; });
        session.setOpenFolder([&](const QString &folder) { opened = folder; });

        runTwoRows(run);
        QTRY_VERIFY(login.lockReleased());
        QCOMPARE(login.calls, QStringList { u"sleep|Sonivert|Converting files|block"_s });

        QTRY_COMPARE(notifications.calls.size(), 1);
        const QVariantList notify = notifications.calls.first();
        QCOMPARE(notify.at(3).toString(), u"Conversion finished"_s);
        QCOMPARE(notify.at(4).toString(), u"1 file converted, 1 failed"_s);
        QVERIFY(notify.at(5).toStringList().contains(u"Open folder"_s));

        QTRY_VERIFY(!launcher.updates.isEmpty()
            && !launcher.updates.last()[u"progress-visible"_s].toBool());
        QCOMPARE(launcher.appUri, u"application://com.corvallo.Sonivert.desktop"_s);
        const QVariantMap first = launcher.updates.first();
        QCOMPARE(first[u"count"_s].toLongLong(), 2);
        QVERIFY(first[u"progress-visible"_s].toBool());

        // "Open folder" on our notification opens the run's folder.
        QDBusMessage action = QDBusMessage::createSignal(u"/org/freedesktop/Notifications"_s,
            u"org.freedesktop.Notifications"_s, u"ActionInvoked"_s);
        action << 41u << u"open-folder"_s;
        QVERIFY(services.send(action));
        QTRY_COMPARE(opened, m_dir.filePath(u"out/"_s));

        // With the window in front the completion window is enough.
        windowActive = true;
        runTwoRows(run);
        QTest::qWait(200);
        QCOMPARE(notifications.calls.size(), 1);
        QCOMPARE(login.calls.size(), 2);
        QTRY_VERIFY(login.lockReleased());
    }

    void withoutServicesNothingWaits()
    {
        // A bus with nobody on it, and no bus at all.
        QDBusConnection client = QDBusConnection::connectToBus(m_address, u"lonely"_s);
        for (const QDBusConnection &bus : { client, QDBusConnection(u"none"_s) }) {
            ConversionRun run;
            DesktopSession session(run, { bus, bus });
            QElapsedTimer clock;
            clock.start();
            runTwoRows(run);
            QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
        }
    }
};

QTEST_MAIN(DesktopSessionTest)
#include "desktop_session_test.moc"
