#include "core/media/stream_info.h"

#include "core/media/time_text.h"

#include <algorithm>
#include <limits>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
}

namespace sonivert {

namespace {

int clampToInt(int64_t value)
{
    return int(std::clamp<int64_t>(
        value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

QString codecName(const AVStream *s)
{
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(s->codecpar->codec_id);
    if (!descriptor)
        return QString();
    if (descriptor->long_name)
        return QString::fromUtf8(descriptor->long_name);
    return QString::fromUtf8(descriptor->name);
}

QString dictionaryText(const AVDictionary *dictionary, const char *key)
{
    const AVDictionaryEntry *entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry && entry->value ? QString::fromUtf8(entry->value) : QString();
}

// "2019-05-01" gives 2019, "3/12" gives 3; text without leading digits gives 0.
int leadingNumber(const QString &text)
{
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    while (end < trimmed.size() && end < 9 && trimmed.at(end).isDigit())
        ++end;
    return end == 0 ? 0 : trimmed.left(end).toInt();
}

int32_t durationLow(const AVStream *s)
{
    int64_t microseconds = UnknownTime;
    if (s->duration != AV_NOPTS_VALUE)
        microseconds = av_rescale_q(s->duration, s->time_base, AVRational { 1, AV_TIME_BASE });
    int32_t low = 0;
    int32_t high = 0;
    splitTime(microseconds, low, high);
    return low;
}

void readDisplayAspect(const AVFormatContext *context, const AVStream *s, VideoStreamInfo &info)
{
    AVRational sar = av_guess_sample_aspect_ratio(
        const_cast<AVFormatContext *>(context), const_cast<AVStream *>(s), nullptr);
    if (sar.num <= 0 || sar.den <= 0)
        sar = AVRational { 1, 1 };
    const int64_t w = s->codecpar->width;
    const int64_t h = s->codecpar->height;
    if (w <= 0 || h <= 0) {
        info.darNumerator = info.darDenominator = 0;
        info.displayAspectRatio = 0.0f;
        return;
    }
    av_reduce(&info.darNumerator, &info.darDenominator, w * sar.num, h * sar.den, 1024 * 1024);
    info.displayAspectRatio = info.darDenominator == 0
        ? 0.0f
        : float(double(info.darNumerator) / double(info.darDenominator));
}

} // namespace

VideoStreamInfo readVideoStreamInfo(const AVFormatContext *context, const AVStream *s)
{
    VideoStreamInfo info;
    if (!context || !s)
        return info;
    info.codecName = codecName(s);
    info.width = s->codecpar->width;
    info.height = s->codecpar->height;
    info.bitRate = clampToInt(s->codecpar->bit_rate);
    const AVRational rate = s->avg_frame_rate.num != 0 ? s->avg_frame_rate : s->r_frame_rate;
    info.frameRateNumerator = rate.num;
    info.frameRateDenominator = rate.den;
    readDisplayAspect(context, s, info);
    info.durationLow = durationLow(s);
    info.language = dictionaryText(s->metadata, "language");
    return info;
}

AudioStreamInfo readAudioStreamInfo(const AVStream *s)
{
    AudioStreamInfo info;
    if (!s)
        return info;
    info.codecName = codecName(s);
    info.bitRate = clampToInt(s->codecpar->bit_rate);
    info.sampleRate = s->codecpar->sample_rate;
    info.channels = s->codecpar->ch_layout.nb_channels;
    info.durationLow = durationLow(s);
    info.language = dictionaryText(s->metadata, "language");
    return info;
}

FileTags readFileTags(const AVFormatContext *context, const AVStream *firstAudio)
{
    FileTags tags;
    if (!context)
        return tags;
    const auto tag = [context, firstAudio](const char *key) {
        const QString onContainer = dictionaryText(context->metadata, key);
        if (!onContainer.isEmpty() || !firstAudio)
            return onContainer;
        return dictionaryText(firstAudio->metadata, key);
    };
    tags.title = tag("title");
    tags.comment = tag("comment");
    tags.author = tag("artist");
    if (tags.author.isEmpty())
        tags.author = tag("author");
    tags.album = tag("album");
    tags.genre = tag("genre");
    tags.copyright = tag("copyright");
    const QString date = tag("date");
    tags.year = leadingNumber(date.isEmpty() ? tag("year") : date);
    tags.track = leadingNumber(tag("track"));
    return tags;
}

} // namespace sonivert
