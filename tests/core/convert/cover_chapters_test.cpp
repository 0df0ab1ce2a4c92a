// The source's cover picture and chapters in the outputs that hold them, on both engines: an MP4
// with a covr picture and chapters, a Matroska file with a cover attachment and chapters, a cut
// that moves and clips the chapters, a video frame as cover, and no cover on request.
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_naming.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"
#include "core/media/chapter_marks.h"
#include "core/media/cover_art.h"
#include "core/media/source_facts.h"
#include "support/engine_jobs.h"
#include "support/media_maker.h"
#include "support/output_facts.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace sonivert;
using sonivert::test::encodeTask;
using sonivert::test::MediaReader;
using sonivert::test::openMedia;
using sonivert::test::runEncodeJob;
using sonivert::test::runFfmpeg;
using namespace Qt::StringLiterals;

namespace {

struct ReadBack
{
    bool ok = false;
    bool hasAudio = false;
    int pictureWidth = -1; // -1: no picture
    int pictureHeight = -1;
    std::vector<ChapterMark> chapters;
};

ReadBack readBack(const QString &path)
{
    ReadBack r;
    const MediaReader context = openMedia(path);
    if (!context)
        return r;
    r.ok = true;
    r.hasAudio = defaultAudioStreamIndex(context.get()) >= 0;
    const CoverPicture picture = attachedPicture(context.get());
    if (!picture.empty()) {
        r.pictureWidth = picture.width;
        r.pictureHeight = picture.height;
    }
    // As written: a reader's start time (an encoder's delay, say) does not move them.
    for (unsigned i = 0; i < context->nb_chapters; ++i) {
        const AVChapter *chapter = context->chapters[i];
        const AVDictionaryEntry *title = av_dict_get(chapter->metadata, "title", nullptr, 0);
        r.chapters.push_back({ av_rescale_q(chapter->start, chapter->time_base, AV_TIME_BASE_Q),
            av_rescale_q(chapter->end, chapter->time_base, AV_TIME_BASE_Q),
            title ? title->value : "" });
    }
    return r;
}

EncodePlan planFor(const QString &extension)
{
    static const QHash<QString, QString> encoders = { { u"mp3"_s, u"libmp3lame"_s },
        { u"m4a"_s, u"aac"_s }, { u"flac"_s, u"flac"_s }, { u"ogg"_s, u"libvorbis"_s },
        { u"opus"_s, u"libopus"_s }, { u"wav"_s, u"pcm_s16le"_s } };
    EncodePlan plan;
    plan.channels = 2;
    plan.sampleRate = extension == QLatin1String("opus") ? u"48000"_s : u"44100"_s;
    plan.audioBitrateKbps = 128;
    plan.audioEncoder = encoders.value(extension);
    return plan;
}

constexpr qint64 Ms = 1000;

} // namespace

class CoverChaptersTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_ffmpeg;
    WorkerPool m_pool;
    QString m_mp4, m_mkv, m_plain, m_bigCover, m_gifCover;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    EncodeTask taskFor(const QString &input, const QString &extension, const TaskCut &cut,
        const OutputExtras &extras, const EncodePlan &plan)
    {
        static int count = 0;
        const QString output = path(QStringLiteral("out%1.%2").arg(++count).arg(extension));
        EncodeTask task = encodeTask(input, output, plan, cut);
        task.extras = extras;
        return task;
    }

    // Runs the task to its end; what the job reports, which failed on a time-out.
    EncodeJobResult run(bool worker, const EncodeTask &task)
    {
        const EncodeJobResult result = runEncodeJob(worker, m_pool, m_ffmpeg, task);
        if (result.outcome != JobOutcome::Succeeded)
            qWarning() << result.message << result.commandLine;
        return result;
    }

    // Converts into a fresh output; the output's path, or "" when the job failed.
    QString convert(bool worker, const QString &input, const QString &extension,
        const TaskCut &cut = {}, const OutputExtras &extras = {})
    {
        const EncodeTask task = taskFor(input, extension, cut, extras, planFor(extension));
        return run(worker, task).outcome == JobOutcome::Succeeded ? task.temporaryOutput
                                                                  : QString();
    }

    // Runs a command a job showed, writing to output instead of the job's temporary output.
    static bool runAgain(QStringList command, const QString &temporary, const QString &output)
    {
        QFile::remove(output);
        if (command.removeAll(temporary) != 1)
            return false;
        QProcess ffmpeg;
        ffmpeg.start(command.first(), command.mid(1) << output);
        if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0) {
            qWarning("%s", ffmpeg.readAllStandardError().constData());
            return false;
        }
        return true;
    }

    // The MD5 of what ffmpeg reads from the file's sound: its packets for a copy, else the
    // decoded samples.
    static QByteArray soundHash(const QString &file, bool packets)
    {
        QProcess ffmpeg;
        QStringList args { u"-v"_s, u"error"_s, u"-i"_s, file, u"-map"_s, u"0:a"_s };
        args << (packets ? QStringList { u"-c"_s, u"copy"_s, u"-f"_s, u"framemd5"_s }
                         : QStringList { u"-f"_s, u"s16le"_s });
        ffmpeg.start(findFfmpegProgram(), args << u"-"_s);
        if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0)
            return {};
        QByteArray out = ffmpeg.readAllStandardOutput();
        if (packets) // the header names the file's own time base and codec, not its packets
            out = out.mid(out.lastIndexOf('#'));
        return QCryptographicHash::hash(out, QCryptographicHash::Md5).toHex();
    }

    // No picture files or other leftovers beside the outputs.
    void verifyNoLeftovers()
    {
        const QStringList hidden
            = QDir(m_dir.path())
                  .entryList({ QStringLiteral(".sonivert-*") }, QDir::Files | QDir::Hidden);
        for (const QString &name : hidden)
            QVERIFY2(!name.endsWith(QLatin1String(".jpg")), qPrintable(name));
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_ERROR); // MP4 cover tracks have no time scale to speak of
        QVERIFY(m_dir.isValid());
        m_ffmpeg = findFfmpegProgram();
        QVERIFY(!m_ffmpeg.isEmpty());
        m_pool.setProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));

        const QString meta = path(QStringLiteral("chapters.txt"));
        QFile file(meta);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(";FFMETADATA1\ntitle=Lecture\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1500\ntitle=Intro\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1500\nEND=3000\ntitle=Main part\n"
                   "[CHAPTER]\nTIMEBASE=1/1000\nSTART=3000\nEND=4000\ntitle=End\n");
        file.close();
        const QString cover = path(QStringLiteral("cover.jpg"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=320x240:d=1"_s,
            u"-frames:v"_s, u"1"_s, cover }));
        const QStringList sound = { u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=f=440:d=4"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"testsrc=s=160x120:r=10:d=4"_s };
        m_mp4 = path(QStringLiteral("covered.mp4"));
        QVERIFY(runFfmpeg(sound
            + QStringList { u"-i"_s, cover, u"-i"_s, meta, u"-map"_s, u"0:a"_s, u"-map"_s, u"1:v"_s,
                u"-map"_s, u"2:v"_s, u"-map_metadata"_s, u"3"_s, u"-map_chapters"_s, u"3"_s,
                u"-c:a"_s, u"aac"_s, u"-c:v:0"_s, u"mpeg4"_s, u"-c:v:1"_s, u"copy"_s,
                u"-disposition:v:1"_s, u"attached_pic"_s, m_mp4 }));
        m_mkv = path(QStringLiteral("attached.mkv"));
        QVERIFY(runFfmpeg(sound
            + QStringList { u"-i"_s, meta, u"-map"_s, u"0:a"_s, u"-map"_s, u"1:v"_s,
                u"-map_metadata"_s, u"2"_s, u"-map_chapters"_s, u"2"_s, u"-c:a"_s, u"libvorbis"_s,
                u"-c:v"_s, u"mpeg4"_s, u"-attach"_s, cover, u"-metadata:s:t"_s,
                u"mimetype=image/jpeg"_s, m_mkv }));
        m_plain = path(QStringLiteral("plain.mp4"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=d=3"_s, u"-f"_s, u"lavfi"_s,
            u"-i"_s, u"testsrc=s=1280x720:r=10:d=3"_s, u"-c:v"_s, u"mpeg4"_s, m_plain }));
        // A picture far too large for a comment (or a command-line argument) as it is.
        const QString noise = path(QStringLiteral("noise.png"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"nullsrc=s=1000x1000,geq=random(1)*255:random(2)*255:random(3)*255"_s, u"-frames:v"_s,
            u"1"_s, noise }));
        QVERIFY(QFileInfo(noise).size() > qint64(MaxCommentPictureBytes) * 4);
        m_bigCover = path(QStringLiteral("big.mp4"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=d=1"_s, u"-i"_s, noise, u"-map"_s,
            u"0:a"_s, u"-map"_s, u"1:v"_s, u"-c:a"_s, u"aac"_s, u"-c:v"_s, u"copy"_s,
            u"-disposition:v"_s, u"attached_pic"_s, m_bigCover }));
        // A GIF attachment, which FLAC and MP4 cannot hold as it is.
        const QString gif = path(QStringLiteral("cover.gif"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=64x48:d=1"_s, u"-frames:v"_s,
            u"1"_s, gif }));
        m_gifCover = path(QStringLiteral("gif.mka"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=d=1"_s, u"-c:a"_s, u"libvorbis"_s,
            u"-attach"_s, gif, u"-metadata:s:t"_s, u"mimetype=image/gif"_s, m_gifCover }));
        const ReadBack mkv = readBack(m_mkv);
        QCOMPARE(mkv.pictureWidth, 320); // the attachment reads as an attached picture
        QCOMPARE(mkv.chapters.size(), size_t(3));
    }

    void carriedIntoEveryHolder_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("extension");
        for (const bool worker : { false, true }) {
            for (const char *source : { "mp4", "mkv" }) {
                for (const char *extension : { "mp3", "m4a", "flac", "ogg", "opus" }) {
                    QTest::addRow("%s %s %s", worker ? "worker" : "ffmpeg", source, extension)
                        << worker << QString::fromLatin1(source) << QString::fromLatin1(extension);
                }
            }
        }
    }

    void carriedIntoEveryHolder()
    {
        QFETCH(bool, worker);
        QFETCH(QString, source);
        QFETCH(QString, extension);
        const QString output
            = convert(worker, source == QLatin1String("mp4") ? m_mp4 : m_mkv, extension);
        QVERIFY(!output.isEmpty());
        const ReadBack r = readBack(output);
        QVERIFY(r.ok && r.hasAudio);
        QCOMPARE(r.pictureWidth, 320);
        QCOMPARE(r.pictureHeight, 240);
        QCOMPARE(r.chapters.size(), size_t(3));
        const std::vector<std::pair<qint64, std::string>> expected
            = { { 0, "Intro" }, { 1500 * Ms, "Main part" }, { 3000 * Ms, "End" } };
        for (size_t i = 0; i < expected.size(); ++i) {
            QCOMPARE(r.chapters[i].title, expected[i].second);
            QVERIFY2(std::abs(r.chapters[i].startUs - expected[i].first) <= 1 * Ms,
                qPrintable(QString::number(r.chapters[i].startUs)));
        }
        verifyNoLeftovers();
    }

    // A format without a place for them drops both without a word.
    void droppedWhereNotHeld()
    {
        for (const bool worker : { false, true }) {
            const QString output = convert(worker, m_mp4, QStringLiteral("wav"));
            QVERIFY(!output.isEmpty());
            const ReadBack r = readBack(output);
            QVERIFY(r.hasAudio);
            QCOMPARE(r.pictureWidth, -1);
        }
    }

    void cutMovesAndClipsChapters_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::addColumn<QString>("extension");
        for (const bool worker : { false, true }) {
            for (const char *extension : { "mp3", "m4a", "opus" }) {
                QTest::addRow("%s %s", worker ? "worker" : "ffmpeg", extension)
                    << worker << QString::fromLatin1(extension);
            }
        }
    }

    void cutMovesAndClipsChapters()
    {
        QFETCH(bool, worker);
        QFETCH(QString, extension);
        const QString output = convert(worker, m_mp4, extension, TaskCut { 1000 * Ms, 2000 * Ms });
        QVERIFY(!output.isEmpty());
        const ReadBack r = readBack(output);
        // The picture survives the cut, which drops what comes before its start.
        QCOMPARE(r.pictureWidth, 320);
        QVERIFY(r.chapters.size() >= 2);
        QCOMPARE(r.chapters[0].title, std::string("Intro"));
        QVERIFY(std::abs(r.chapters[0].startUs) <= 1 * Ms);
        QCOMPARE(r.chapters[1].title, std::string("Main part"));
        QVERIFY2(std::abs(r.chapters[1].startUs - 500 * Ms) <= 1 * Ms,
            qPrintable(QString::number(r.chapters[1].startUs)));
        if (extension != QLatin1String("opus")) // comments give starts only
            QVERIFY(std::abs(r.chapters[1].endUs - 2000 * Ms) <= 30 * Ms);
        for (const ChapterMark &chapter : r.chapters)
            QVERIFY(chapter.startUs <= 2000 * Ms);
        verifyNoLeftovers();
    }

    void coverChoices_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::addColumn<QString>("extension");
        for (const bool worker : { false, true }) {
            for (const char *extension : { "m4a", "ogg" }) {
                QTest::addRow("%s %s", worker ? "worker" : "ffmpeg", extension)
                    << worker << QString::fromLatin1(extension);
            }
        }
    }

    void coverChoices()
    {
        QFETCH(bool, worker);
        QFETCH(QString, extension);
        // A video without a picture of its own gives a frame, scaled to fit 600 pixels.
        const QString frame = convert(worker, m_plain, extension, {}, { CoverChoice::Frame, true });
        QVERIFY(!frame.isEmpty());
        ReadBack r = readBack(frame);
        QCOMPARE(r.pictureWidth, 600);
        QCOMPARE(r.pictureHeight, 338);
        // The source's own picture comes first.
        r = readBack(convert(worker, m_mp4, extension, {}, { CoverChoice::Frame, true }));
        QCOMPARE(r.pictureWidth, 320);
        r = readBack(convert(worker, m_plain, extension));
        QVERIFY(r.ok);
        QCOMPARE(r.pictureWidth, -1);
        r = readBack(convert(worker, m_mp4, extension, {}, { CoverChoice::None, true }));
        QVERIFY(r.ok);
        QCOMPARE(r.pictureWidth, -1);
        // Chapters may be left out too.
        r = readBack(convert(worker, m_mp4, extension, {}, { CoverChoice::Source, false }));
        QVERIFY(r.ok);
        QCOMPARE(r.chapters.size(), size_t(0));
        verifyNoLeftovers();
    }

    // The ffmpeg command the report shows makes the same file when a person runs it again after
    // the task: every input is the source (a picture included, however the cut would drop it), and
    // the sound is cut to the samples and packets the worker keeps.
    void shownCommandRunsAgain_data()
    {
        QTest::addColumn<QString>("source"); // "mp4", "plain" or "gif"
        QTest::addColumn<QString>("extension");
        QTest::addColumn<bool>("copy");
        QTest::addColumn<int>("cover"); // CoverChoice
        QTest::addColumn<qint64>("startMs");
        QTest::addColumn<int>("pictureWidth");
        QTest::newRow("mp3, source picture, cut")
            << u"mp4"_s << u"mp3"_s << false << int(CoverChoice::Source) << 1000ll << 320;
        QTest::newRow("m4a, frame, cut")
            << u"plain"_s << u"m4a"_s << false << int(CoverChoice::Frame) << 500ll << 600;
        QTest::newRow("flac, gif made a jpeg, cut")
            << u"gif"_s << u"flac"_s << false << int(CoverChoice::Source) << 200ll << 64;
        QTest::newRow("m4a copy, source picture, cut")
            << u"mp4"_s << u"m4a"_s << true << int(CoverChoice::Source) << 1000ll << 320;
        QTest::newRow("opus, frame in a comment, cut")
            << u"plain"_s << u"opus"_s << false << int(CoverChoice::Frame) << 500ll << 600;
    }

    void shownCommandRunsAgain()
    {
        QFETCH(QString, source);
        QFETCH(QString, extension);
        QFETCH(bool, copy);
        QFETCH(int, cover);
        QFETCH(qint64, startMs);
        QFETCH(int, pictureWidth);
        const QString input = source == QLatin1String("mp4") ? m_mp4
            : source == QLatin1String("gif")                 ? m_gifCover
                                                             : m_plain;
        EncodePlan plan = planFor(extension);
        if (copy) {
            plan = EncodePlan {};
            plan.copyAudio = true;
        }
        const TaskCut cut { startMs * Ms, 1500 * Ms };
        const EncodeTask task = taskFor(input, extension, cut, { CoverChoice(cover), true }, plan);
        const EncodeJobResult ran = run(false, task);
        QCOMPARE(ran.outcome, JobOutcome::Succeeded);

        QStringList command = ran.commandLine;
        for (qsizetype i = 0; i + 1 < command.size(); ++i) {
            if (command.at(i) == QLatin1String("-i"))
                QCOMPARE(command.at(i + 1), input);
        }
        const QString again = path(u"again."_s + extension);
        QVERIFY(runAgain(command, task.temporaryOutput, again));

        const ReadBack first = readBack(task.temporaryOutput);
        const ReadBack second = readBack(again);
        QCOMPARE(first.pictureWidth, pictureWidth);
        QCOMPARE(second.pictureWidth, pictureWidth);
        QCOMPARE(second.chapters.size(), first.chapters.size());
        const QByteArray sound = soundHash(task.temporaryOutput, copy);
        QVERIFY(!sound.isEmpty());
        QCOMPARE(soundHash(again, copy), sound);

        // The worker cuts the same sound, and the command it shows does the same, cover and all.
        const EncodeTask byWorker
            = taskFor(input, extension, cut, { CoverChoice(cover), true }, plan);
        const EncodeJobResult worked = run(true, byWorker);
        QCOMPARE(worked.outcome, JobOutcome::Succeeded);
        QCOMPARE(readBack(byWorker.temporaryOutput).pictureWidth, pictureWidth);
        QCOMPARE(soundHash(byWorker.temporaryOutput, copy), sound);
        const QString workerAgain = path(u"worker-again."_s + extension);
        QVERIFY(runAgain(worked.commandLine, byWorker.temporaryOutput, workerAgain));
        QCOMPARE(readBack(workerAgain).pictureWidth, pictureWidth);
        QCOMPARE(soundHash(workerAgain, copy), sound);
    }

    // A video that does not decode gives no frame: the sound is converted without a cover, on
    // both engines, rather than not at all.
    void aVideoThatDoesNotDecodeGivesNoCover()
    {
        const QString ts = path(u"garbled.ts"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=160x120:d=3"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"sine=d=3"_s, u"-c:v"_s, u"mpeg4"_s, u"-c:a"_s, u"aac"_s, ts }));
        QFile file(ts);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QByteArray bytes = file.readAll();
        // Every payload byte of the video's packets (the first stream's PID, 0x100) garbled.
        quint32 seed = 1;
        for (qsizetype at = 0; at + 188 <= bytes.size(); at += 188) {
            const int pid = ((bytes.at(at + 1) & 0x1f) << 8) | quint8(bytes.at(at + 2));
            for (qsizetype i = at + 20; pid == 0x100 && i < at + 188; ++i) {
                seed = seed * 1103515245u + 12345u;
                bytes[i] = char(seed >> 16);
            }
        }
        QVERIFY(file.seek(0) && file.write(bytes) == bytes.size());
        file.close();
        for (const bool worker : { false, true }) {
            const QString output
                = convert(worker, ts, QStringLiteral("mp3"), {}, { CoverChoice::Frame, true });
            QVERIFY2(!output.isEmpty(), worker ? "worker" : "ffmpeg");
            const ReadBack r = readBack(output);
            QVERIFY(r.hasAudio);
            QCOMPARE(r.pictureWidth, -1);
        }
    }

    // Ogg and Opus hold the picture in a comment: a large one goes in as a smaller JPEG, and one
    // of so much detail that no JPEG of it at 600 px fits goes in with fewer pixels.
    void aLargePictureFitsAComment()
    {
        const QString noise = path(QStringLiteral("noise.jpg"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"nullsrc=s=600x600,geq=random(1)*255:random(2)*255:random(3)*255"_s, u"-frames:v"_s,
            u"1"_s, u"-q:v"_s, u"1"_s, noise }));
        const QString detailed = path(QStringLiteral("detailed.mp4"));
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=d=1"_s, u"-i"_s, noise, u"-map"_s,
            u"0:a"_s, u"-map"_s, u"1:v"_s, u"-c:a"_s, u"aac"_s, u"-c:v"_s, u"copy"_s,
            u"-disposition:v"_s, u"attached_pic"_s, detailed }));
        for (const bool worker : { false, true }) {
            for (const QString &source : { m_bigCover, detailed }) {
                const QString output = convert(worker, source, QStringLiteral("opus"));
                QVERIFY(!output.isEmpty());
                const ReadBack r = readBack(output);
                QCOMPARE(r.pictureWidth, source == detailed ? MaxCoverSide / 2 : MaxCoverSide);
                QVERIFY(QFileInfo(output).size() < qint64(MaxCommentPictureBytes) * 2);
            }
        }
    }

    void anyPictureGoesInAsOneTheFormatTakes_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::addColumn<QString>("extension");
        for (const bool worker : { false, true }) {
            for (const char *extension : { "flac", "m4a", "ogg" }) {
                QTest::addRow("%s %s", worker ? "worker" : "ffmpeg", extension)
                    << worker << QString::fromLatin1(extension);
            }
        }
    }

    void anyPictureGoesInAsOneTheFormatTakes()
    {
        QFETCH(bool, worker);
        QFETCH(QString, extension);
        const QString output = convert(worker, m_gifCover, extension);
        QVERIFY(!output.isEmpty());
        QCOMPARE(readBack(output).pictureWidth, 64);
    }

    void chaptersWithinCut_data()
    {
        QTest::addColumn<qint64>("startUs");
        QTest::addColumn<qint64>("lengthUs");
        QTest::addColumn<QList<qint64>>("expected"); // start, end of each chapter kept

        QTest::newRow("whole") << 0ll << -1ll << QList<qint64> { 0, 1500, 1500, 3000, 3000, 4000 };
        QTest::newRow("from inside the first")
            << 1000ll << -1ll << QList<qint64> { 0, 500, 500, 2000, 2000, 3000 };
        QTest::newRow("clipped at the end")
            << 0ll << 2000ll << QList<qint64> { 0, 1500, 1500, 2000 };
        QTest::newRow("within one") << 1600ll << 1000ll << QList<qint64> { 0, 1000 };
        QTest::newRow("past them all") << 5000ll << -1ll << QList<qint64> {};
    }

    void chaptersWithinCut()
    {
        QFETCH(qint64, startUs);
        QFETCH(qint64, lengthUs);
        QFETCH(QList<qint64>, expected);
        const std::vector<ChapterMark> chapters
            = { { 0, 1500, "a" }, { 1500, 3000, "b" }, { 3000, 4000, "c" } };
        const std::vector<ChapterMark> kept = chaptersWithin(chapters, startUs, lengthUs);
        QList<qint64> got;
        for (const ChapterMark &chapter : kept)
            got << chapter.startUs << chapter.endUs;
        QCOMPARE(got, expected);
    }

    void chapterCommentTimes()
    {
        const auto comments = chapterComments(
            { { 0, 1, "Intro" }, { 1'500'000, 2, "" }, { 3'723'999'000, 3, "Late" } });
        const std::vector<std::pair<std::string, std::string>> expected
            = { { "CHAPTER000", "00:00:00.000" }, { "CHAPTER000NAME", "Intro" },
                  // Half a second is not rounded up to the next one.
                  { "CHAPTER001", "00:00:01.500" }, { "CHAPTER002", "01:02:03.999" },
                  { "CHAPTER002NAME", "Late" } };
        QCOMPARE(comments, expected);
    }
};

QTEST_GUILESS_MAIN(CoverChaptersTest)
#include "cover_chapters_test.moc"
