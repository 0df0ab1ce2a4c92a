#include "core/media/cover_art.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/base64.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>

namespace sonivert {

namespace {

struct InputFree
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
struct CodecFree
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
struct ScalerFree
{
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};
using Input = std::unique_ptr<AVFormatContext, InputFree>;
using Codec = std::unique_ptr<AVCodecContext, CodecFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Scaler = std::unique_ptr<SwsContext, ScalerFree>;

// A seek lands on the key frame before its target: a few seconds of video at most, as a rule.
constexpr int MaxPacketsToTarget = 600;
// Coarser steps for a picture that must fit a comment, at 600 px, then smaller.
constexpr int CommentJpegQualities[] = { 3, 6, 12, 31 };

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

Codec openDecoder(const AVCodecParameters *parameters)
{
    const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec)
        return nullptr;
    Codec context(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), parameters) < 0
        || avcodec_open2(context.get(), codec, nullptr) < 0)
        return nullptr;
    return context;
}

// The size a picture of width x height (pixels of aspect sar) is shown at, fitted within
// MaxCoverSide, in even numbers as 4:2:0 JPEG wants them.
std::pair<int, int> coverSize(int width, int height, AVRational sar, int maxSide)
{
    double shownWidth = width;
    if (sar.num > 0 && sar.den > 0)
        shownWidth = width * av_q2d(sar);
    const double scale = std::min(1.0, maxSide / std::max(shownWidth, double(height)));
    const auto even = [](double value) {
        return std::max(2, int(std::lround(value / 2)) * 2);
    };
    return { even(shownWidth * scale), even(height * scale) };
}

// The scaler knows the full-range "J" formats by their plain names and a range of their own.
AVPixelFormat plainFormat(AVPixelFormat format, bool &fullRange)
{
    switch (format) {
    case AV_PIX_FMT_YUVJ420P:
        fullRange = true;
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        fullRange = true;
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
        fullRange = true;
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
        fullRange = true;
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
        fullRange = true;
        return AV_PIX_FMT_YUV411P;
    default:
        return format;
    }
}

CoverPicture jpegOf(
    const AVFrame *frame, int quality = CoverJpegQuality, int maxSide = MaxCoverSide)
{
    const auto [width, height]
        = coverSize(frame->width, frame->height, frame->sample_aspect_ratio, maxSide);
    bool sourceFullRange = frame->color_range == AVCOL_RANGE_JPEG;
    const AVPixelFormat source = plainFormat(AVPixelFormat(frame->format), sourceFullRange);
    Scaler scaler(sws_getContext(frame->width, frame->height, source, width, height,
        AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr));
    Frame scaled(av_frame_alloc());
    if (!scaler || !scaled)
        return {};
    // JPEG's full range on the way out, whatever comes in.
    const int *coefficients = sws_getCoefficients(SWS_CS_DEFAULT);
    sws_setColorspaceDetails(
        scaler.get(), coefficients, sourceFullRange ? 1 : 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    scaled->format = AV_PIX_FMT_YUVJ420P;
    scaled->width = width;
    scaled->height = height;
    if (av_frame_get_buffer(scaled.get(), 0) < 0
        || sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, scaled->data,
               scaled->linesize)
            != height)
        return {};

    const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    Codec encoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!encoder)
        return {};
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    encoder->time_base = AVRational { 1, 25 };
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * quality;
    scaled->quality = encoder->global_quality;
    scaled->pts = 0;
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0)
        return {};
    Packet packet(av_packet_alloc());
    if (!packet || avcodec_send_frame(encoder.get(), scaled.get()) < 0
        || avcodec_send_frame(encoder.get(), nullptr) < 0
        || avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        return {};
    CoverPicture picture;
    picture.data.assign(reinterpret_cast<const char *>(packet->data), size_t(packet->size));
    picture.codecId = AV_CODEC_ID_MJPEG;
    picture.width = width;
    picture.height = height;
    return picture;
}

// Decodes the stream from where the input stands until a frame at or after targetUs (on the
// stream's time line), or the last frame when the stream ends first.
Frame decodeFrameFrom(AVFormatContext *input, int index, int64_t targetUs)
{
    const AVStream *stream = input->streams[index];
    Codec decoder = openDecoder(stream->codecpar);
    Frame frame(av_frame_alloc());
    Frame last(av_frame_alloc());
    Packet packet(av_packet_alloc());
    if (!decoder || !frame || !last || !packet)
        return nullptr;
    bool haveLast = false;
    const auto receive = [&]() -> bool { // true once the wanted frame is in `last`
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
            av_frame_unref(last.get());
            av_frame_move_ref(last.get(), frame.get());
            haveLast = true;
            const int64_t ts = last->best_effort_timestamp;
            if (ts == AV_NOPTS_VALUE
                || av_rescale_q(ts, stream->time_base, AV_TIME_BASE_Q) >= targetUs)
                return true;
        }
        return false;
    };
    int packets = 0;
    while (av_read_frame(input, packet.get()) >= 0) {
        const bool ours = packet->stream_index == index;
        if (ours)
            avcodec_send_packet(decoder.get(), packet.get());
        av_packet_unref(packet.get());
        if (ours && receive())
            return last;
        // Timestamps that never reach the target must not make a film decode to its end.
        if (ours && ++packets >= MaxPacketsToTarget && haveLast)
            return last;
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receive();
    return haveLast ? std::move(last) : nullptr;
}

void putBigEndian(std::string &out, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<char>((value >> shift) & 0xff));
}

} // namespace

CoverChoice coverChoiceFromName(const std::string &name)
{
    if (name == "frame")
        return CoverChoice::Frame;
    if (name == "none")
        return CoverChoice::None;
    return CoverChoice::Source;
}

const char *coverChoiceName(CoverChoice choice)
{
    switch (choice) {
    case CoverChoice::Frame:
        return "frame";
    case CoverChoice::None:
        return "none";
    case CoverChoice::Source:
        break;
    }
    return "source";
}

std::string CoverPicture::mimeType() const
{
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(AVCodecID(codecId));
    if (descriptor && descriptor->mime_types && descriptor->mime_types[0])
        return descriptor->mime_types[0];
    return codecId == AV_CODEC_ID_PNG ? "image/png" : "image/jpeg";
}

std::string CoverPicture::fileExtension() const
{
    switch (codecId) {
    case AV_CODEC_ID_PNG:
        return "png";
    case AV_CODEC_ID_BMP:
        return "bmp";
    case AV_CODEC_ID_GIF:
        return "gif";
    case AV_CODEC_ID_WEBP:
        return "webp";
    default:
        return "jpg";
    }
}

CoverHolder coverHolderOf(const std::string &extension)
{
    const std::string ext = lowerCase(extension);
    if (ext == "mp3" || ext == "m4a" || ext == "m4b" || ext == "m4r" || ext == "flac")
        return CoverHolder::PictureStream;
    if (ext == "ogg" || ext == "oga" || ext == "opus")
        return CoverHolder::PictureComment;
    return CoverHolder::None;
}

int attachedPictureIndex(const AVFormatContext *context)
{
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) && stream->attached_pic.size > 0)
            return int(i);
    }
    return -1;
}

int motionVideoIndex(const AVFormatContext *context)
{
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO
            && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            return int(i);
    }
    return -1;
}

CoverPicture attachedPicture(const AVFormatContext *context)
{
    const int index = attachedPictureIndex(context);
    if (index < 0)
        return {};
    const AVStream *stream = context->streams[index];
    CoverPicture picture;
    picture.data.assign(reinterpret_cast<const char *>(stream->attached_pic.data),
        size_t(stream->attached_pic.size));
    picture.codecId = stream->codecpar->codec_id;
    picture.width = stream->codecpar->width;
    picture.height = stream->codecpar->height;
    return picture;
}

CoverPicture videoFrameCover(const std::string &path)
{
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0)
        return {};
    Input input(raw);
    if (avformat_find_stream_info(input.get(), nullptr) < 0)
        return {};
    const int index = motionVideoIndex(input.get());
    if (index < 0)
        return {};
    for (unsigned i = 0; i < input->nb_streams; ++i)
        input->streams[i]->discard = int(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    const int64_t start = input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time;
    const int64_t duration = input->duration == AV_NOPTS_VALUE ? 0 : input->duration;
    const int64_t target = start + duration / 10;
    if (target > start)
        av_seek_frame(input.get(), -1, target, AVSEEK_FLAG_BACKWARD);
    const Frame frame = decodeFrameFrom(input.get(), index, target);
    return frame ? jpegOf(frame.get()) : CoverPicture {};
}

CoverPicture coverFor(const std::string &path, CoverChoice choice)
{
    if (choice == CoverChoice::None)
        return {};
    CoverPicture picture;
    {
        AVFormatContext *raw = nullptr;
        if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0)
            return {};
        Input input(raw);
        // The pictures are read with the header; the streams' codecs need no probing for them.
        picture = attachedPicture(input.get());
    }
    if (picture.empty() && choice == CoverChoice::Frame)
        picture = videoFrameCover(path);
    return picture;
}

namespace {

// The picture decoded; nothing when it cannot be.
Frame decodedPicture(const CoverPicture &picture)
{
    AVCodecParameters *parameters = avcodec_parameters_alloc();
    if (!parameters)
        return {};
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AVCodecID(picture.codecId);
    Codec decoder = openDecoder(parameters);
    avcodec_parameters_free(&parameters);
    Packet packet(av_packet_alloc());
    Frame frame(av_frame_alloc());
    if (!decoder || !packet || !frame || av_new_packet(packet.get(), int(picture.data.size())) < 0)
        return {};
    std::copy(picture.data.begin(), picture.data.end(), packet->data);
    packet->flags |= AV_PKT_FLAG_KEY;
    if (avcodec_send_packet(decoder.get(), packet.get()) < 0)
        return {};
    avcodec_send_packet(decoder.get(), nullptr);
    if (avcodec_receive_frame(decoder.get(), frame.get()) < 0)
        return {};
    return frame;
}

} // namespace

bool isPortablePicture(int codecId)
{
    return codecId == AV_CODEC_ID_MJPEG || codecId == AV_CODEC_ID_PNG;
}

CoverPicture portablePicture(const CoverPicture &picture)
{
    if (picture.empty() || isPortablePicture(picture.codecId))
        return picture;
    const Frame frame = decodedPicture(picture);
    return frame ? jpegOf(frame.get()) : CoverPicture {};
}

CoverPicture commentPicture(const CoverPicture &picture)
{
    if (picture.data.size() <= MaxCommentPictureBytes && isPortablePicture(picture.codecId))
        return picture;
    const Frame frame = decodedPicture(picture);
    if (!frame)
        return {};
    // A picture of much detail (noise, say) needs fewer pixels too.
    for (const int side : { MaxCoverSide, MaxCoverSide / 2, MaxCoverSide / 4 }) {
        for (const int quality : CommentJpegQualities) {
            CoverPicture small = jpegOf(frame.get(), quality, side);
            if (!small.empty() && small.data.size() <= MaxCommentPictureBytes)
                return small;
        }
    }
    return {};
}

std::string pictureCommentValue(const CoverPicture &picture)
{
    const std::string mime = picture.mimeType();
    std::string block;
    putBigEndian(block, 3); // front cover
    putBigEndian(block, uint32_t(mime.size()));
    block += mime;
    putBigEndian(block, 0); // no description
    putBigEndian(block, uint32_t(picture.width));
    putBigEndian(block, uint32_t(picture.height));
    putBigEndian(block, 24); // colour depth
    putBigEndian(block, 0); // not indexed
    putBigEndian(block, uint32_t(picture.data.size()));
    block += picture.data;
    std::string text(AV_BASE64_SIZE(block.size()), '\0');
    if (!av_base64_encode(text.data(), int(text.size()),
            reinterpret_cast<const uint8_t *>(block.data()), int(block.size())))
        return {};
    text.resize(text.size() - 1); // the terminating NUL
    return text;
}

int addCover(AVFormatContext *output, CoverHolder holder, const CoverPicture &picture)
{
    if (picture.empty() || holder == CoverHolder::None)
        return -1;
    if (holder == CoverHolder::PictureComment) {
        const CoverPicture small = commentPicture(picture);
        if (!small.empty()) {
            av_dict_set(
                &output->metadata, "METADATA_BLOCK_PICTURE", pictureCommentValue(small).c_str(), 0);
        }
        return -1;
    }
    AVStream *stream = avformat_new_stream(output, nullptr);
    if (!stream)
        return AVERROR(ENOMEM);
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id = AVCodecID(picture.codecId);
    stream->codecpar->width = picture.width;
    stream->codecpar->height = picture.height;
    stream->disposition = AV_DISPOSITION_ATTACHED_PIC;
    stream->time_base = AVRational { 1, 90000 };
    return stream->index;
}

int writeCoverPacket(AVFormatContext *output, int streamIndex, const CoverPicture &picture)
{
    if (streamIndex < 0)
        return 0;
    Packet packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), int(picture.data.size())) < 0)
        return AVERROR(ENOMEM);
    std::copy(picture.data.begin(), picture.data.end(), packet->data);
    packet->stream_index = streamIndex;
    packet->flags |= AV_PKT_FLAG_KEY;
    packet->pts = 0;
    packet->dts = 0;
    return av_interleaved_write_frame(output, packet.get());
}

} // namespace sonivert
