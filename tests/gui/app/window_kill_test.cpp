#include "support/media_maker.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

const QString kLookAlike = u".sonivert-1-1-0123abcd-00000000.MP3"_s;

QByteArray checksum(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// Our temporary outputs in the folder; the person's look-alike does not count.
QStringList temporaries(const QString &folder)
{
    QStringList found = QDir(folder).entryList({ u".sonivert-*"_s }, QDir::Files | QDir::Hidden);
    found.removeAll(kLookAlike);
    return found;
}

double secondsOfSound(const QString &path)
{
    QProcess probe;
    probe.start(u"ffprobe"_s,
        { u"-v"_s, u"error"_s, u"-show_entries"_s, u"format=duration"_s, u"-of"_s, u"csv=p=0"_s,
            path });
    probe.waitForFinished(10000);
    return QString::fromUtf8(probe.readAllStandardOutput()).trimmed().toDouble();
}

} // namespace

// The window is killed (SIGKILL: a crash, a power cut) while it converts; the next run into the
// same folder leaves nothing of the killed one, and the person's files are never touched.
class WindowKillTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QStringList m_clips;

    QString driver() const { return QStringLiteral(SONIVERT_BIN_DIR "/../tests/window_driver"); }

    QString runWindow(const QStringList &arguments, QProcess &window)
    {
        window.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        window.start(driver(), arguments);
        if (!window.waitForStarted(10000))
            return window.errorString();
        return {};
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        sonivert::test::ClipOptions options;
        options.seconds = 12;
        options.width = 160;
        options.height = 120;
        for (int i = 1; i <= 4; ++i) {
            m_clips.append(m_dir.filePath(u"clip%1.mp4"_s.arg(i)));
            QVERIFY(sonivert::test::makeClip(m_clips.last(), options));
        }
    }

    void theNextRunLeavesNothingOfAKilledWindow_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("worker") << u"worker"_s;
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
    }
    void theNextRunLeavesNothingOfAKilledWindow()
    {
        QFETCH(QString, engine);
        const QString out = m_dir.filePath(u"out-"_s + engine);
        QVERIFY(QDir().mkpath(out));
        const QString own = out + u"/clip1.MP3"_s;
        const QString lookAlike = out + u'/' + kLookAlike;
        for (const QString &path : { own, lookAlike }) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("the person's own file") > 0);
        }
        const QByteArray ownSum = checksum(own);
        const QByteArray lookAlikeSum = checksum(lookAlike);

        const QStringList common { u"--convert"_s, u"--output"_s, out + u'/', u"--threads"_s,
            u"2"_s, u"--engine"_s, engine };
        QProcess killed;
        QCOMPARE(runWindow(common + m_clips, killed), QString());
        // Killed as soon as a temporary output is being written.
        QElapsedTimer clock;
        clock.start();
        while (temporaries(out).isEmpty() && clock.elapsed() < 30000
            && killed.state() == QProcess::Running)
            QTest::qWait(2);
        QVERIFY2(!temporaries(out).isEmpty(), "the run never wrote a temporary output");
        ::kill(pid_t(killed.processId()), SIGKILL);
        QVERIFY(killed.waitForFinished(10000));
        QCOMPARE(killed.exitStatus(), QProcess::CrashExit);

        QProcess next;
        QCOMPARE(runWindow(common + QStringList { m_clips.first() }, next), QString());
        QVERIFY(next.waitForFinished(60000));
        const QString said = QString::fromUtf8(next.readAllStandardOutput());
        QVERIFY2(said.contains(u"run: done 1, failed 0, total 1"_s), qPrintable(said));

        QCOMPARE(temporaries(out), QStringList());
        QCOMPARE(checksum(own), ownSum);
        QCOMPARE(checksum(lookAlike), lookAlikeSum);
        const QStringList outputs = QDir(out).entryList({ u"*.MP3"_s }, QDir::Files);
        QVERIFY(outputs.size() >= 2);
        for (const QString &name : outputs) {
            if (name != u"clip1.MP3"_s)
                QVERIFY2(secondsOfSound(out + u'/' + name) > 11.9, qPrintable(name));
        }
    }
};

QTEST_MAIN(WindowKillTest)
#include "window_kill_test.moc"
