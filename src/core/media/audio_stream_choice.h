#pragma once

// Plain C++ over libavformat: the worker, which has no Qt, shares it with the probe.
struct AVFormatContext;

namespace sonivert {

// The audio stream ffmpeg converts when no stream is chosen: the one with the most channels,
// a default stream before others, the first among equals. -1 when there is none.
int defaultAudioStreamIndex(const AVFormatContext *context);

} // namespace sonivert
