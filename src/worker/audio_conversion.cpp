#include "worker/audio_conversion.h"

#include "core/media/source_extras.h"
#include "worker/libav_handles.h"
#include "worker/libav_util.h"
#include "worker/segment_join.h"
#include "worker/segment_packets.h"
#include "worker/stream_copy.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
}

#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace sonivert::worker {

namespace {

constexpr int VariableFrameSamples = 4096;
constexpr auto ProgressInterval = std::chrono::milliseconds(250);
// The AAC encoder's rate control needs seconds of the same sound to reach the state a single pass
// has at a join; 10 s was not always enough for a sweep.
constexpr int64_t AacLeadInSeconds = 20;

class Conversion
{
public:
    Conversion(const ConversionSpec &spec, ConversionReporter &reporter)
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
    bool openResampler(const AVFrame *frame);
    bool decodePacket(const AVPacket *packet);
    bool resampleFrame(const AVFrame *frame);
    bool keepSamples(uint8_t **data, int count);
    bool encodeFromFifo(bool flush);
    bool encodeFrame(const AVFrame *frame);
    int64_t resampledTime(const AVFrame *frame);
    bool drainResampler();
    void reportProgress(bool force);
    void planSegment();
    bool writeSegmentPacket();
    bool joinParts();
    bool writeJoinedPacket(const SegmentPacket &packet);
    bool closeOutput();
    bool segment() const { return !m_spec.packetFile.empty(); }

    const ConversionSpec &m_spec;
    ConversionReporter &m_reporter;

    InputContext m_input;
    int m_streamIndex = -1;
    CodecContext m_decoder;
    OutputContext m_output;
    AVStream *m_outStream = nullptr;
    CodecContext m_encoder;
    Resampler m_resampler;
    int m_resamplerFormat = -1;
    int m_resamplerRate = 0;
    ChannelLayout m_resamplerLayout;
    Fifo m_fifo;
    Frame m_encodeFrame;
    Packet m_packet;
    int m_frameSamples = 0;
    SourceExtras m_extras;

    // The cut, in samples of the output rate on the file's time line.
    int64_t m_startTs = 0;
    int64_t m_lengthTs = -1;
    bool m_trimStart = false;
    int64_t m_nextTs = 0; // the time of the next resampled sample
    // The decoded frames' times, as ffmpeg gives them: a packet's time, in samples, kept in
    // step with the samples before while it is off by less than the packets' precision.
    int64_t m_rescaleLast = AV_NOPTS_VALUE;
    int64_t m_previousPacketPts = AV_NOPTS_VALUE;
    int64_t m_firstKeptTs = -1;
    int64_t m_keptSamples = 0;
    bool m_ended = false; // the cut's end is reached
    int64_t m_encodedSamples = 0;
    int64_t m_firstPts = 0; // the encoder time of the first kept sample
    // The samples of the cut that are encoded, and for a segment those it is kept for.
    int64_t m_windowFrom = 0;
    int64_t m_windowTo = -1;
    int64_t m_keepFrom = 0;
    int64_t m_keepTo = -1;
    SegmentPacketWriter m_packets;
    int64_t m_joinedEnd = 0; // the end of the last packet a join wrote
    std::chrono::steady_clock::time_point m_lastProgress {};
};

bool Conversion::openInput()
{
    m_streamIndex = openSourceAudio(m_spec, m_reporter, m_input);
    if (m_streamIndex < 0)
        return false;
    const AVStream *stream = m_input->streams[m_streamIndex];
    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) {
        return error(std::string("Decoder (codec ") + avcodec_get_name(stream->codecpar->codec_id)
            + ") not found for input stream #0:" + std::to_string(m_streamIndex));
    }
    m_decoder.reset(avcodec_alloc_context3(codec));
    if (!m_decoder)
        return error("Error allocating the decoder: " + errorText(AVERROR(ENOMEM)));
    int ret = avcodec_parameters_to_context(m_decoder.get(), stream->codecpar);
    if (ret < 0)
        return error("Error initializing the decoder: " + errorText(ret));
    m_decoder->pkt_timebase = stream->time_base;
    ret = avcodec_open2(m_decoder.get(), codec, nullptr);
    if (ret < 0) {
        return error("Error while opening decoder for input stream #0:"
            + std::to_string(m_streamIndex) + " : " + errorText(ret));
    }
    return true;
}

bool Conversion::openOutput()
{
    if (!createOutput(m_spec, m_reporter, m_output))
        return false;

    const AVCodec *codec = nullptr;
    if (m_spec.encoder.empty()) {
        const AVCodecID id = av_guess_codec(
            m_output->oformat, nullptr, m_spec.output.c_str(), nullptr, AVMEDIA_TYPE_AUDIO);
        codec = avcodec_find_encoder(id);
        if (!codec) {
            return error(std::string("Automatic encoder selection failed for output stream #0:0. "
                                     "Default encoder for format ")
                + m_output->oformat->name + " (codec " + avcodec_get_name(id)
                + ") is probably disabled. Please choose an encoder manually.");
        }
    } else {
        codec = avcodec_find_encoder_by_name(m_spec.encoder.c_str());
        if (!codec || codec->type != AVMEDIA_TYPE_AUDIO)
            return error("Unknown encoder '" + m_spec.encoder + "'");
    }

    m_outStream = avformat_new_stream(m_output.get(), nullptr);
    if (!m_outStream)
        return error("Could not allocate the output stream");
    keepTrackLanguage(m_input->streams[m_streamIndex], m_outStream);
    m_encoder.reset(avcodec_alloc_context3(codec));
    if (!m_encoder)
        return error("Error allocating the encoder: " + errorText(AVERROR(ENOMEM)));

    const int sourceFormat = m_decoder->sample_fmt;
    const auto *formats = reinterpret_cast<const int *>(codec->sample_fmts);
    m_encoder->sample_fmt = static_cast<AVSampleFormat>(
        formats ? negotiatedSampleFormat(sourceFormat, formats) : m_decoder->sample_fmt);
    m_encoder->sample_rate = m_spec.sampleRate;
    av_channel_layout_default(&m_encoder->ch_layout, m_spec.channels);
    m_encoder->bit_rate = m_spec.bitRate;
    m_encoder->time_base = AVRational { 1, m_spec.sampleRate };
    if (m_output->oformat->flags & AVFMT_GLOBALHEADER)
        m_encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int ret = avcodec_open2(m_encoder.get(), codec, nullptr);
    if (ret < 0) {
        return error("Error initializing output stream 0:0 -- Error while opening encoder for "
                     "output stream #0:0 - maybe incorrect "
                     "parameters such as bit_rate, rate, width or height");
    }
    ret = avcodec_parameters_from_context(m_outStream->codecpar, m_encoder.get());
    if (ret < 0)
        return error("Error initializing the output stream: " + errorText(ret));
    m_outStream->time_base = m_encoder->time_base;
    m_outStream->disposition = m_input->streams[m_streamIndex]->disposition;
    av_dict_set(&m_outStream->metadata, "encoder", (std::string("Lavc ") + codec->name).c_str(),
        AV_DICT_DONT_OVERWRITE);

    // A segment writes no file of the output's format: its packets wait for the join, which
    // adds the cover and the chapters.
    if (!segment()
        && !writeOutputHeader(m_spec, m_reporter, m_input.get(), m_output.get(), m_extras))
        return false;

    m_frameSamples
        = (m_encoder->frame_size > 0 && !(codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE))
        ? m_encoder->frame_size
        : VariableFrameSamples;
    m_fifo.reset(av_audio_fifo_alloc(
        m_encoder->sample_fmt, m_encoder->ch_layout.nb_channels, m_frameSamples * 2));
    m_encodeFrame.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_fifo || !m_encodeFrame || !m_packet)
        return error("Out of memory");

    if (m_spec.startUs > 0) {
        m_trimStart = true;
        m_startTs = av_rescale_q(m_spec.startUs, AV_TIME_BASE_Q, m_encoder->time_base);
    }
    if (m_spec.lengthUs >= 0)
        m_lengthTs = av_rescale_q(m_spec.lengthUs, AV_TIME_BASE_Q, m_encoder->time_base);
    if (segment()) {
        planSegment();
        std::string why;
        if (!m_packets.open(m_spec.packetFile, SegmentRange { m_keepFrom, m_keepTo }, &why))
            return error(why);
    }
    return true;
}

// A segment is kept from one frame boundary to another; the encoder starts earlier and runs on
// past its end where its state must have settled for the frames at the joins to match a single
// pass: LAME's psychoacoustics and bit reservoir, and the AAC encoder's rate control. FLAC and
// PCM frames stand alone.
void Conversion::planSegment()
{
    const int64_t frame = m_frameSamples;
    m_keepFrom = std::max<int64_t>(m_spec.segmentFrom, 0) / frame * frame;
    m_keepTo = m_spec.segmentTo < 0 ? -1 : m_spec.segmentTo / frame * frame;
    int64_t leadIn = 0;
    int64_t leadOut = 0;
    if (m_encoder->codec_id == AV_CODEC_ID_MP3) {
        leadIn = 16 * frame;
        leadOut = (Mp3JoinFrames + 6) * frame;
    } else if (m_encoder->codec_id == AV_CODEC_ID_AAC) {
        leadIn = (AacLeadInSeconds * int64_t(m_encoder->sample_rate) + frame - 1) / frame * frame;
        leadOut = 3 * frame;
    }
    m_windowFrom = std::max<int64_t>(m_keepFrom - leadIn, 0);
    m_windowTo = m_keepTo < 0 ? -1 : m_keepTo + leadOut;
}

bool Conversion::openResampler(const AVFrame *frame)
{
    if (m_resampler) {
        if (m_resamplerFormat == frame->format && m_resamplerRate == frame->sample_rate
            && !av_channel_layout_compare(m_resamplerLayout.get(), &frame->ch_layout))
            return true;
        // The source changed its parameters mid-stream: what the old resampler holds goes on.
        if (!drainResampler())
            return false;
    }
    ChannelLayout inLayout;
    if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(inLayout.get(), frame->ch_layout.nb_channels);
    else
        av_channel_layout_copy(inLayout.get(), &frame->ch_layout);
    SwrContext *raw = nullptr;
    int ret = swr_alloc_set_opts2(&raw, &m_encoder->ch_layout, m_encoder->sample_fmt,
        m_encoder->sample_rate, inLayout.get(), static_cast<AVSampleFormat>(frame->format),
        frame->sample_rate, 0, nullptr);
    m_resampler.reset(raw);
    if (ret >= 0)
        ret = swr_init(m_resampler.get());
    if (ret < 0)
        return error("Error reinitializing filters!: " + errorText(ret));
    m_resamplerFormat = frame->format;
    m_resamplerRate = frame->sample_rate;
    av_channel_layout_uninit(m_resamplerLayout.get());
    av_channel_layout_copy(m_resamplerLayout.get(), &frame->ch_layout);
    return true;
}

bool Conversion::decodePacket(const AVPacket *packet)
{
    // A jump in the packets' times is taken as it is, not smoothed over.
    if (packet && packet->duration && m_previousPacketPts != AV_NOPTS_VALUE
        && packet->pts != AV_NOPTS_VALUE && packet->pts - m_previousPacketPts > packet->duration)
        m_rescaleLast = AV_NOPTS_VALUE;
    if (packet)
        m_previousPacketPts = packet->pts;
    int ret = avcodec_send_packet(m_decoder.get(), packet);
    if (ret < 0 && ret != AVERROR_EOF && ret != AVERROR(EAGAIN)) {
        // As ffmpeg does: say so and go on with the next packet.
        m_reporter.log(AV_LOG_ERROR,
            "Error while decoding stream #0:" + std::to_string(m_streamIndex) + ": "
                + errorText(ret));
        return true;
    }
    Frame frame(av_frame_alloc());
    if (!frame)
        return error("Out of memory");
    while (!m_ended) {
        ret = avcodec_receive_frame(m_decoder.get(), frame.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return true;
        if (ret < 0) {
            m_reporter.log(AV_LOG_ERROR,
                "Error while decoding stream #0:" + std::to_string(m_streamIndex) + ": "
                    + errorText(ret));
            return true;
        }
        if (!resampleFrame(frame.get()))
            return false;
        av_frame_unref(frame.get());
    }
    return true;
}

bool Conversion::resampleFrame(const AVFrame *frame)
{
    if (frame->sample_rate <= 0 || frame->ch_layout.nb_channels <= 0)
        return true;
    if (!openResampler(frame))
        return false;
    // The time of the frame's first resampled sample, as ffmpeg's filters see it: the cut counts
    // from there. A frame without a time follows the samples before it.
    const int64_t ts = resampledTime(frame);
    if (ts != AV_NOPTS_VALUE)
        m_nextTs = ts;
    const int capacity = swr_get_out_samples(m_resampler.get(), frame->nb_samples);
    if (capacity < 0)
        return error("Error while filtering: " + errorText(capacity));
    uint8_t **data = nullptr;
    int ret = av_samples_alloc_array_and_samples(
        &data, nullptr, m_encoder->ch_layout.nb_channels, capacity + 1, m_encoder->sample_fmt, 0);
    if (ret < 0)
        return error("Out of memory");
    const int count = swr_convert(m_resampler.get(), data, capacity + 1,
        const_cast<const uint8_t **>(frame->extended_data), frame->nb_samples);
    bool ok = true;
    if (count < 0)
        ok = error("Error while filtering: " + errorText(count));
    else if (count > 0)
        ok = keepSamples(data, count);
    av_freep(&data[0]);
    av_freep(&data);
    return ok;
}

int64_t Conversion::resampledTime(const AVFrame *frame)
{
    const AVStream *stream = m_input->streams[m_streamIndex];
    int64_t pts = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE)
        return AV_NOPTS_VALUE;
    // The file's time line starts where its earliest stream does.
    if (m_input->start_time != AV_NOPTS_VALUE)
        pts -= av_rescale_q(m_input->start_time, AV_TIME_BASE_Q, stream->time_base);
    const int inRate = frame->sample_rate;
    const AVRational samples { 1, inRate };
    pts = av_rescale_delta(
        stream->time_base, pts, samples, frame->nb_samples, &m_rescaleLast, samples);
    // The resampler's output time: the input's, less what it holds back, rounded to the
    // nearest output sample.
    const int64_t outRate = m_encoder->sample_rate;
    const int64_t out = pts * outRate - swr_get_delay(m_resampler.get(), inRate * outRate);
    return out >= 0 ? (out + inRate / 2) / inRate : (out - inRate / 2) / inRate;
}

bool Conversion::drainResampler()
{
    if (!m_resampler)
        return true;
    for (;;) {
        const int capacity = std::max(swr_get_out_samples(m_resampler.get(), 0), 0) + 256;
        uint8_t **data = nullptr;
        if (av_samples_alloc_array_and_samples(&data, nullptr, m_encoder->ch_layout.nb_channels,
                capacity, m_encoder->sample_fmt, 0)
            < 0)
            return error("Out of memory");
        const int count = swr_convert(m_resampler.get(), data, capacity, nullptr, 0);
        const bool ok = count <= 0 || keepSamples(data, count);
        av_freep(&data[0]);
        av_freep(&data);
        if (!ok)
            return false;
        if (count <= 0)
            break;
    }
    m_resampler.reset();
    return true;
}

// The cut: samples before its start are dropped, and after its length the conversion ends.
bool Conversion::keepSamples(uint8_t **data, int count)
{
    const int64_t ts = m_nextTs;
    m_nextTs += count;
    if (m_ended)
        return true;
    int skip = 0;
    if (m_trimStart && ts < m_startTs)
        skip = static_cast<int>(std::min<int64_t>(count, m_startTs - ts));
    int keep = count - skip;
    if (keep <= 0)
        return true;
    if (m_firstKeptTs < 0) {
        m_firstKeptTs = ts + skip;
        m_firstPts = m_firstKeptTs - (m_trimStart ? m_startTs : 0);
    }
    if (m_lengthTs >= 0) {
        // Measured on the time line, as ffmpeg's trim does, from the first kept sample.
        const int64_t room = m_firstKeptTs + m_lengthTs - (ts + skip);
        if (room <= keep) {
            keep = static_cast<int>(std::max<int64_t>(room, 0));
            m_ended = true;
        }
    }
    // The encoded window within the cut: all of it, or a segment's.
    const int64_t index = m_keptSamples;
    m_keptSamples += keep;
    const int64_t from = std::max(index, m_windowFrom);
    int64_t to = index + keep;
    if (m_windowTo >= 0 && to >= m_windowTo) {
        to = m_windowTo;
        m_ended = true;
    }
    if (to > from) {
        skip += static_cast<int>(from - index);
        keep = static_cast<int>(to - from);
        const int bytes = av_get_bytes_per_sample(m_encoder->sample_fmt);
        const int planes
            = av_sample_fmt_is_planar(m_encoder->sample_fmt) ? m_encoder->ch_layout.nb_channels : 1;
        const int perSample = planes == 1 ? bytes * m_encoder->ch_layout.nb_channels : bytes;
        void *shifted[AV_NUM_DATA_POINTERS * 4] = {};
        for (int p = 0; p < planes; ++p)
            shifted[p] = data[p] + static_cast<ptrdiff_t>(skip) * perSample;
        if (av_audio_fifo_write(m_fifo.get(), shifted, keep) < keep)
            return error("Out of memory");
    }
    return encodeFromFifo(false);
}

bool Conversion::encodeFromFifo(bool flush)
{
    while (av_audio_fifo_size(m_fifo.get()) >= m_frameSamples
        || (flush && av_audio_fifo_size(m_fifo.get()) > 0)) {
        const int samples = std::min(av_audio_fifo_size(m_fifo.get()), m_frameSamples);
        AVFrame *frame = m_encodeFrame.get();
        av_frame_unref(frame);
        frame->nb_samples = samples;
        frame->format = m_encoder->sample_fmt;
        frame->sample_rate = m_encoder->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &m_encoder->ch_layout);
        if (av_frame_get_buffer(frame, 0) < 0)
            return error("Out of memory");
        if (av_audio_fifo_read(m_fifo.get(), reinterpret_cast<void **>(frame->data), samples)
            < samples)
            return error("Error while filtering: could not read buffered samples");
        frame->pts = m_firstPts + m_windowFrom + m_encodedSamples;
        m_encodedSamples += samples;
        if (!encodeFrame(frame))
            return false;
    }
    return true;
}

bool Conversion::encodeFrame(const AVFrame *frame)
{
    int ret = avcodec_send_frame(m_encoder.get(), frame);
    if (ret < 0 && ret != AVERROR_EOF)
        return error("Error submitting audio frame to the encoder");
    for (;;) {
        ret = avcodec_receive_packet(m_encoder.get(), m_packet.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            break;
        if (ret < 0)
            return error("Audio encoding failed");
        if (segment()) {
            if (!writeSegmentPacket())
                return false;
            continue;
        }
        m_packet->stream_index = m_outStream->index;
        av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_outStream->time_base);
        ret = av_interleaved_write_frame(m_output.get(), m_packet.get());
        if (ret < 0)
            return error("av_interleaved_write_frame(): " + errorText(ret));
    }
    reportProgress(false);
    return true;
}

void Conversion::reportProgress(bool force)
{
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - m_lastProgress < ProgressInterval)
        return;
    m_lastProgress = now;
    // A segment counts what it is kept for, not its lead-in.
    const int64_t done = segment()
        ? std::max<int64_t>(m_windowFrom + m_encodedSamples - m_keepFrom, 0)
        : m_encodedSamples;
    m_reporter.progress(av_rescale(done, AV_TIME_BASE, m_encoder->sample_rate));
}

bool Conversion::writeSegmentPacket()
{
    const AVPacket *packet = m_packet.get();
    SegmentPacket out;
    out.pts = packet->pts;
    out.duration = packet->duration;
    out.flags = packet->flags;
    out.data.assign(
        reinterpret_cast<const char *>(packet->data), static_cast<size_t>(packet->size));
    size_t size = 0;
    if (const uint8_t *skip = av_packet_get_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, &size))
        out.skipSamples.assign(reinterpret_cast<const char *>(skip), size);
    if (const uint8_t *extra = av_packet_get_side_data(packet, AV_PKT_DATA_NEW_EXTRADATA, &size))
        out.newExtradata.assign(reinterpret_cast<const char *>(extra), size);
    av_packet_unref(m_packet.get());
    std::string why;
    if (!m_packets.write(out, &why))
        return error(m_spec.packetFile + ": " + why);
    return true;
}

bool Conversion::writeJoinedPacket(const SegmentPacket &joined)
{
    AVPacket *packet = m_packet.get();
    av_packet_unref(packet);
    if (av_new_packet(packet, static_cast<int>(joined.data.size())) < 0)
        return error("Out of memory");
    if (!joined.data.empty())
        std::memcpy(packet->data, joined.data.data(), joined.data.size());
    const auto side = [&](AVPacketSideDataType type, const std::string &bytes) {
        if (bytes.empty())
            return true;
        uint8_t *to = av_packet_new_side_data(packet, type, bytes.size());
        if (to)
            std::memcpy(to, bytes.data(), bytes.size());
        return to != nullptr;
    };
    if (!side(AV_PKT_DATA_SKIP_SAMPLES, joined.skipSamples)
        || !side(AV_PKT_DATA_NEW_EXTRADATA, joined.newExtradata))
        return error("Out of memory");
    packet->pts = joined.pts == INT64_MIN ? m_joinedEnd : joined.pts;
    packet->dts = packet->pts;
    packet->duration = joined.duration;
    packet->flags = joined.flags;
    packet->stream_index = m_outStream->index;
    m_joinedEnd = packet->pts + joined.duration;
    m_encodedSamples = std::max<int64_t>(m_joinedEnd, 0);
    av_packet_rescale_ts(packet, m_encoder->time_base, m_outStream->time_base);
    const int ret = av_interleaved_write_frame(m_output.get(), packet);
    if (ret < 0)
        return error("av_interleaved_write_frame(): " + errorText(ret));
    reportProgress(false);
    return true;
}

bool Conversion::joinParts()
{
    JoinSpec join;
    join.frameSamples = m_frameSamples;
    join.delay = m_encoder->initial_padding;
    if (m_encoder->codec_id == AV_CODEC_ID_MP3)
        join.repair = JoinRepair::Mp3;
    else if (m_encoder->codec_id == AV_CODEC_ID_FLAC)
        join.repair = JoinRepair::Flac;
    std::string why;
    const bool ok = joinSegments(
        m_spec.joinParts, join,
        [this](const SegmentPacket &packet) { return writeJoinedPacket(packet); }, &why);
    return ok || why.empty() ? ok : error(why);
}

bool Conversion::run()
{
    if (!openInput() || !openOutput())
        return false;
    m_lastProgress = std::chrono::steady_clock::now();
    if (!m_spec.joinParts.empty())
        return joinParts() && closeOutput();
    Packet packet(av_packet_alloc());
    if (!packet)
        return error("Out of memory");
    while (!m_ended) {
        const int ret = av_read_frame(m_input.get(), packet.get());
        if (ret == AVERROR_EOF)
            break;
        if (ret < 0) {
            // As ffmpeg does: what was read so far is converted.
            if (ret != AVERROR(EAGAIN))
                m_reporter.log(AV_LOG_ERROR, m_spec.input + ": " + errorText(ret));
            break;
        }
        const bool ours = packet->stream_index == m_streamIndex;
        const bool ok = !ours || decodePacket(packet.get());
        av_packet_unref(packet.get());
        if (!ok)
            return false;
    }
    if (!m_ended && !decodePacket(nullptr))
        return false;
    if (!drainResampler() || !encodeFromFifo(true) || !encodeFrame(nullptr))
        return false;
    if (segment()) {
        std::string why;
        if (!m_packets.close(&why))
            return error(m_spec.packetFile + ": " + why);
        reportProgress(true);
        return true;
    }
    return closeOutput();
}

bool Conversion::closeOutput()
{
    if (!finishOutput(m_spec, m_reporter, m_output.get()))
        return false;
    reportProgress(true);
    return true;
}

} // namespace

int negotiatedSampleFormat(int source, const int *formats)
{
    // libavfilter's choice for a resampler's output (swap_sample_fmts_on_filter).
    const auto format = static_cast<AVSampleFormat>(source);
    const int bps = av_get_bytes_per_sample(format);
    int best = formats[0];
    int bestScore = INT_MIN;
    for (const int *f = formats; *f != -1; ++f) {
        const auto candidate = static_cast<AVSampleFormat>(*f);
        const int outBps = av_get_bytes_per_sample(candidate);
        if (av_get_packed_sample_fmt(candidate) == av_get_packed_sample_fmt(format)
            || av_get_planar_sample_fmt(candidate) == av_get_planar_sample_fmt(format))
            return *f;
        if (bps == 4 && outBps == 8)
            return *f;
        int score = -std::abs(outBps - bps);
        if (outBps >= bps)
            score += INT_MAX / 2;
        if (score > bestScore) {
            bestScore = score;
            best = *f;
        }
    }
    return best;
}

bool convertAudio(const ConversionSpec &spec, ConversionReporter &reporter)
{
    if (spec.copy)
        return copyAudio(spec, reporter);
    if (spec.sampleRate <= 0 || spec.channels <= 0) {
        reporter.log(AV_LOG_ERROR, "Invalid sample rate or channel count");
        return false;
    }
    Conversion conversion(spec, reporter);
    return conversion.run();
}

} // namespace sonivert::worker
