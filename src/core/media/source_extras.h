#pragma once

// Plain C++ over libav: what any engine that muxes an audio output in process (the worker's
// encoder, a stream copy) calls to carry the source's cover picture and chapters along.

#include "core/media/cover_art.h"

#include <cstdint>
#include <string>

struct AVFormatContext;

namespace sonivert {

// The source's picture and chapters for one output, added in two steps around its header.
class SourceExtras
{
public:
    // Before the output's header: the cover (by choice) and, when chapters is set, the chapters
    // within the cut (startUs, lengthUs -1 to the end), each where the output's extension holds
    // them. input is the source, open; path is its name, for a video frame. A negative AVERROR
    // when the picture stream cannot be added.
    int addBeforeHeader(const AVFormatContext *input, const std::string &path,
        AVFormatContext *output, const std::string &outputPath, CoverChoice cover, bool chapters,
        int64_t startUs, int64_t lengthUs);
    // After the header: the picture's packet, when it went in as a stream.
    int writeAfterHeader(AVFormatContext *output) const;

private:
    CoverPicture m_cover;
    int m_coverStream = -1;
};

} // namespace sonivert
