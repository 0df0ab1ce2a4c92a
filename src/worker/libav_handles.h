#pragma once

// Owners of libav's handles: each frees its handle with the function libav asks for, once.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/dict.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace sonivert::worker {

struct InputContextFree
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
// An output context closes its file (when it opened one) before it goes.
struct OutputContextFree
{
    void operator()(AVFormatContext *context) const
    {
        if (context->pb && !(context->oformat->flags & AVFMT_NOFILE))
            avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
struct CodecContextFree
{
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FrameFree
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct PacketFree
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
struct ResamplerFree
{
    void operator()(SwrContext *context) const { swr_free(&context); }
};
struct FifoFree
{
    void operator()(AVAudioFifo *fifo) const { av_audio_fifo_free(fifo); }
};
struct DictionaryFree
{
    void operator()(AVDictionary *dictionary) const { av_dict_free(&dictionary); }
};

using InputContext = std::unique_ptr<AVFormatContext, InputContextFree>;
using OutputContext = std::unique_ptr<AVFormatContext, OutputContextFree>;
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Resampler = std::unique_ptr<SwrContext, ResamplerFree>;
using Fifo = std::unique_ptr<AVAudioFifo, FifoFree>;

// A channel layout that is always uninitialised when it goes.
class ChannelLayout
{
public:
    ChannelLayout() = default;
    ChannelLayout(const ChannelLayout &) = delete;
    ChannelLayout &operator=(const ChannelLayout &) = delete;
    ~ChannelLayout() { av_channel_layout_uninit(&m_layout); }
    AVChannelLayout *get() { return &m_layout; }
    const AVChannelLayout *get() const { return &m_layout; }

private:
    AVChannelLayout m_layout {};
};

} // namespace sonivert::worker
