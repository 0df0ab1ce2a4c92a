// "Original audio (no re-encoding)" on both engines: a video's audio track goes into the
// container of its codec with every packet as it was, the chosen track of several, and a trim
// that falls on packet boundaries.
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_naming.h"
#include "core/convert/stream_copy.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"
#include "core/formats/output_settings.h"
#include "core/media/audio_tracks.h"
#include "core/media/probe.h"
#include "support/engine_jobs.h"
#include "support/media_maker.h"
#include "support/output_facts.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace sonivert;
using namespace Qt::StringLiterals;
using sonivert::test::MediaReader;
using sonivert::test::openMedia;
using sonivert::test::runEncodeJob;
using sonivert::test::runFfmpeg;

namespace {

// The packets of one audio track, as a demuxer gives them.
struct Packets
{
    bool ok = false;
    QString codec;
    QList<QByteArray> hashes; // one per packet
    QByteArray data; // all payloads in order, for PCM, whose packet sizes are the demuxer's
    // From the first packet's start to the last one's end (durations alone can be rounded to
    // a container's milliseconds, or missing).
    qint64 durationUs = 0;
    qint64 frameUs = 0; // the longest packet
};

Packets readPackets(const QString &path, int track = 0)
{
    Packets p;
    const MediaReader context = openMedia(path);
    if (!context)
        return p;
    int stream = -1;
    for (unsigned i = 0, seen = 0; i < context->nb_streams && stream < 0; ++i) {
        if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO
            && seen++ == unsigned(track))
            stream = int(i);
    }
    if (stream < 0)
        return p;
    const AVRational timeBase = context->streams[stream]->time_base;
    p.codec = QString::fromUtf8(avcodec_get_name(context->streams[stream]->codecpar->codec_id));
    AVPacket *packet = av_packet_alloc();
    int64_t first = AV_NOPTS_VALUE;
    int64_t end = AV_NOPTS_VALUE;
    int64_t longest = 0;
    while (av_read_frame(context.get(), packet) >= 0) {
        if (packet->stream_index == stream) {
            const QByteArray bytes(reinterpret_cast<const char *>(packet->data), packet->size);
            p.hashes << QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
            p.data += bytes;
            const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
            if (time != AV_NOPTS_VALUE) {
                first = first == AV_NOPTS_VALUE ? time : std::min(first, time);
                end = end == AV_NOPTS_VALUE ? time + packet->duration
                                            : std::max(end, time + packet->duration);
            }
            longest = std::max(longest, packet->duration);
        }
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    if (first != AV_NOPTS_VALUE)
        p.durationUs = av_rescale_q(end - first, timeBase, AVRational { 1, AV_TIME_BASE });
    p.frameUs = av_rescale_q(longest, timeBase, AVRational { 1, AV_TIME_BASE });
    p.ok = true;
    return p;
}

struct Ran
{
    JobOutcome outcome = JobOutcome::Failed;
    QString message;
    QString output;
    QStringList commandLine;
};

} // namespace

class StreamCopyTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_ffmpeg;
    WorkerPool m_pool;
    Catalogue m_catalogue;
    QString m_twoTracks;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    // A second of sound in a small video, in the container the extension names.
    bool makeSource(const QString &file, const QStringList &audioArgs, const QString &rate)
    {
        QString error;
        QStringList args { u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=32x32:rate=5"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"sine=frequency=440:sample_rate="_s + rate, u"-t"_s, u"1"_s,
            u"-c:v"_s, u"mpeg4"_s };
        args << audioArgs << path(file);
        const bool ok = runFfmpeg(args, &error);
        if (!ok)
            qWarning("%s", qPrintable(error));
        return ok;
    }

    // The plan of the copy family for the row, with the track chosen (0: the default).
    TaskPlan copyPlan(const QString &input, int track = 0)
    {
        ProbeResult probe = probeMediaFile(input);
        if (!probe.ok)
            return {};
        if (track > 0 && !selectAudioTrack(probe.item, track))
            return {};
        OutputSettings settings(m_catalogue);
        settings.selectFormat(u"Original audio (no re-encoding)"_s);
        return planTask(probe.item, settings);
    }

    Ran run(bool worker, const QString &input, const TaskPlan &plan, const QString &name)
    {
        const QString output = path(name + u"."_s + plan.extension);
        EncodeTask task;
        task.input = input;
        task.output = output;
        task.temporaryOutput = temporaryOutputName(output);
        task.inputOptions = plan.inputOptions;
        task.outputOptions = plan.outputOptions;
        task.cut = plan.cut;
        task.facts = plan.source;
        task.plan = plan.encoding;
        const EncodeJobResult result = runEncodeJob(worker, m_pool, m_ffmpeg, task);
        return { result.outcome, result.message, task.temporaryOutput, result.commandLine };
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET);
        QVERIFY(m_dir.isValid());
        m_ffmpeg = findFfmpegProgram();
        QVERIFY(!m_ffmpeg.isEmpty());
        m_pool.setProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));
        QVERIFY(loadBuiltInCatalogue(m_catalogue, m_dir.path()));

        // English AAC, mono, 48 kHz, then French AC-3 in 5.1 at 44.1 kHz, two seconds long.
        m_twoTracks = path(u"two.mkv"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=32x32:rate=5"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"sine=f=440:sample_rate=48000"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"sine=f=660:sample_rate=44100:duration=2"_s, u"-t"_s, u"1"_s, u"-map"_s, u"0:v"_s,
            u"-map"_s, u"1:a"_s, u"-map"_s, u"2:a"_s, u"-shortest"_s, u"-c:v"_s, u"mpeg4"_s,
            u"-c:a:0"_s, u"aac"_s, u"-c:a:1"_s, u"ac3"_s, u"-ac:a:1"_s, u"6"_s,
            u"-metadata:s:a:0"_s, u"language=eng"_s, u"-metadata:s:a:1"_s, u"language=fra"_s,
            m_twoTracks }));
    }

    void everyCodecKeepsItsPackets_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("audioArgs");
        QTest::addColumn<QString>("rate");
        QTest::addColumn<QString>("extension");

        const auto row = [](const char *name, const char *source, const QStringList &args,
                             const char *rate, const char *extension) {
            QTest::newRow(name) << QString::fromLatin1(source) << args << QString::fromLatin1(rate)
                                << QString::fromLatin1(extension);
        };
        row("aac", "aac.mp4", { u"-c:a"_s, u"aac"_s }, "44100", "M4A");
        row("alac", "alac.mkv", { u"-c:a"_s, u"alac"_s }, "44100", "M4A");
        row("mp3", "mp3.mkv", { u"-c:a"_s, u"libmp3lame"_s }, "44100", "MP3");
        row("vorbis", "vorbis.mkv", { u"-c:a"_s, u"libvorbis"_s }, "44100", "OGG");
        row("opus", "opus.mkv", { u"-c:a"_s, u"libopus"_s }, "48000", "OPUS");
        row("flac", "flac.mkv", { u"-c:a"_s, u"flac"_s }, "44100", "FLAC");
        row("ac3", "ac3.mkv", { u"-c:a"_s, u"ac3"_s }, "48000", "AC3");
        row("eac3", "eac3.mkv", { u"-c:a"_s, u"eac3"_s }, "48000", "EAC3");
        row("dts", "dts.mkv", { u"-c:a"_s, u"dca"_s, u"-strict"_s, u"-2"_s }, "48000", "DTS");
        row("mp2", "mp2.mkv", { u"-c:a"_s, u"mp2"_s }, "44100", "MP2");
        row("pcm", "pcm.mov", { u"-c:a"_s, u"pcm_s16le"_s }, "44100", "WAV");
        row("wma", "wma.mkv", { u"-c:a"_s, u"wmav2"_s }, "44100", "WMA");
        row("other: adpcm", "adpcm.mkv", { u"-c:a"_s, u"adpcm_ms"_s }, "44100", "MKA");
        // Matroska gives WavPack's packets no duration.
        row("other: wavpack", "wavpack.mkv",
            { u"-c:a"_s, u"wavpack"_s, u"-frame_size"_s, u"4410"_s }, "44100", "MKA");
    }

    void everyCodecKeepsItsPackets()
    {
        QFETCH(QString, source);
        QFETCH(QStringList, audioArgs);
        QFETCH(QString, rate);
        QFETCH(QString, extension);
        QVERIFY(makeSource(source, audioArgs, rate));
        const QString input = path(source);
        const TaskPlan plan = copyPlan(input);
        QVERIFY(plan.encoding && plan.encoding->copyAudio);
        QCOMPARE(plan.extension, extension);
        QVERIFY(plan.outputOptions.contains(u"-acodec copy"_s));
        QCOMPARE(workerRefusal(plan), QString());

        const Packets original = readPackets(input);
        QVERIFY(original.ok && !original.hashes.isEmpty());
        for (const bool worker : { false, true }) {
            const Ran ran = run(worker, input, plan, QFileInfo(source).baseName());
            const QString engine = worker ? u"worker"_s : u"ffmpeg"_s;
            QVERIFY2(
                ran.outcome == JobOutcome::Succeeded, qPrintable(engine + u": "_s + ran.message));
            const Packets copied = readPackets(ran.output);
            QVERIFY2(copied.ok, qPrintable(engine));
            QCOMPARE(copied.codec, original.codec);
            QCOMPARE(copied.data.size(), original.data.size());
            QVERIFY2(copied.data == original.data, qPrintable(engine));
            if (!original.codec.startsWith(u"pcm_"_s))
                QVERIFY2(copied.hashes == original.hashes, qPrintable(engine));
            const qint64 frame = std::max(original.frameUs, copied.frameUs);
            QVERIFY2(qAbs(copied.durationUs - original.durationUs) <= frame,
                qPrintable(
                    u"%1 us against %2 us"_s.arg(copied.durationUs).arg(original.durationUs)));
            QFile::remove(ran.output);
        }
    }

    // The codecs whose nearer container cannot hold them go into Matroska audio.
    void extensionsFollowTheCodec_data()
    {
        QTest::addColumn<QString>("codec");
        QTest::addColumn<QString>("extension");
        QTest::newRow("aac") << u"aac"_s << u"M4A"_s;
        QTest::newRow("pcm little-endian") << u"pcm_s24le"_s << u"WAV"_s;
        QTest::newRow("a-law") << u"pcm_alaw"_s << u"WAV"_s;
        QTest::newRow("pcm in no WAV") << u"pcm_s16be_planar"_s << u"MKA"_s;
        QTest::newRow("wma pro") << u"wmapro"_s << u"WMA"_s;
        QTest::newRow("truehd") << u"truehd"_s << u"MKA"_s;
        QTest::newRow("no sound") << QString() << u"MKA"_s;
    }

    void extensionsFollowTheCodec()
    {
        QFETCH(QString, codec);
        QFETCH(QString, extension);
        QCOMPARE(streamCopyExtension(codec), extension);
    }

    // Each track of a file of two: the one chosen is the one copied, into its own container.
    void theChosenTrackIsTheOneCopied()
    {
        for (const int track : { 1, 2 }) {
            const TaskPlan plan = copyPlan(m_twoTracks, track);
            QCOMPARE(plan.extension, track == 1 ? u"M4A"_s : u"AC3"_s);
            const Packets original = readPackets(m_twoTracks, track - 1);
            for (const bool worker : { false, true }) {
                const Ran ran
                    = run(worker, m_twoTracks, plan, u"track%1-%2"_s.arg(track).arg(worker));
                QVERIFY2(ran.outcome == JobOutcome::Succeeded, qPrintable(ran.message));
                QVERIFY(ran.commandLine.contains(u"0:a:%1"_s.arg(track - 1)));
                const Packets copied = readPackets(ran.output);
                QVERIFY(copied.hashes == original.hashes);
                QFile::remove(ran.output);
            }
        }
    }

    // A cut keeps whole packets: a run of the source's, from the cut's start to its end within a
    // codec frame, the same on both engines; packets without a duration are read back whole too.
    void aTrimFallsOnPacketBoundaries_data()
    {
        QTest::addColumn<QStringList>("audioArgs");
        QTest::addColumn<qint64>("frameUs"); // the source's packets
        QTest::newRow("mp3") << QStringList { u"-c:a"_s, u"libmp3lame"_s } << 26'122ll;
        QTest::newRow("wavpack, no durations")
            << QStringList { u"-c:a"_s, u"wavpack"_s, u"-frame_size"_s, u"8820"_s } << 200'000ll;
    }

    void aTrimFallsOnPacketBoundaries()
    {
        QFETCH(QStringList, audioArgs);
        QFETCH(qint64, frameUs);
        const QString name
            = u"trim-%1.mkv"_s.arg(QString::fromLatin1(QTest::currentDataTag()).left(3));
        const QString input = path(name);
        QVERIFY(makeSource(name, audioArgs, u"44100"_s));
        TaskPlan plan = copyPlan(input);
        plan.cut = { 300'000, 400'000 };
        const Packets original = readPackets(input);
        QList<QByteArray> previous;
        for (const bool worker : { false, true }) {
            const Ran ran = run(worker, input, plan, u"trimmed-%1"_s.arg(worker));
            QVERIFY2(ran.outcome == JobOutcome::Succeeded, qPrintable(ran.message));
            const Packets copied = readPackets(ran.output);
            QVERIFY(!copied.hashes.isEmpty());
            const qsizetype first = original.hashes.indexOf(copied.hashes.first());
            QVERIFY(first > 0);
            QCOMPARE(original.hashes.mid(first, copied.hashes.size()), copied.hashes);
            // From the first packet's start to the last one's: within a packet of the cut.
            const qint64 span = copied.durationUs + (copied.frameUs > 0 ? 0 : frameUs);
            QVERIFY2(qAbs(span - 400'000) <= frameUs, qPrintable(u"%1 us"_s.arg(span)));
            if (worker)
                QCOMPARE(copied.hashes, previous);
            previous = copied.hashes;
            QFile::remove(ran.output);
        }
    }

    // A track the file does not have fails the task with what ffmpeg says of it.
    void aMissingTrackFails()
    {
        TaskPlan plan = copyPlan(m_twoTracks);
        plan.source.audioTrack = 5;
        for (const bool worker : { false, true }) {
            const Ran ran = run(worker, m_twoTracks, plan, u"missing-%1"_s.arg(worker));
            QCOMPARE(int(ran.outcome), int(JobOutcome::Failed));
            QVERIFY(!QFile::exists(ran.output));
        }
    }
};

QTEST_GUILESS_MAIN(StreamCopyTest)
#include "stream_copy_test.moc"
