#include "worker/audio_conversion.h"

#include "worker/libav_handles.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
}

#include <chrono>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>

namespace sonivert::worker {

namespace {

constexpr int VariableFrameSamples = 4096;
constexpr auto ProgressInterval = std::chrono::milliseconds(250);

std::string errorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

// The audio stream ffmpeg converts when none is chosen: the most channels, a default stream
// before the others, the first among equals.
int defaultAudioStream(const AVFormatContext *context)
{
    int best = -1;
    int64_t bestScore = -1;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        const int64_t score = stream->codecpar->ch_layout.nb_channels
            + ((stream->disposition & AV_DISPOSITION_DEFAULT) ? 5000000 : 0);
        if (score > bestScore) {
            bestScore = score;
            best = static_cast<int>(i);
        }
    }
    return best;
}

class Conversion
{
public:
    Conversion(const ConversionSpec &spec, ConversionReporter &reporter)
        : spec_(spec)
        , reporter_(reporter)
    {
    }

    bool Run();

private:
    bool error(const std::string &line)
    {
        reporter_.Log(AV_LOG_ERROR, line);
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
    bool drainResampler();
    void reportProgress(bool force);

    const ConversionSpec &spec_;
    ConversionReporter &reporter_;

    InputContext input_;
    int streamIndex_ = -1;
    CodecContext decoder_;
    OutputContext output_;
    AVStream *outStream_ = nullptr;
    CodecContext encoder_;
    Resampler resampler_;
    int resamplerFormat_ = -1;
    int resamplerRate_ = 0;
    ChannelLayout resamplerLayout_;
    Fifo fifo_;
    Frame encodeFrame_;
    Packet packet_;
    int frameSamples_ = 0;

    // The cut, in samples of the output rate on the file's time line.
    int64_t startTs_ = 0;
    int64_t lengthTs_ = -1;
    bool trimStart_ = false;
    bool haveTs_ = false;
    int64_t nextTs_ = 0; // the time of the next resampled sample
    int64_t firstKeptTs_ = -1;
    int64_t keptSamples_ = 0;
    bool ended_ = false; // the cut's end is reached
    int64_t encodedSamples_ = 0;
    int64_t firstPts_ = 0; // the encoder time of the first kept sample
    std::chrono::steady_clock::time_point lastProgress_ {};
};

bool Conversion::openInput()
{
    AVFormatContext *raw = nullptr;
    int ret = avformat_open_input(&raw, spec_.input.c_str(), nullptr, nullptr);
    if (ret < 0)
        return error(spec_.input + ": " + errorText(ret));
    input_.reset(raw);
    ret = avformat_find_stream_info(input_.get(), nullptr);
    if (ret < 0)
        return error(spec_.input + ": could not find codec parameters");
    streamIndex_ = defaultAudioStream(input_.get());
    if (streamIndex_ < 0)
        return error("Output file #0 does not contain any stream");
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        if (static_cast<int>(i) != streamIndex_)
            input_->streams[i]->discard = AVDISCARD_ALL;
    }
    const AVStream *stream = input_->streams[streamIndex_];
    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) {
        return error(std::string("Decoder (codec ") + avcodec_get_name(stream->codecpar->codec_id)
            + ") not found for input stream #0:" + std::to_string(streamIndex_));
    }
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_)
        return error("Error allocating the decoder: " + errorText(AVERROR(ENOMEM)));
    ret = avcodec_parameters_to_context(decoder_.get(), stream->codecpar);
    if (ret < 0)
        return error("Error initializing the decoder: " + errorText(ret));
    decoder_->pkt_timebase = stream->time_base;
    ret = avcodec_open2(decoder_.get(), codec, nullptr);
    if (ret < 0) {
        return error("Error while opening decoder for input stream #0:"
            + std::to_string(streamIndex_) + " : " + errorText(ret));
    }
    return true;
}

bool Conversion::openOutput()
{
    // ffmpeg -n: an existing file is never written over.
    struct stat st;
    if (::stat(spec_.output.c_str(), &st) == 0)
        return error("File '" + spec_.output + "' already exists. Exiting.");

    AVFormatContext *raw = nullptr;
    int ret = avformat_alloc_output_context2(&raw, nullptr, nullptr, spec_.output.c_str());
    if (!raw)
        return error(spec_.output + ": " + errorText(ret < 0 ? ret : AVERROR(EINVAL)));
    output_.reset(raw);
    output_->flags |= AVFMT_FLAG_BITEXACT;
    for (const auto &[key, value] : spec_.tags)
        av_dict_set(&output_->metadata, key.c_str(), value.c_str(), 0);

    const AVCodec *codec = nullptr;
    if (spec_.encoder.empty()) {
        const AVCodecID id = av_guess_codec(
            output_->oformat, nullptr, spec_.output.c_str(), nullptr, AVMEDIA_TYPE_AUDIO);
        codec = avcodec_find_encoder(id);
        if (!codec) {
            return error(std::string("Automatic encoder selection failed for output stream #0:0. "
                                     "Default encoder for format ")
                + output_->oformat->name + " (codec " + avcodec_get_name(id)
                + ") is probably disabled. Please choose an encoder manually.");
        }
    } else {
        codec = avcodec_find_encoder_by_name(spec_.encoder.c_str());
        if (!codec || codec->type != AVMEDIA_TYPE_AUDIO)
            return error("Unknown encoder '" + spec_.encoder + "'");
    }

    outStream_ = avformat_new_stream(output_.get(), nullptr);
    if (!outStream_)
        return error("Could not allocate the output stream");
    encoder_.reset(avcodec_alloc_context3(codec));
    if (!encoder_)
        return error("Error allocating the encoder: " + errorText(AVERROR(ENOMEM)));

    const int sourceFormat = decoder_->sample_fmt;
    const auto *formats = reinterpret_cast<const int *>(codec->sample_fmts);
    encoder_->sample_fmt = static_cast<AVSampleFormat>(
        formats ? NegotiatedSampleFormat(sourceFormat, formats) : decoder_->sample_fmt);
    encoder_->sample_rate = spec_.sampleRate;
    av_channel_layout_default(&encoder_->ch_layout, spec_.channels);
    encoder_->bit_rate = spec_.bitRate;
    encoder_->time_base = AVRational { 1, spec_.sampleRate };
    if (output_->oformat->flags & AVFMT_GLOBALHEADER)
        encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    ret = avcodec_open2(encoder_.get(), codec, nullptr);
    if (ret < 0) {
        return error("Error initializing output stream 0:0 -- Error while opening encoder for "
                     "output stream #0:0 - maybe incorrect "
                     "parameters such as bit_rate, rate, width or height");
    }
    ret = avcodec_parameters_from_context(outStream_->codecpar, encoder_.get());
    if (ret < 0)
        return error("Error initializing the output stream: " + errorText(ret));
    outStream_->time_base = encoder_->time_base;
    outStream_->disposition = input_->streams[streamIndex_]->disposition;
    av_dict_set(&outStream_->metadata, "encoder", (std::string("Lavc ") + codec->name).c_str(),
        AV_DICT_DONT_OVERWRITE);

    if (!(output_->oformat->flags & AVFMT_NOFILE)) {
        ret = avio_open(&output_->pb, spec_.output.c_str(), AVIO_FLAG_WRITE);
        if (ret < 0)
            return error(spec_.output + ": " + errorText(ret));
    }
    ret = avformat_write_header(output_.get(), nullptr);
    if (ret < 0) {
        return error("Could not write header for output file #0 (incorrect codec parameters ?): "
            + errorText(ret));
    }

    frameSamples_
        = (encoder_->frame_size > 0 && !(codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE))
        ? encoder_->frame_size
        : VariableFrameSamples;
    fifo_.reset(av_audio_fifo_alloc(
        encoder_->sample_fmt, encoder_->ch_layout.nb_channels, frameSamples_ * 2));
    encodeFrame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    if (!fifo_ || !encodeFrame_ || !packet_)
        return error("Out of memory");

    if (spec_.startUs > 0) {
        trimStart_ = true;
        startTs_ = av_rescale_q(spec_.startUs, AV_TIME_BASE_Q, encoder_->time_base);
    }
    if (spec_.lengthUs >= 0)
        lengthTs_ = av_rescale_q(spec_.lengthUs, AV_TIME_BASE_Q, encoder_->time_base);
    return true;
}

bool Conversion::openResampler(const AVFrame *frame)
{
    if (resampler_) {
        if (resamplerFormat_ == frame->format && resamplerRate_ == frame->sample_rate
            && !av_channel_layout_compare(resamplerLayout_.get(), &frame->ch_layout))
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
    int ret = swr_alloc_set_opts2(&raw, &encoder_->ch_layout, encoder_->sample_fmt,
        encoder_->sample_rate, inLayout.get(), static_cast<AVSampleFormat>(frame->format),
        frame->sample_rate, 0, nullptr);
    resampler_.reset(raw);
    if (ret >= 0)
        ret = swr_init(resampler_.get());
    if (ret < 0)
        return error("Error reinitializing filters!: " + errorText(ret));
    resamplerFormat_ = frame->format;
    resamplerRate_ = frame->sample_rate;
    av_channel_layout_uninit(resamplerLayout_.get());
    av_channel_layout_copy(resamplerLayout_.get(), &frame->ch_layout);
    return true;
}

bool Conversion::decodePacket(const AVPacket *packet)
{
    int ret = avcodec_send_packet(decoder_.get(), packet);
    if (ret < 0 && ret != AVERROR_EOF && ret != AVERROR(EAGAIN)) {
        // As ffmpeg does: say so and go on with the next packet.
        reporter_.Log(AV_LOG_ERROR,
            "Error while decoding stream #0:" + std::to_string(streamIndex_) + ": "
                + errorText(ret));
        return true;
    }
    Frame frame(av_frame_alloc());
    if (!frame)
        return error("Out of memory");
    while (!ended_) {
        ret = avcodec_receive_frame(decoder_.get(), frame.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return true;
        if (ret < 0) {
            reporter_.Log(AV_LOG_ERROR,
                "Error while decoding stream #0:" + std::to_string(streamIndex_) + ": "
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
    if (!haveTs_) {
        // The file's time line starts where its earliest stream does, as in ffmpeg.
        const AVStream *stream = input_->streams[streamIndex_];
        int64_t ts = frame->best_effort_timestamp;
        if (ts != AV_NOPTS_VALUE) {
            int64_t us = av_rescale_q(ts, stream->time_base, AV_TIME_BASE_Q);
            if (input_->start_time != AV_NOPTS_VALUE)
                us -= input_->start_time;
            nextTs_ = av_rescale_q(us, AV_TIME_BASE_Q, encoder_->time_base);
        }
        haveTs_ = true;
    }
    const int capacity = swr_get_out_samples(resampler_.get(), frame->nb_samples);
    if (capacity < 0)
        return error("Error while filtering: " + errorText(capacity));
    uint8_t **data = nullptr;
    int ret = av_samples_alloc_array_and_samples(
        &data, nullptr, encoder_->ch_layout.nb_channels, capacity + 1, encoder_->sample_fmt, 0);
    if (ret < 0)
        return error("Out of memory");
    const int count = swr_convert(resampler_.get(), data, capacity + 1,
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

bool Conversion::drainResampler()
{
    if (!resampler_)
        return true;
    for (;;) {
        const int capacity = std::max(swr_get_out_samples(resampler_.get(), 0), 0) + 256;
        uint8_t **data = nullptr;
        if (av_samples_alloc_array_and_samples(
                &data, nullptr, encoder_->ch_layout.nb_channels, capacity, encoder_->sample_fmt, 0)
            < 0)
            return error("Out of memory");
        const int count = swr_convert(resampler_.get(), data, capacity, nullptr, 0);
        const bool ok = count <= 0 || keepSamples(data, count);
        av_freep(&data[0]);
        av_freep(&data);
        if (!ok)
            return false;
        if (count <= 0)
            break;
    }
    resampler_.reset();
    return true;
}

// The cut: samples before its start are dropped, and after its length the conversion ends.
bool Conversion::keepSamples(uint8_t **data, int count)
{
    const int64_t ts = nextTs_;
    nextTs_ += count;
    if (ended_)
        return true;
    int skip = 0;
    if (trimStart_ && ts < startTs_)
        skip = static_cast<int>(std::min<int64_t>(count, startTs_ - ts));
    int keep = count - skip;
    if (keep <= 0)
        return true;
    if (firstKeptTs_ < 0) {
        firstKeptTs_ = ts + skip;
        firstPts_ = firstKeptTs_ - (trimStart_ ? startTs_ : 0);
    }
    if (lengthTs_ >= 0) {
        const int64_t room = lengthTs_ - keptSamples_;
        if (room <= keep) {
            keep = static_cast<int>(std::max<int64_t>(room, 0));
            ended_ = true;
        }
    }
    if (keep > 0) {
        const int bytes = av_get_bytes_per_sample(encoder_->sample_fmt);
        const int planes
            = av_sample_fmt_is_planar(encoder_->sample_fmt) ? encoder_->ch_layout.nb_channels : 1;
        const int perSample = planes == 1 ? bytes * encoder_->ch_layout.nb_channels : bytes;
        void *shifted[AV_NUM_DATA_POINTERS * 4] = {};
        for (int p = 0; p < planes; ++p)
            shifted[p] = data[p] + static_cast<ptrdiff_t>(skip) * perSample;
        if (av_audio_fifo_write(fifo_.get(), shifted, keep) < keep)
            return error("Out of memory");
        keptSamples_ += keep;
    }
    return encodeFromFifo(false);
}

bool Conversion::encodeFromFifo(bool flush)
{
    while (av_audio_fifo_size(fifo_.get()) >= frameSamples_
        || (flush && av_audio_fifo_size(fifo_.get()) > 0)) {
        const int samples = std::min(av_audio_fifo_size(fifo_.get()), frameSamples_);
        AVFrame *frame = encodeFrame_.get();
        av_frame_unref(frame);
        frame->nb_samples = samples;
        frame->format = encoder_->sample_fmt;
        frame->sample_rate = encoder_->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &encoder_->ch_layout);
        if (av_frame_get_buffer(frame, 0) < 0)
            return error("Out of memory");
        if (av_audio_fifo_read(fifo_.get(), reinterpret_cast<void **>(frame->data), samples)
            < samples)
            return error("Error while filtering: could not read buffered samples");
        frame->pts = firstPts_ + encodedSamples_;
        encodedSamples_ += samples;
        if (!encodeFrame(frame))
            return false;
    }
    return true;
}

bool Conversion::encodeFrame(const AVFrame *frame)
{
    int ret = avcodec_send_frame(encoder_.get(), frame);
    if (ret < 0 && ret != AVERROR_EOF)
        return error("Error submitting audio frame to the encoder");
    for (;;) {
        ret = avcodec_receive_packet(encoder_.get(), packet_.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            break;
        if (ret < 0)
            return error("Audio encoding failed");
        packet_->stream_index = outStream_->index;
        av_packet_rescale_ts(packet_.get(), encoder_->time_base, outStream_->time_base);
        ret = av_interleaved_write_frame(output_.get(), packet_.get());
        if (ret < 0)
            return error("av_interleaved_write_frame(): " + errorText(ret));
    }
    reportProgress(false);
    return true;
}

void Conversion::reportProgress(bool force)
{
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - lastProgress_ < ProgressInterval)
        return;
    lastProgress_ = now;
    reporter_.Progress(av_rescale(encodedSamples_, AV_TIME_BASE, encoder_->sample_rate));
}

bool Conversion::Run()
{
    if (!openInput() || !openOutput())
        return false;
    lastProgress_ = std::chrono::steady_clock::now();
    Packet packet(av_packet_alloc());
    if (!packet)
        return error("Out of memory");
    while (!ended_) {
        const int ret = av_read_frame(input_.get(), packet.get());
        if (ret == AVERROR_EOF)
            break;
        if (ret < 0) {
            // As ffmpeg does: what was read so far is converted.
            if (ret != AVERROR(EAGAIN))
                reporter_.Log(AV_LOG_ERROR, spec_.input + ": " + errorText(ret));
            break;
        }
        const bool ours = packet->stream_index == streamIndex_;
        const bool ok = !ours || decodePacket(packet.get());
        av_packet_unref(packet.get());
        if (!ok)
            return false;
    }
    if (!ended_ && !decodePacket(nullptr))
        return false;
    if (!drainResampler() || !encodeFromFifo(true) || !encodeFrame(nullptr))
        return false;
    const int ret = av_write_trailer(output_.get());
    if (ret < 0)
        return error("Error writing trailer of " + spec_.output + ": " + errorText(ret));
    if (output_->pb) {
        const int closed = avio_closep(&output_->pb);
        if (closed < 0)
            return error("Error closing file " + spec_.output + ": " + errorText(closed));
    }
    reportProgress(true);
    return true;
}

} // namespace

int NegotiatedSampleFormat(int source, const int *formats)
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

bool ConvertAudio(const ConversionSpec &spec, ConversionReporter &reporter)
{
    if (spec.sampleRate <= 0 || spec.channels <= 0) {
        reporter.Log(AV_LOG_ERROR, "Invalid sample rate or channel count");
        return false;
    }
    Conversion conversion(spec, reporter);
    return conversion.Run();
}

} // namespace sonivert::worker
