#include "worker/stream_copy.h"

#include "core/media/source_extras.h"
#include "worker/libav_handles.h"
#include "worker/libav_util.h"

extern "C" {
#include <libavutil/error.h>
}

#include <chrono>

namespace sonivert::worker {

namespace {

constexpr auto ProgressInterval = std::chrono::milliseconds(250);

class StreamCopy
{
public:
    StreamCopy(const ConversionSpec &spec, ConversionReporter &reporter)
        : m_spec(spec)
        , m_reporter(reporter)
    {
    }

    bool run();

private:
    bool error(const std::string &line)
    {
        m_reporter.log(AV_LOG_ERROR, line);
        return false;
    }
    bool openInput();
    bool openOutput();
    // False on a write error; sets m_ended once the cut's end is passed.
    bool copyPacket(AVPacket *packet);

    const ConversionSpec &m_spec;
    ConversionReporter &m_reporter;
    InputContext m_input;
    const AVStream *m_inStream = nullptr;
    OutputContext m_output;
    AVStream *m_outStream = nullptr;
    SourceExtras m_extras; // the cover and chapters, where the output holds them
    int64_t m_offset = 0; // subtracted from input timestamps: the file's start and the cut's
    int64_t m_endTs = AV_NOPTS_VALUE; // the cut's end on the output time line
    bool m_started = false;
    bool m_ended = false;
    std::chrono::steady_clock::time_point m_lastProgress {};
};

bool StreamCopy::openInput()
{
    const int index = openSourceAudio(m_spec, m_reporter, m_input);
    if (index < 0)
        return false;
    m_inStream = m_input->streams[index];
    return true;
}

bool StreamCopy::openOutput()
{
    if (!createOutput(m_spec, m_reporter, m_output))
        return false;

    // What the muxer cannot hold fails its header, as in ffmpeg: lavf's own answer to "can it
    // hold this?" says no to codecs Matroska writes well (WavPack).
    const AVCodecParameters *source = m_inStream->codecpar;
    m_outStream = avformat_new_stream(m_output.get(), nullptr);
    if (!m_outStream)
        return error("Could not allocate the output stream");
    const int ret = avcodec_parameters_copy(m_outStream->codecpar, source);
    if (ret < 0)
        return error("Error setting up the output stream: " + errorText(ret));
    // The source's codec tag stays only where the output format knows it for this codec, as
    // ffmpeg keeps it.
    const AVCodecTag *const *tags = m_output->oformat->codec_tag;
    unsigned int tag = 0;
    if (tags && av_codec_get_id(tags, source->codec_tag) != source->codec_id
        && av_codec_get_tag2(tags, source->codec_id, &tag))
        m_outStream->codecpar->codec_tag = 0;
    m_outStream->time_base = m_inStream->time_base;
    m_outStream->disposition = m_inStream->disposition;
    keepTrackLanguage(m_inStream, m_outStream);

    if (!writeOutputHeader(m_spec, m_reporter, m_input.get(), m_output.get(), m_extras))
        return false;

    // The file's time line starts where its earliest stream does; the cut counts from there.
    const int64_t startUs = m_input->start_time == AV_NOPTS_VALUE ? 0 : m_input->start_time;
    m_offset = av_rescale_q(startUs + m_spec.startUs, AV_TIME_BASE_Q, m_inStream->time_base);
    if (m_spec.lengthUs >= 0)
        m_endTs = av_rescale_q(m_spec.lengthUs, AV_TIME_BASE_Q, m_inStream->time_base);
    return true;
}

bool StreamCopy::copyPacket(AVPacket *packet)
{
    const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    const int64_t at = time == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : time - m_offset;
    if (!m_started) {
        // Packets that start before the cut stay out until the first one at or after it.
        if (m_spec.startUs > 0 && (at == AV_NOPTS_VALUE || at < 0))
            return true;
        m_started = true;
    }
    if (m_endTs != AV_NOPTS_VALUE && at != AV_NOPTS_VALUE && at >= m_endTs) {
        m_ended = true;
        return true;
    }
    if (packet->pts != AV_NOPTS_VALUE)
        packet->pts -= m_offset;
    if (packet->dts != AV_NOPTS_VALUE)
        packet->dts -= m_offset;
    packet->pos = -1;
    packet->stream_index = m_outStream->index;
    av_packet_rescale_ts(packet, m_inStream->time_base, m_outStream->time_base);
    const int64_t progressTs = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    const int ret = av_interleaved_write_frame(m_output.get(), packet);
    if (ret < 0)
        return error("av_interleaved_write_frame(): " + errorText(ret));
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastProgress >= ProgressInterval && progressTs != AV_NOPTS_VALUE) {
        m_lastProgress = now;
        m_reporter.progress(av_rescale_q(progressTs, m_outStream->time_base, AV_TIME_BASE_Q));
    }
    return true;
}

bool StreamCopy::run()
{
    if (!openInput() || !openOutput())
        return false;
    m_lastProgress = std::chrono::steady_clock::now();
    Packet packet(av_packet_alloc());
    if (!packet)
        return error("Out of memory");
    while (!m_ended) {
        const int ret = av_read_frame(m_input.get(), packet.get());
        if (ret == AVERROR_EOF)
            break;
        if (ret < 0) {
            // As ffmpeg does: what was read so far is kept.
            if (ret != AVERROR(EAGAIN))
                m_reporter.log(AV_LOG_ERROR, m_spec.input + ": " + errorText(ret));
            break;
        }
        const bool ok = packet->stream_index != m_inStream->index || copyPacket(packet.get());
        av_packet_unref(packet.get());
        if (!ok)
            return false;
    }
    return finishOutput(m_spec, m_reporter, m_output.get());
}

} // namespace

bool copyAudio(const ConversionSpec &spec, ConversionReporter &reporter)
{
    StreamCopy copy(spec, reporter);
    return copy.run();
}

} // namespace sonivert::worker
