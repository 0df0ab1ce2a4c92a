// A chosen audio track, a stream copy and a split into chapters, each with the source's cover and
// chapters, on both engines: the cover goes with the track asked for, and a copy keeps both.
#include "core/media/chapter_marks.h"
#include "core/media/cover_art.h"
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

namespace {

struct Output
{
    bool ok = false;
    qint64 durationUs = 0;
    int sampleRate = 0;
    QString codec;
    QString title;
    size_t chapters = 0;
    bool picture = false;
};

Output readOutput(const QString &path)
{
    Output o;
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return o;
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext *)> context(
        raw, [](AVFormatContext *c) { avformat_close_input(&c); });
    avformat_find_stream_info(context.get(), nullptr);
    const int audio = av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (audio < 0)
        return o;
    o.ok = true;
    o.durationUs = context->duration;
    o.sampleRate = context->streams[audio]->codecpar->sample_rate;
    o.codec = QString::fromUtf8(avcodec_get_name(context->streams[audio]->codecpar->codec_id));
    if (const AVDictionaryEntry *title = av_dict_get(context->metadata, "title", nullptr, 0))
        o.title = QString::fromUtf8(title->value);
    o.chapters = chapterMarksOf(context.get()).size();
    o.picture = !attachedPicture(context.get()).empty();
    return o;
}

} // namespace

class TrackExtrasTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    // Track 1: English AAC at 44.1 kHz of 4 s, the default; track 2: French AAC at 22.05 kHz of
    // 2 s. A cover picture, and two chapters of a second each.
    QString m_film;

    QString folder(const QString &name) const
    {
        const QString path = m_dir.filePath(name);
        QDir().mkpath(path);
        return path;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString meta = m_dir.filePath(u"chapters.txt"_s);
        QFile file(meta);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(";FFMETADATA1\ntitle=Film\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=Intro\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=2000\ntitle=Main\n");
        file.close();
        const QString cover = m_dir.filePath(u"cover.png"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=64x64:d=1"_s, u"-frames:v"_s,
            u"1"_s, cover }));
        m_film = m_dir.filePath(u"film.mp4"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=f=440:sample_rate=44100:d=4"_s,
            u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=f=660:sample_rate=22050:d=2"_s, u"-i"_s, cover,
            u"-i"_s, meta, u"-map"_s, u"0:a"_s, u"-map"_s, u"1:a"_s, u"-map"_s, u"2:v"_s,
            u"-map_metadata"_s, u"3"_s, u"-map_chapters"_s, u"3"_s, u"-c:a"_s, u"aac"_s, u"-c:v"_s,
            u"copy"_s, u"-disposition:v"_s, u"attached_pic"_s, u"-disposition:a:0"_s, u"default"_s,
            u"-disposition:a:1"_s, u"0"_s, u"-metadata:s:a:0"_s, u"language=eng"_s,
            u"-metadata:s:a:1"_s, u"language=fra"_s, m_film }));
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
        const QString out = folder(u"mp3-"_s + engine);
        const CliRun run = runCli({ u"convert"_s, u"--audio-track"_s, u"2"_s, u"--engine"_s, engine,
            u"-o"_s, out, m_film });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const Output o = readOutput(QDir(out).filePath(u"film.MP3"_s));
        QVERIFY(o.ok);
        QVERIFY2(std::abs(o.durationUs - 2'000'000) <= 100'000,
            qPrintable(QString::number(o.durationUs)));
        QVERIFY(o.picture);
        QCOMPARE(o.chapters, size_t(2));
    }

    // A copy of the second track into M4A keeps its codec and rate, the cover and the chapters.
    void copyKeepsCoverAndChapters_data() { engines_data(); }
    void copyKeepsCoverAndChapters()
    {
        QFETCH(QString, engine);
        const QString out = folder(u"copy-"_s + engine);
        const CliRun run = runCli({ u"convert"_s, u"--format"_s, u"ORIGINAL"_s, u"--audio-track"_s,
            u"2"_s, u"--engine"_s, engine, u"-o"_s, out, m_film });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const Output o = readOutput(QDir(out).filePath(u"film.M4A"_s));
        QVERIFY(o.ok);
        QCOMPARE(o.codec, u"aac"_s);
        QCOMPARE(o.sampleRate, 22050);
        QVERIFY(o.picture);
        QCOMPARE(o.chapters, size_t(2));
    }

    // Every track split into its chapters: one copied output per track and chapter, named by
    // both, each with the cover, its chapter's title and no chapters inside.
    void everyTrackSplitIntoChapters_data() { engines_data(); }
    void everyTrackSplitIntoChapters()
    {
        QFETCH(QString, engine);
        const QString out = folder(u"split-"_s + engine);
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
            const Output o = readOutput(QDir(out).filePath(names.at(i)));
            QVERIFY(o.ok);
            QCOMPARE(o.sampleRate, i < 2 ? 44100 : 22050);
            // Whole packets: within two AAC frames of the chapter's second.
            QVERIFY2(std::abs(o.durationUs - 1'000'000) <= 100'000,
                qPrintable(names.at(i) + u": "_s + QString::number(o.durationUs)));
            QCOMPARE(o.title, i % 2 == 0 ? u"Intro"_s : u"Main"_s);
            QVERIFY(o.picture);
            QCOMPARE(o.chapters, size_t(0));
        }
    }
};

QTEST_GUILESS_MAIN(TrackExtrasTest)
#include "track_extras_test.moc"
