// sonivert-cli and a file of two audio tracks: probe lists them, convert takes the one asked for
// (or each into its own file) on either engine, and a track the file lacks fails that file.
#include "core/media/probe.h"
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

namespace {

double secondsOf(const QString &path)
{
    const ProbeResult probe = probeMediaFile(path);
    return probe.ok
        ? double(probe.item.source.audioDurationUs > 0 ? probe.item.source.audioDurationUs
                                                       : probe.item.source.durationUs)
            / 1e6
        : -1.0;
}

} // namespace

class AudioTrackTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_two; // English AAC of 2 s (the default), then a French commentary in AC-3 of 1 s
    QString m_one;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_two = m_dir.filePath(u"two.mkv"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=32x32:rate=5:duration=2"_s,
            u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=f=440:sample_rate=48000:duration=2"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"sine=f=660:sample_rate=44100:duration=1"_s, u"-map"_s, u"0:v"_s,
            u"-map"_s, u"1:a"_s, u"-map"_s, u"2:a"_s, u"-c:v"_s, u"mpeg4"_s, u"-c:a:0"_s, u"aac"_s,
            u"-c:a:1"_s, u"ac3"_s, u"-ac:a:1"_s, u"6"_s, u"-metadata:s:a:0"_s, u"language=eng"_s,
            u"-metadata:s:a:1"_s, u"language=fra"_s, u"-metadata:s:a:1"_s, u"title=Commentary"_s,
            m_two }));
        m_one = m_dir.filePath(u"one.mp4"_s);
        ClipOptions options;
        options.seconds = 1.0;
        QVERIFY(makeClip(m_one, options));
    }

    void probeListsEveryTrack()
    {
        const CliRun run = runCli({ u"probe"_s, u"--json"_s, m_two, m_one });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonArray tracks = run.json().array().at(0).toObject()[u"audioTracks"_s].toArray();
        QCOMPARE(tracks.size(), 2);
        const QJsonObject first = tracks.at(0).toObject();
        const QJsonObject second = tracks.at(1).toObject();
        QCOMPARE(first.keys(),
            (QStringList { u"bitRate"_s, u"channels"_s, u"chosen"_s, u"codec"_s, u"codecName"_s,
                u"default"_s, u"index"_s, u"language"_s, u"sampleRate"_s, u"title"_s }));
        QCOMPARE(first[u"index"_s].toInt(), 1);
        QCOMPARE(first[u"codec"_s].toString(), u"aac"_s);
        QCOMPARE(first[u"sampleRate"_s].toInt(), 48000);
        QCOMPARE(first[u"language"_s].toString(), u"eng"_s);
        QVERIFY(first[u"default"_s].toBool() && first[u"chosen"_s].toBool());
        QCOMPARE(second[u"index"_s].toInt(), 2);
        QCOMPARE(second[u"codec"_s].toString(), u"ac3"_s);
        QCOMPARE(second[u"channels"_s].toInt(), 6);
        QCOMPARE(second[u"sampleRate"_s].toInt(), 44100);
        QCOMPARE(second[u"title"_s].toString(), u"Commentary"_s);
        QVERIFY(second[u"bitRate"_s].toInteger() > 0);
        QVERIFY(!second[u"default"_s].toBool() && !second[u"chosen"_s].toBool());
        QCOMPARE(run.json().array().at(1).toObject()[u"audioTracks"_s].toArray().size(), 1);

        const CliRun plain = runCli({ u"probe"_s, m_two, m_one });
        QVERIFY(plain.lines().value(0).endsWith(
            u"audio Advanced Audio Coding 48000 Hz 1 ch (track 1 of 2)"_s));
        QVERIFY(plain.lines().value(1).endsWith(u" ch"_s));
    }

    void theChosenTrackIsConverted_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::addColumn<QStringList>("trackArgs");
        QTest::addColumn<double>("seconds");
        QTest::newRow("default, ffmpeg") << u"ffmpeg"_s << QStringList() << 2.0;
        QTest::newRow("track 2, ffmpeg")
            << u"ffmpeg"_s << QStringList { u"--audio-track"_s, u"2"_s } << 1.0;
        QTest::newRow("track 1, worker")
            << u"worker"_s << QStringList { u"--audio-track=1"_s } << 2.0;
        QTest::newRow("track 2, worker")
            << u"worker"_s << QStringList { u"--audio-track"_s, u"2"_s } << 1.0;
    }

    void theChosenTrackIsConverted()
    {
        QFETCH(QString, engine);
        QFETCH(QStringList, trackArgs);
        QFETCH(double, seconds);
        const QString out
            = outputFolder(m_dir, u"chosen-"_s + QString::fromLatin1(QTest::currentDataTag()));
        const CliRun run = runCli(QStringList { u"convert"_s, u"--format"_s, u"mp3"_s,
                                      u"--engine"_s, engine, u"--json"_s, u"-o"_s, out, m_two }
            + trackArgs);
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonObject result = run.json().array().at(0).toObject();
        QCOMPARE(result[u"output"_s].toString(), out + u"/two.MP3"_s);
        QCOMPARE(result[u"audioTrack"_s].toInt(), seconds > 1.5 ? 1 : 2);
        QVERIFY2(qAbs(secondsOf(result[u"output"_s].toString()) - seconds) < 0.1,
            qPrintable(u"%1 s"_s.arg(secondsOf(result[u"output"_s].toString()))));
    }

    void allTracksGiveAFileEach_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s;
    }

    void allTracksGiveAFileEach()
    {
        QFETCH(QString, engine);
        const QString out = outputFolder(m_dir, u"all-"_s + engine);
        const QStringList args { u"convert"_s, u"--format"_s, u"mp3"_s, u"--audio-track"_s,
            u"all"_s, u"--engine"_s, engine, u"--json"_s, u"-o"_s, out, m_two, m_one };
        const CliRun dry = runCli(args + QStringList { u"--dry-run"_s });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().size(), 3);
        QVERIFY(dry.json().array().at(1).toObject()[u"argv"_s].toVariant().toStringList().contains(
            u"0:a:1"_s));

        const CliRun run = runCli(args);
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonArray results = run.json().array();
        QCOMPARE(results.size(), 3);
        const QStringList expected { out + u"/two (track 1, eng).MP3"_s,
            out + u"/two (track 2, fra).MP3"_s, out + u"/one.MP3"_s };
        const QList<double> seconds { 2.0, 1.0, 1.0 };
        for (int i = 0; i < 3; ++i) {
            const QJsonObject result = results.at(i).toObject();
            QCOMPARE(result[u"state"_s].toString(), u"done"_s);
            QCOMPARE(result[u"output"_s].toString(), expected.at(i));
            QCOMPARE(result[u"audioTrack"_s].toInt(), i == 1 ? 2 : 1);
            QVERIFY(qAbs(secondsOf(expected.at(i)) - seconds.at(i)) < 0.1);
        }
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden).size(), 3);
    }

    void aMissingTrackFailsThatFile()
    {
        const QString out = outputFolder(m_dir, u"missing"_s);
        const CliRun run = runCli({ u"convert"_s, u"--format"_s, u"ORIGINAL"_s, u"--audio-track"_s,
            u"2"_s, u"--json"_s, u"-o"_s, out, m_one, m_two });
        QCOMPARE(run.exitCode, 1);
        const QJsonArray results = run.json().array();
        QCOMPARE(results.size(), 2);
        const QJsonObject missing = results.at(0).toObject();
        QCOMPARE(missing[u"state"_s].toString(), u"failed"_s);
        QCOMPARE(
            missing[u"message"_s].toString(), u"the file has no audio track 2; it has one track"_s);
        const QJsonObject copied = results.at(1).toObject();
        QCOMPARE(copied[u"state"_s].toString(), u"done"_s);
        QCOMPARE(copied[u"output"_s].toString(), out + u"/two.AC3"_s);
        QVERIFY(run.err.contains(u"one.mp4: the file has no audio track 2"_s));
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden), QStringList { u"two.AC3"_s });
    }

    void badTrackNumbersAreUsageErrors_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("zero") << u"0"_s;
        QTest::newRow("word") << u"first"_s;
        QTest::newRow("negative") << u"-1"_s;
    }

    void badTrackNumbersAreUsageErrors()
    {
        QFETCH(QString, value);
        const CliRun run
            = runCli({ u"convert"_s, u"--audio-track="_s + value, u"--dry-run"_s, m_two });
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.contains(u"--audio-track takes a track number"_s), qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(AudioTrackTest)
#include "audio_track_test.moc"
