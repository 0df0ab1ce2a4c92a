// The worker engine against the ffmpeg program, per output family: the same codec, rate,
// channels and tags, the same decoded sample count and, for every encoder here (all of them are
// deterministic), the same decoded PCM. Broken inputs fail with the same message.
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_naming.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"
#include "core/media/source_facts.h"
#include "support/engine_jobs.h"
#include "support/media_maker.h"
#include "support/output_facts.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

using namespace sonivert;
using sonivert::test::ClipOptions;
using sonivert::test::encodeTask;
using sonivert::test::makeClip;
using sonivert::test::MediaReader;
using sonivert::test::openMedia;
using sonivert::test::runEncodeJob;
using sonivert::test::runFfmpeg;
using sonivert::test::soundClip;

namespace {

struct Decoded
{
    bool ok = false;
    QString codec;
    int rate = 0;
    int channels = 0;
    QStringList tags; // "format:key=value" and "stream:key=value"
    qint64 samples = 0;
    QByteArray pcmHash;
};

QStringList tagsOf(const AVDictionary *dictionary, const QString &scope)
{
    QStringList tags;
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)))
        tags << scope + QLatin1Char(':') + QString::fromUtf8(entry->key) + QLatin1Char('=')
                + QString::fromUtf8(entry->value);
    return tags;
}

// Decodes the first audio stream of path with libav, as a player would.
Decoded decode(const QString &path)
{
    Decoded d;
    const MediaReader reader = openMedia(path);
    if (!reader)
        return d;
    AVFormatContext *format = reader.get();
    const int index = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0)
        return d;
    const AVStream *stream = format->streams[index];
    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    std::unique_ptr<AVCodecContext, void (*)(AVCodecContext *)> freeContext(
        context, [](AVCodecContext *c) { avcodec_free_context(&c); });
    avcodec_parameters_to_context(context, stream->codecpar);
    if (avcodec_open2(context, codec, nullptr) < 0)
        return d;
    d.codec = QString::fromUtf8(codec->name);
    d.rate = stream->codecpar->sample_rate;
    d.channels = stream->codecpar->ch_layout.nb_channels;
    d.tags = tagsOf(format->metadata, QStringLiteral("format"))
        + tagsOf(stream->metadata, QStringLiteral("stream"));
    QCryptographicHash hash(QCryptographicHash::Sha256);
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    const auto drain = [&] {
        while (avcodec_receive_frame(context, frame) >= 0) {
            d.samples += frame->nb_samples;
            const int bytes = av_get_bytes_per_sample(AVSampleFormat(frame->format));
            const bool planar = av_sample_fmt_is_planar(AVSampleFormat(frame->format));
            const int planes = planar ? frame->ch_layout.nb_channels : 1;
            const int size
                = bytes * frame->nb_samples * (planar ? 1 : frame->ch_layout.nb_channels);
            for (int p = 0; p < planes; ++p)
                hash.addData(QByteArrayView(frame->extended_data[p], size));
        }
    };
    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == index && avcodec_send_packet(context, packet) >= 0)
            drain();
        av_packet_unref(packet);
    }
    avcodec_send_packet(context, nullptr);
    drain();
    av_frame_free(&frame);
    av_packet_free(&packet);
    d.pcmHash = hash.result();
    d.ok = true;
    return d;
}

EncodePlan audioPlan(const QString &encoder, int channels, int rate, int kbps)
{
    EncodePlan plan;
    plan.audio = true;
    plan.channels = channels;
    plan.sampleRate = QString::number(rate);
    plan.audioBitrateKbps = kbps;
    plan.audioEncoder = encoder;
    plan.video = false;
    return plan;
}

struct Ran
{
    JobOutcome outcome = JobOutcome::Failed;
    QString message;
    QString output;
};

} // namespace

class WorkerEquivalenceTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_ffmpeg;
    WorkerPool m_pool;
    QString m_clip, m_surround, m_mono8k, m_oggTags, m_webm, m_flv, m_truncated, m_silent;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    Ran run(bool worker, const QString &input, const QString &extension, const EncodePlan &plan,
        const TaskCut &cut = {})
    {
        static int count = 0;
        const QString output = path(QStringLiteral("out%1.%2").arg(++count).arg(extension));
        const EncodeTask task = encodeTask(input, output, plan, cut);
        const EncodeJobResult result = runEncodeJob(worker, m_pool, m_ffmpeg, task);
        return { result.outcome, result.message, task.temporaryOutput };
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET); // reading back damaged files is expected to complain
        QVERIFY(m_dir.isValid());
        m_ffmpeg = findFfmpegProgram();
        QVERIFY(!m_ffmpeg.isEmpty());
        m_pool.setProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));
        m_clip = path(QStringLiteral("clip.mp4"));
        QVERIFY(makeClip(m_clip,
            soundClip(2.0, true, 48000, QStringLiteral("stereo"),
                { QStringLiteral("-metadata"), QStringLiteral("title=Song \"One\""),
                    QStringLiteral("-metadata"), QStringLiteral("artist=Ärtist") })));
        m_surround = path(QStringLiteral("surround.mka"));
        QVERIFY(makeClip(m_surround, soundClip(2.0, false, 48000, QStringLiteral("5.1"))));
        m_mono8k = path(QStringLiteral("mono8k.wav"));
        QVERIFY(makeClip(m_mono8k, soundClip(1.5, false, 8000, QStringLiteral("mono"))));
        m_oggTags = path(QStringLiteral("tags.ogg"));
        QVERIFY(makeClip(m_oggTags,
            soundClip(1.7, false, 22050, QStringLiteral("stereo"),
                { QStringLiteral("-metadata:s:a"), QStringLiteral("title=Stream Title"),
                    QStringLiteral("-metadata:s:a"), QStringLiteral("album=Stream Album") })));
        // Packet times in milliseconds, coarser than a sample: a cut counts from the frames' times
        // as ffmpeg smooths them, not from a count of samples.
        m_webm = path(QStringLiteral("coarse.webm"));
        QVERIFY(makeClip(m_webm, soundClip(2.3, false, 48000, QStringLiteral("stereo"))));
        m_flv = path(QStringLiteral("coarse.flv"));
        QVERIFY(makeClip(m_flv, soundClip(2.3, false, 44100, QStringLiteral("mono"))));
        m_truncated = path(QStringLiteral("truncated.mp4"));
        QFile whole(m_clip);
        QVERIFY(whole.open(QIODevice::ReadOnly));
        QFile cut(m_truncated);
        QVERIFY(cut.open(QIODevice::WriteOnly));
        cut.write(whole.read(whole.size() / 3));
        m_silent = path(QStringLiteral("silent.mp4"));
        QVERIFY(
            makeClip(m_silent, soundClip(1.0, true, 44100, QStringLiteral("stereo"), {}, false)));
    }

    void sameResultAsFfmpeg_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("kbps");
        QTest::addColumn<qint64>("startUs");
        QTest::addColumn<qint64>("lengthUs");

        QTest::newRow("mp3") << "clip"
                             << "mp3"
                             << "libmp3lame" << 2 << 44100 << 192 << 0ll << -1ll;
        QTest::newRow("mp3 voice") << "clip"
                                   << "mp3"
                                   << "libmp3lame" << 1 << 22050 << 64 << 0ll << -1ll;
        QTest::newRow("m4a") << "clip"
                             << "m4a"
                             << "aac" << 2 << 44100 << 192 << 0ll << -1ll;
        QTest::newRow("m4a libfaac") << "clip"
                                     << "m4a"
                                     << "libfaac" << 2 << 48000 << 256 << 0ll << -1ll;
        QTest::newRow("ogg") << "clip"
                             << "ogg"
                             << "libvorbis" << 2 << 44100 << 192 << 0ll << -1ll;
        QTest::newRow("opus") << "clip"
                              << "opus"
                              << "libopus" << 2 << 48000 << 128 << 0ll << -1ll;
        QTest::newRow("flac") << "clip"
                              << "flac"
                              << "flac" << 2 << 44100 << 768 << 0ll << -1ll;
        QTest::newRow("wav") << "clip"
                             << "wav"
                             << "pcm_s16le" << 2 << 44100 << 1408 << 0ll << -1ll;
        QTest::newRow("aiff") << "clip"
                              << "aiff"
                              << "pcm_s16be" << 2 << 44100 << 1408 << 0ll << -1ll;
        QTest::newRow("ac3") << "clip"
                             << "ac3"
                             << "ac3" << 2 << 48000 << 192 << 0ll << -1ll;
        QTest::newRow("mp2") << "clip"
                             << "mp2"
                             << "mp2" << 2 << 44100 << 192 << 0ll << -1ll;
        QTest::newRow("wav gsm") << "clip"
                                 << "wav"
                                 << "libgsm_ms" << 1 << 8000 << 13 << 0ll << -1ll;
        QTest::newRow("wma") << "clip"
                             << "wma"
                             << "wmav2" << 2 << 44100 << 128 << 0ll << -1ll;
        QTest::newRow("muxer default") << "clip"
                                       << "wma"
                                       << "" << 2 << 44100 << 128 << 0ll << -1ll;
        QTest::newRow("5.1 to flac 5.1") << "surround"
                                         << "flac"
                                         << "flac" << 6 << 48000 << 768 << 0ll << -1ll;
        QTest::newRow("5.1 to mp3 stereo") << "surround"
                                           << "mp3"
                                           << "libmp3lame" << 2 << 44100 << 192 << 0ll << -1ll;
        QTest::newRow("8 kHz mono up") << "mono8k"
                                       << "m4a"
                                       << "aac" << 2 << 44100 << 96 << 0ll << -1ll;
        QTest::newRow("ogg stream tags") << "oggTags"
                                         << "mp3"
                                         << "libmp3lame" << 2 << 44100 << 128 << 0ll << -1ll;
        QTest::newRow("trim mp3") << "clip"
                                  << "mp3"
                                  << "libmp3lame" << 2 << 44100 << 192 << 500000ll << 1250000ll;
        QTest::newRow("trim wav odd") << "clip"
                                      << "wav"
                                      << "pcm_s16le" << 2 << 44100 << 1408 << 333333ll << 777777ll;
        QTest::newRow("trim flac to end") << "clip"
                                          << "flac"
                                          << "flac" << 2 << 48000 << 768 << 1000000ll << -1ll;
        QTest::newRow("trim webm to mp3")
            << "webm"
            << "mp3"
            << "libmp3lame" << 2 << 44100 << 128 << 333333ll << 1234567ll;
        QTest::newRow("trim webm to flac") << "webm"
                                           << "flac"
                                           << "flac" << 2 << 48000 << 768 << 700000ll << -1ll;
        QTest::newRow("trim flv to wav")
            << "flv"
            << "wav"
            << "pcm_s16le" << 2 << 48000 << 1536 << 250000ll << 1500000ll;
        QTest::newRow("trim mka 5.1 to m4a") << "surround"
                                             << "m4a"
                                             << "aac" << 2 << 44100 << 128 << 123456ll << 1000000ll;
    }

    void sameResultAsFfmpeg()
    {
        QFETCH(QString, source);
        QFETCH(QString, extension);
        QFETCH(QString, encoder);
        QFETCH(int, channels);
        QFETCH(int, rate);
        QFETCH(int, kbps);
        QFETCH(qint64, startUs);
        QFETCH(qint64, lengthUs);
        const QString input = source == QLatin1String("clip") ? m_clip
            : source == QLatin1String("surround")             ? m_surround
            : source == QLatin1String("mono8k")               ? m_mono8k
            : source == QLatin1String("webm")                 ? m_webm
            : source == QLatin1String("flv")                  ? m_flv
                                                              : m_oggTags;
        const EncodePlan plan = audioPlan(encoder, channels, rate, kbps);
        QCOMPARE(workerRefusal(plan, QStringLiteral("x.") + extension), QString());
        const TaskCut cut { startUs, lengthUs };
        const Ran byFfmpeg = run(false, input, extension, plan, cut);
        const Ran byWorker = run(true, input, extension, plan, cut);
        QCOMPARE(byFfmpeg.message, QString());
        QCOMPARE(int(byFfmpeg.outcome), int(JobOutcome::Succeeded));
        QCOMPARE(byWorker.message, QString());
        QCOMPARE(int(byWorker.outcome), int(JobOutcome::Succeeded));

        const Decoded f = decode(byFfmpeg.output);
        const Decoded w = decode(byWorker.output);
        QVERIFY(f.ok && w.ok);
        QCOMPARE(w.codec, f.codec);
        QCOMPARE(w.rate, f.rate);
        QCOMPARE(w.channels, f.channels);
        QCOMPARE(w.tags, f.tags);
        QCOMPARE(w.samples, f.samples);
        QVERIFY(w.samples > 0);
        QCOMPARE(w.pcmHash.toHex(), f.pcmHash.toHex());
        if (source == QLatin1String("clip") && extension == QLatin1String("mp3"))
            QVERIFY(w.tags.contains(QStringLiteral("format:title=Song \"One\"")));
        if (source == QLatin1String("oggTags"))
            QVERIFY(w.tags.contains(QStringLiteral("format:album=Stream Album")));
    }

    void brokenInputsFailWithTheSameMessage_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<int>("rate");
        QTest::newRow("missing") << QStringLiteral("missing.mp4") << "mp3"
                                 << "libmp3lame" << 44100;
        QTest::newRow("truncated") << QStringLiteral("truncated.mp4") << "mp3"
                                   << "libmp3lame" << 44100;
        QTest::newRow("no sound") << QStringLiteral("silent.mp4") << "mp3"
                                  << "libmp3lame" << 44100;
        QTest::newRow("rate refused") << QStringLiteral("clip.mp4") << "opus"
                                      << "libopus" << 44100;
    }

    void brokenInputsFailWithTheSameMessage()
    {
        QFETCH(QString, input);
        QFETCH(QString, extension);
        QFETCH(QString, encoder);
        QFETCH(int, rate);
        const EncodePlan plan = audioPlan(encoder, 2, rate, 128);
        const Ran byFfmpeg = run(false, path(input), extension, plan);
        const Ran byWorker = run(true, path(input), extension, plan);
        QCOMPARE(int(byFfmpeg.outcome), int(JobOutcome::Failed));
        QCOMPARE(int(byWorker.outcome), int(JobOutcome::Failed));
        QVERIFY(!byFfmpeg.message.isEmpty());
        QCOMPARE(byWorker.message, byFfmpeg.message);
        QVERIFY(!QFile::exists(byWorker.output));
    }

    void theWorkerRefusesWhatItDoesNotRun()
    {
        EncodePlan video = audioPlan(QStringLiteral("aac"), 2, 44100, 128);
        video.video = true;
        QVERIFY(!workerRefusal(video, QStringLiteral("x.mp4")).isEmpty());
        EncodePlan noSound = audioPlan(QString(), 2, 44100, 128);
        noSound.audio = false;
        QVERIFY(!workerRefusal(noSound, QStringLiteral("x.mp3")).isEmpty());
        QVERIFY(!workerRefusal(
            audioPlan(QStringLiteral("libmp3lame"), 0, 44100, 128), QStringLiteral("x.mp3"))
                     .isEmpty());
        QVERIFY(!workerRefusal(
            audioPlan(QStringLiteral("libmp3lame"), 2, 0, 128), QStringLiteral("x.mp3"))
                     .isEmpty());
        QVERIFY(!workerRefusal(
            audioPlan(QStringLiteral("libopencore_amrnb"), 1, 8000, 12), QStringLiteral("x.amr"))
                     .isEmpty());
        QVERIFY(!workerRefusal(audioPlan(QStringLiteral("libmp3lame"), 2, 44100, 128),
            QStringLiteral("x.unknownextension"))
                     .isEmpty());
    }
};

QTEST_GUILESS_MAIN(WorkerEquivalenceTest)
#include "worker_equivalence_test.moc"
