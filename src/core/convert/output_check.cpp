#include "core/convert/output_check.h"

#include "core/media/source_facts.h"

#include <QFile>
#include <algorithm>
#include <memory>

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
}

namespace sonivert {

namespace {

struct InputCloser
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

struct PacketFree
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

QString errorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

qint64 toMicroseconds(int64_t value, AVRational timeBase)
{
    return av_rescale_q(value, timeBase, AVRational { 1, AV_TIME_BASE });
}

QString secondsText(qint64 microseconds)
{
    return QString::number(double(microseconds) / 1e6, 'f', 1);
}

} // namespace

SoundExtent measureSound(const QString &path, int track)
{
    SoundExtent extent;
    AVFormatContext *raw = nullptr;
    const QByteArray name = QFile::encodeName(path);
    if (const int code = avformat_open_input(&raw, name.constData(), nullptr, nullptr); code < 0) {
        extent.error = errorText(code);
        return extent;
    }
    std::unique_ptr<AVFormatContext, InputCloser> context(raw);
    if (const int code = avformat_find_stream_info(context.get(), nullptr); code < 0) {
        extent.error = errorText(code);
        return extent;
    }
    extent.readable = true;
    const int audio = track >= 0 ? audioStreamOfTrack(context.get(), track)
                                 : defaultAudioStreamIndex(context.get());
    if (audio < 0)
        return extent;
    extent.hasAudio = true;
    for (unsigned i = 0; i < context->nb_streams; ++i)
        context->streams[i]->discard = int(i) == audio ? AVDISCARD_DEFAULT : AVDISCARD_ALL;

    const AVRational timeBase = context->streams[audio]->time_base;
    const int64_t origin = context->start_time == AV_NOPTS_VALUE ? 0 : context->start_time;
    std::unique_ptr<AVPacket, PacketFree> packet(av_packet_alloc());
    int64_t first = AV_NOPTS_VALUE;
    int64_t end = AV_NOPTS_VALUE;
    int64_t sum = 0;
    int64_t longest = 0;
    const auto count = [&](int64_t time, int64_t duration) {
        sum += duration;
        longest = std::max(longest, duration);
        if (time != AV_NOPTS_VALUE) {
            first = first == AV_NOPTS_VALUE ? time : std::min(first, time);
            end = std::max(end == AV_NOPTS_VALUE ? time : end, time + duration);
        }
    };
    // A packet without a duration (WavPack or TTA in Matroska, say) waits for the next one's
    // time to tell its length.
    bool waiting = false;
    int64_t waitingTime = AV_NOPTS_VALUE;
    while (av_read_frame(context.get(), packet.get()) >= 0) {
        if (packet->stream_index == audio) {
            const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
            if (waiting) {
                const bool after
                    = time != AV_NOPTS_VALUE && waitingTime != AV_NOPTS_VALUE && time > waitingTime;
                count(waitingTime, after ? time - waitingTime : 0);
                waiting = false;
            }
            if (packet->duration > 0) {
                count(time, packet->duration);
            } else {
                waiting = true;
                waitingTime = time;
            }
        }
        av_packet_unref(packet.get());
    }
    if (waiting)
        count(waitingTime, 0);
    if (first == AV_NOPTS_VALUE)
        return extent; // no packet of sound at all
    extent.startUs = toMicroseconds(first, timeBase) - origin;
    extent.endUs = toMicroseconds(end, timeBase) - origin;
    extent.lengthUs = toMicroseconds(sum, timeBase);
    extent.frameUs = toMicroseconds(longest, timeBase);
    extent.lastUntimed = waiting;
    return extent;
}

qint64 cutLength(const TaskCut &cut, qint64 soundStartUs, qint64 soundEndUs)
{
    const qint64 from = std::max(cut.startUs, soundStartUs);
    const qint64 to
        = cut.lengthUs >= 0 ? std::min(cut.startUs + cut.lengthUs, soundEndUs) : soundEndUs;
    return std::max<qint64>(0, to - from);
}

OutputVerdict checkOutput(
    const QString &output, const QString &input, const ExpectedSound &expected)
{
    const SoundExtent out = measureSound(output);
    const QString unreadable
        = QStringLiteral("The output cannot be read back (%1).").arg(out.error);
    if (!expected.audio)
        return { out.readable, out.readable ? QString() : unreadable };

    const auto tolerance = [&](qint64 length, qint64 sourceFrameUs) {
        return std::max(out.frameUs + sourceFrameUs, length / 100);
    };
    // The container's word first: reading a whole source costs time.
    if (out.readable && expected.probedUs > 0) {
        const qint64 length = cutLength(expected.cut, 0, expected.probedUs);
        if (length > 0 && out.lengthUs >= length - tolerance(length, 0))
            return { true, QString() };
    }

    const SoundExtent source = measureSound(input, expected.sourceTrack);
    qint64 length = 0;
    if (source.hasAudio) {
        length = expected.cut.isWhole() ? source.lengthUs
                                        : cutLength(expected.cut, source.startUs, source.endUs);
    }
    // An output's last packet of unknown length is a packet of the source's, copied: as long as
    // one of those at most.
    const qint64 outLength = out.lengthUs + (out.lastUntimed ? source.frameUs : 0);
    if (out.readable && outLength > 0 && outLength >= length - tolerance(length, source.frameUs))
        return { true, QString() };
    // ffmpeg leaves a file it wrote no sound into without the headers that make it readable.
    if (length > 0) {
        return { false,
            QStringLiteral("The output holds %1 s of the expected %2 s.")
                .arg(secondsText(out.readable ? outLength : 0), secondsText(length)) };
    }
    if (!out.readable)
        return { false, unreadable };
    if (!expected.cut.isWhole())
        return { false, QStringLiteral("The chosen range holds no sound.") };
    return { false, QStringLiteral("The output holds no sound.") };
}

} // namespace sonivert
