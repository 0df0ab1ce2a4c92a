#include "core/media/audio_stream_choice.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace sonivert {

namespace {

bool isAudio(const AVStream *stream)
{
    return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

} // namespace

int defaultAudioStreamIndex(const AVFormatContext *context)
{
    int first = -1;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if (!isAudio(stream))
            continue;
        if (stream->disposition & AV_DISPOSITION_DEFAULT)
            return static_cast<int>(i);
        if (first < 0)
            first = static_cast<int>(i);
    }
    return first;
}

int audioStreamOfTrack(const AVFormatContext *context, int track)
{
    if (track < 0)
        return -1;
    int seen = 0;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        if (!isAudio(context->streams[i]))
            continue;
        if (seen == track)
            return static_cast<int>(i);
        ++seen;
    }
    return -1;
}

int audioTrackOfStream(const AVFormatContext *context, int streamIndex)
{
    if (streamIndex < 0 || unsigned(streamIndex) >= context->nb_streams
        || !isAudio(context->streams[streamIndex]))
        return -1;
    int track = 0;
    for (int i = 0; i < streamIndex; ++i)
        track += isAudio(context->streams[i]) ? 1 : 0;
    return track;
}

} // namespace sonivert
