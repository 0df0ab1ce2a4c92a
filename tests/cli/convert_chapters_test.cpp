// sonivert-cli convert --split-chapters and --cover: one correctly timed and tagged output per
// chapter on both engines, each an entry of its own.
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
    QHash<QString, QString> tags;
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
    o.ok = true;
    o.durationUs = context->duration;
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(context->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
        o.tags.insert(QString::fromUtf8(entry->key), QString::fromUtf8(entry->value));
    o.chapters = chapterMarksOf(context.get()).size();
    o.picture = !attachedPicture(context.get()).empty();
    return o;
}

} // namespace

class ConvertChaptersTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_lecture;
    QString m_plain;

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
        file.write(";FFMETADATA1\ntitle=Lecture\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1500\ntitle=Intro\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1500\nEND=3000\ntitle=Main: part\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=3000\nEND=4000\ntitle=End\n");
        file.close();
        const QString cover = m_dir.filePath(u"cover.png"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=64x64:d=1"_s, u"-frames:v"_s,
            u"1"_s, cover }));
        m_lecture = m_dir.filePath(u"lecture.mp4"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=d=4"_s, u"-i"_s, cover, u"-i"_s,
            meta, u"-map"_s, u"0:a"_s, u"-map"_s, u"1:v"_s, u"-map_metadata"_s, u"2"_s,
            u"-map_chapters"_s, u"2"_s, u"-c:a"_s, u"aac"_s, u"-c:v"_s, u"copy"_s,
            u"-disposition:v"_s, u"attached_pic"_s, m_lecture }));
        m_plain = m_dir.filePath(u"plain.mp4"_s);
        ClipOptions options;
        options.seconds = 1.0;
        QVERIFY(makeClip(m_plain, options));
    }

    void oneOutputPerChapter_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s;
    }

    void oneOutputPerChapter()
    {
        QFETCH(QString, engine);
        const QString out = folder(u"split-"_s + engine);
        const QStringList names = { u"lecture - 01 - Intro.MP3"_s,
            u"lecture - 02 - Main_ part.MP3"_s, u"lecture - 03 - End.MP3"_s };
        const CliRun dry = runCli({ u"convert"_s, u"--split-chapters"_s, u"--engine"_s, engine,
            u"--dry-run"_s, u"--json"_s, u"-o"_s, out, m_lecture });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().size(), 3);
        QCOMPARE(dry.json().array().at(1).toObject()[u"output"].toString(),
            QDir(out).filePath(names.at(1)));

        const CliRun run = runCli({ u"convert"_s, u"--split-chapters"_s, u"--engine"_s, engine,
            u"--json"_s, u"-o"_s, out, m_lecture });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonArray entries = run.json().array();
        QCOMPARE(entries.size(), 3);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden, QDir::Name), names);
        const QList<qint64> lengths = { 1'500'000, 1'500'000, 1'000'000 };
        const QStringList titles = { u"Intro"_s, u"Main: part"_s, u"End"_s };
        for (int i = 0; i < 3; ++i) {
            const QJsonObject entry = entries.at(i).toObject();
            QCOMPARE(entry[u"state"].toString(), u"done"_s);
            QCOMPARE(entry[u"file"].toString(), m_lecture);
            QCOMPARE(entry[u"output"].toString(), QDir(out).filePath(names.at(i)));
            const Output o = readOutput(QDir(out).filePath(names.at(i)));
            QVERIFY(o.ok);
            // Within two MP3 frames and the encoder's delay.
            QVERIFY2(std::abs(o.durationUs - lengths.at(i)) <= 80'000,
                qPrintable(QString::number(o.durationUs)));
            QCOMPARE(o.tags.value(u"title"_s), titles.at(i));
            QCOMPARE(o.tags.value(u"track"_s), QStringLiteral("%1/3").arg(i + 1));
            QCOMPARE(o.tags.value(u"album"_s), u"Lecture"_s);
            QCOMPARE(o.chapters, size_t(0));
            QVERIFY(o.picture);
        }
    }

    // The probe tells what a split would give.
    void probeListsChaptersAndCover()
    {
        const CliRun run = runCli({ u"probe"_s, u"--json"_s, m_lecture, m_plain });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonObject lecture = run.json().array().at(0).toObject();
        QVERIFY(lecture[u"cover"].toBool());
        const QJsonArray chapters = lecture[u"chapters"].toArray();
        QCOMPARE(chapters.size(), 3);
        QCOMPARE(chapters.at(1).toObject()[u"title"].toString(), u"Main: part"_s);
        QCOMPARE(chapters.at(1).toObject()[u"start"].toDouble(), 1.5);
        QCOMPARE(chapters.at(1).toObject()[u"end"].toDouble(), 3.0);
        const QJsonObject plain = run.json().array().at(1).toObject();
        QVERIFY(!plain[u"cover"].toBool());
        QVERIFY(plain[u"chapters"].toArray().isEmpty());
    }

    // Without chapters a file converts whole; --cover none leaves the picture out.
    void plainFilesAndCoverChoice()
    {
        const QString out = folder(u"plain"_s);
        const CliRun run = runCli({ u"convert"_s, u"--split-chapters"_s, u"--cover"_s, u"none"_s,
            u"--json"_s, u"-o"_s, out, m_plain, m_lecture });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.json().array().size(), 4);
        QCOMPARE(run.json().array().at(0).toObject()[u"output"].toString(),
            QDir(out).filePath(u"plain.MP3"_s));
        QVERIFY(!readOutput(QDir(out).filePath(u"lecture - 01 - Intro.MP3"_s)).picture);

        const CliRun bad = runCli({ u"convert"_s, u"--cover"_s, u"poster"_s, m_plain });
        QCOMPARE(bad.exitCode, 2);
        QVERIFY(bad.err.contains(u"--cover takes source, frame or none"_s));
    }
};

QTEST_GUILESS_MAIN(ConvertChaptersTest)
#include "convert_chapters_test.moc"
