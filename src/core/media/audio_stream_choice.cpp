#include "core/media/audio_stream_choice.h"

#include <cstdint>

extern "C" {
#include <libavformat/avformat.h>
}

namespace sonivert {

int defaultAudioStreamIndex(const AVFormatContext *context)
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

} // namespace sonivert
