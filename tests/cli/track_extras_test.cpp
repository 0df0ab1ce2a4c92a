// A chosen audio track, a stream copy and a split into chapters, each with the source's cover and
// chapters, on both engines: the cover goes with the track asked for, and a copy keeps both.
#include "support/cli_runner.h"
#include "support/media_maker.h"
#include "support/output_facts.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

class TrackExtrasTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    // Track 1: English AAC at 44.1 kHz of 4 s, the default; track 2: French AAC at 22.05 kHz of
    // 2 s. A cover picture, and two chapters of a second each.
    QString m_film;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_film = m_dir.filePath(u"film.mp4"_s);
        QVERIFY(makeFileWithExtras(m_film,
            { u"sine=f=440:sample_rate=44100:d=4"_s, u"sine=f=660:sample_rate=22050:d=2"_s },
            ";FFMETADATA1\ntitle=Film\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=Intro\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=2000\ntitle=Main\n",
            { u"-disposition:a:0"_s, u"default"_s, u"-disposition:a:1"_s, u"0"_s,
                u"-metadata:s:a:0"_s, u"language=eng"_s, u"-metadata:s:a:1"_s,
                u"language=fra"_s }));
    }

    void engines_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s;
    }

    // An encoded output of the second track: its sound (2 s, not the default track's 4 s) with
    // the cover and the chapters.
    void chosenTrackKeepsCoverAndChapters_data() { engines_data(); }
    void chosenTrackKeepsCoverAndChapters()
    {
        QFETCH(QString, engine);
        const QString out = outputFolder(m_dir, u"mp3-"_s + engine);
        const CliRun run = runCli({ u"convert"_s, u"--audio-track"_s, u"2"_s, u"--engine"_s, engine,
            u"-o"_s, out, m_film });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const OutputFacts o = readOutputFacts(QDir(out).filePath(u"film.MP3"_s));
        QVERIFY(o.ok);
        QVERIFY2(std::abs(o.durationUs - 2'000'000) <= 100'000,
            qPrintable(QString::number(o.durationUs)));
        QVERIFY(o.picture);
        QCOMPARE(o.chapters, size_t(2));
        // Encoded into a container that keeps a track's language, it keeps the track's.
        const CliRun m4a = runCli({ u"convert"_s, u"--format"_s, u"M4A"_s, u"--audio-track"_s,
            u"2"_s, u"--engine"_s, engine, u"-o"_s, out, m_film });
        QVERIFY2(m4a.exitCode == 0, qPrintable(m4a.err));
        QCOMPARE(readOutputFacts(QDir(out).filePath(u"film.M4A"_s)).language, u"fra"_s);
    }

    // A copy of the second track into M4A keeps its codec and rate, the cover and the chapters.
    void copyKeepsCoverAndChapters_data() { engines_data(); }
    void copyKeepsCoverAndChapters()
    {
        QFETCH(QString, engine);
        const QString out = outputFolder(m_dir, u"copy-"_s + engine);
        const CliRun run = runCli({ u"convert"_s, u"--format"_s, u"ORIGINAL"_s, u"--audio-track"_s,
            u"2"_s, u"--engine"_s, engine, u"-o"_s, out, m_film });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const OutputFacts o = readOutputFacts(QDir(out).filePath(u"film.M4A"_s));
        QVERIFY(o.ok);
        QCOMPARE(o.codec, u"aac"_s);
        QCOMPARE(o.sampleRate, 22050);
        QCOMPARE(o.language, u"fra"_s);
        QVERIFY(o.picture);
        QCOMPARE(o.chapters, size_t(2));
    }

    // Every track split into its chapters: one copied output per track and chapter, named by
    // both, each with the cover, its chapter's title and no chapters inside.
    void everyTrackSplitIntoChapters_data() { engines_data(); }
    void everyTrackSplitIntoChapters()
    {
        QFETCH(QString, engine);
        const QString out = outputFolder(m_dir, u"split-"_s + engine);
        const CliRun run
            = runCli({ u"convert"_s, u"--format"_s, u"ORIGINAL"_s, u"--audio-track"_s, u"all"_s,
                u"--split-chapters"_s, u"--engine"_s, engine, u"--json"_s, u"-o"_s, out, m_film });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QStringList names = { u"film (track 1, eng) - 01 - Intro.M4A"_s,
            u"film (track 1, eng) - 02 - Main.M4A"_s, u"film (track 2, fra) - 01 - Intro.M4A"_s,
            u"film (track 2, fra) - 02 - Main.M4A"_s };
        const QJsonArray entries = run.json().array();
        QCOMPARE(entries.size(), 4);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden, QDir::Name), names);
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(
                entries.at(i).toObject()[u"output"].toString(), QDir(out).filePath(names.at(i)));
            QCOMPARE(entries.at(i).toObject()[u"state"].toString(), u"done"_s);
            const OutputFacts o = readOutputFacts(QDir(out).filePath(names.at(i)));
            QVERIFY(o.ok);
            QCOMPARE(o.sampleRate, i < 2 ? 44100 : 22050);
            // Whole packets: within two AAC frames of the chapter's second.
            QVERIFY2(std::abs(o.durationUs - 1'000'000) <= 100'000,
                qPrintable(names.at(i) + u": "_s + QString::number(o.durationUs)));
            QCOMPARE(o.tags.value(u"title"_s), i % 2 == 0 ? u"Intro"_s : u"Main"_s);
            QCOMPARE(o.language, i < 2 ? u"eng"_s : u"fra"_s);
            QVERIFY(o.picture);
            QCOMPARE(o.chapters, size_t(0));
        }
    }
};

QTEST_GUILESS_MAIN(TrackExtrasTest)
#include "track_extras_test.moc"
