#include "core/app/folders.h"
#include "core/app/settings_store.h"
#include "gui/app/desktop_notifier.h"
#include "gui/app/quick_convert.h"
#include "gui/app/sleep_inhibitor.h"
#include "support/fake_desktop_services.h"
#include "support/media_maker.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;

class QuickConvertTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QProcess m_bus;
    QString m_address;
    QString m_good;
    QString m_broken;
    QString m_out;

    QString cli() const { return QStringLiteral(SONIVERT_BIN_DIR "/sonivert-cli"); }

    void signal(QDBusConnection &services, const QString &name, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createSignal(
            u"/org/freedesktop/Notifications"_s, u"org.freedesktop.Notifications"_s, name);
        message.setArguments(arguments);
        QVERIFY(services.send(message));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_good = m_dir.filePath(u"good clip.mp4"_s);
        m_broken = m_dir.filePath(u"broken.mp4"_s);
        m_out = m_dir.filePath(u"out"_s);
        QVERIFY(test::makeClip(m_good));
        QFile broken(m_broken);
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("not a video at all") > 0);
        broken.close();
        QVERIFY(QDir().mkpath(m_out));
        // sonivert-cli writes where the window's remembered folder points.
        QVERIFY(RegWriteText(u"Software/Corvallo/Sonivert"_s, u"OutputPath"_s, m_out + u'/'));

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

    QStringList outputs() const { return QDir(m_out).entryList(QDir::Files | QDir::Hidden); }

    void cleanup()
    {
        for (const QString &name : outputs())
            QFile::remove(QDir(m_out).filePath(name));
        // Gives the service's name back for the next test.
        QDBusConnection::disconnectFromBus(u"services"_s);
    }

    void theCommandsAnswerIsRead_data()
    {
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("complaint");
        QTest::addColumn<int>("done");
        QTest::addColumn<int>("failed");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("problems");
        QTest::addColumn<QString>("error");
        QTest::newRow("mixed") << 1 << QByteArray(R"([
            {"file": "/v/a.mp4", "output": "/music/a.mp3", "state": "done", "message": ""},
            {"file": "/v/b.mp4", "output": "", "state": "failed", "message": "moov atom\nnot found"},
            {"file": "/v/c.mp4", "output": "/music/c.mp3", "state": "cancelled", "message": ""}])")
                               << u"These files could not be converted:\n"_s << 1 << 2
                               << u"/music"_s << u"b.mp4: moov atom not found|c.mp4: stopped"_s
                               << QString();
        QTest::newRow("usage error")
            << 2 << QByteArray() << u"sonivert-cli convert: unknown format \"zzz\"\nUsage: x\n"_s
            << 0 << 0 << QString() << QString() << u"unknown format \"zzz\""_s;
        QTest::newRow("silent crash")
            << 0 << QByteArray("[{") << QString() << 0 << 0 << QString() << QString()
            << u"sonivert-cli ended with status 0 and said nothing."_s;
    }

    void theCommandsAnswerIsRead()
    {
        QFETCH(int, exitCode);
        QFETCH(QByteArray, json);
        QFETCH(QString, complaint);
        const QuickConvertOutcome outcome = readQuickConvertOutcome(exitCode, json, complaint);
        QTEST(outcome.done, "done");
        QTEST(outcome.failed, "failed");
        QTEST(outcome.folder, "folder");
        QTEST(outcome.problems.join(u'|'), "problems");
        QTEST(outcome.error, "error");
        QVERIFY(outcome.exitCode != 0); // a run that did not convert everything is no success
    }

    void theEndIsNotifiedAndOpenFolderEndsTheProgram()
    {
        QDBusConnection services = QDBusConnection::connectToBus(m_address, u"services"_s);
        test::FakeNotifications notifications(7);
        QVERIFY(services.registerObject(
            u"/org/freedesktop/Notifications"_s, &notifications, QDBusConnection::ExportAllSlots));
        QVERIFY(services.registerService(u"org.freedesktop.Notifications"_s));
        test::FakeLoginManager login;
        QVERIFY(services.registerObject(
            u"/org/freedesktop/login1"_s, &login, QDBusConnection::ExportAllSlots));
        QVERIFY(services.registerService(u"org.freedesktop.login1"_s));

        const QDBusConnection client = QDBusConnection::connectToBus(m_address, u"client"_s);
        DesktopNotifier notifier(client);
        SleepInhibitor sleep(client);
        QuickConvert convert(cli(), notifier, sleep);
        QStringList messages;
        QString opened;
        convert.setMessageSink([&](const QString &text, bool) { messages.append(text); });
        convert.setFolderOpener([&](const QString &folder) { opened = folder; });
        QSignalSpy finished(&convert, &QuickConvert::finished);
        convert.start(u"mp3"_s, { m_good, m_broken });

        QTRY_COMPARE_WITH_TIMEOUT(notifications.calls.size(), 2, 30000);
        const QVariantList first = notifications.calls.at(0);
        QCOMPARE(first.at(3).toString(), u"Converting to MP3"_s);
        QCOMPARE(first.at(4).toString(), u"2 files"_s);
        const QVariantList last = notifications.calls.at(1);
        QCOMPARE(last.at(1).toUInt(), 7u); // replaces the first
        QCOMPARE(last.at(3).toString(), u"Converted to MP3"_s);
        QVERIFY2(last.at(4).toString().startsWith(u"1 file converted, 1 failed.\nbroken.mp4: "_s),
            qPrintable(last.at(4).toString()));
        QVERIFY(last.at(5).toStringList().contains(u"open-folder"_s));
        QCOMPARE(outputs(), QStringList { u"good clip.MP3"_s });
        QVERIFY(messages.isEmpty());
        // The computer was kept awake while the files converted, and no longer.
        QCOMPARE(login.calls, QStringList { u"sleep|Sonivert|Converting files|block"_s });
        QTRY_VERIFY(login.lockReleased());

        // The program waits for the notification's answer, then ends with the command's status.
        QTest::qWait(100);
        QCOMPARE(finished.size(), 0);
        signal(services, u"ActionInvoked"_s, { 7u, u"open-folder"_s });
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(opened, m_out);
        QCOMPARE(finished.first().first().toInt(), 1);
    }

    void failuresAreToldByMessage_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("failure");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("unknown format") << cli() << u"zzz"_s << u"zzz"_s << true << 2;
        QTest::newRow("no converter") << m_dir.filePath(u"missing-cli"_s) << u"mp3"_s
                                      << u"could not be started"_s << true << 1;
        // Without a notification service the end is a message too.
        QTest::newRow("converted, nobody to notify")
            << cli() << u"mp3"_s << u"Converted to MP3\n\n1 file converted"_s << false << 0;
    }

    void failuresAreToldByMessage()
    {
        QFETCH(QString, program);
        QFETCH(QString, format);
        QFETCH(QString, expected);
        QFETCH(bool, failure);
        QFETCH(int, exitCode);
        // A bus where nobody answers for notifications.
        const QDBusConnection lonely = QDBusConnection::connectToBus(m_address, u"lonely"_s);
        DesktopNotifier notifier(lonely);
        SleepInhibitor sleep(lonely);
        QuickConvert convert(program, notifier, sleep);
        QStringList messages;
        bool seenFailure = false;
        convert.setMessageSink([&](const QString &text, bool isFailure) {
            messages.append(text);
            seenFailure = isFailure;
        });
        QSignalSpy finished(&convert, &QuickConvert::finished);
        QElapsedTimer clock;
        clock.start();
        convert.start(format, { m_good });
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.first().first().toInt(), exitCode);
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages.first().contains(expected), qPrintable(messages.first()));
        QCOMPARE(seenFailure, failure);
        QVERIFY2(clock.elapsed() < 15000, qPrintable(QString::number(clock.elapsed())));
    }

    void endingTheProgramStopsTheConversionSilently()
    {
        // A converter that notes the Stop it is sent (SIGTERM).
        const QString stand = m_dir.filePath(u"slow-cli"_s);
        const QString stopped = m_dir.filePath(u"stopped"_s);
        QFile script(stand);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\ntrap 'echo stop > \"%1\"; exit 1' TERM\n"
                                    "echo started\nsleep 30 &\nwait\n")
                         .arg(stopped)
                         .toUtf8());
        script.close();
        QVERIFY(script.setPermissions(script.permissions() | QFileDevice::ExeOwner));

        const QDBusConnection lonely = QDBusConnection::connectToBus(m_address, u"lonely"_s);
        DesktopNotifier notifier(lonely);
        SleepInhibitor sleep(lonely);
        QStringList messages;
        QElapsedTimer clock;
        {
            QuickConvert convert(stand, notifier, sleep);
            convert.setMessageSink([&](const QString &text, bool) { messages.append(text); });
            convert.start(u"mp3"_s, { m_good });
            QTest::qWait(300);
            clock.start();
        }
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(QFile::exists(stopped));
        QCOMPARE(messages, QStringList());
    }

    void theDesktopActionConvertsWithoutTheWindow()
    {
        // The action's command line exactly as the installed desktop entry has it.
        QFile entry(QStringLiteral(SONIVERT_BIN_DIR "/../data/com.corvallo.Sonivert.desktop"));
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(entry.readAll());
        const qsizetype action = text.indexOf(u"[Desktop Action convert-to-mp3]"_s);
        QVERIFY(action > 0);
        const qsizetype exec = text.indexOf(u"\nExec="_s, action);
        QVERIFY(exec > 0);
        QStringList words = text.mid(exec + 6, text.indexOf(u'\n', exec + 1) - exec - 6)
                                .split(u' ', Qt::SkipEmptyParts);
        QCOMPARE(words.takeLast(), u"%F"_s);
        QCOMPARE(words.takeFirst(), u"sonivert"_s);

        QDBusConnection services = QDBusConnection::connectToBus(m_address, u"services"_s);
        test::FakeNotifications notifications(7);
        QVERIFY(services.registerObject(
            u"/org/freedesktop/Notifications"_s, &notifications, QDBusConnection::ExportAllSlots));
        QVERIFY(services.registerService(u"org.freedesktop.Notifications"_s));

        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_address);
        program.setProcessEnvironment(environment);
        program.start(QStringLiteral(SONIVERT_BIN_DIR "/sonivert"), words << m_good);
        QTRY_COMPARE_WITH_TIMEOUT(notifications.calls.size(), 2, 30000);
        QCOMPARE(notifications.calls.last().at(4).toString(), u"1 file converted"_s);
        QCOMPARE(outputs(), QStringList { u"good clip.MP3"_s });
        // Dismissing the notification ends the program.
        QCOMPARE(program.state(), QProcess::Running);
        signal(services, u"NotificationClosed"_s, { 7u, 2u });
        QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, 10000);
        QCOMPARE(program.exitCode(), 0);
    }
};

QTEST_MAIN(QuickConvertTest)
#include "quick_convert_test.moc"
