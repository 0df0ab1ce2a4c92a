#pragma once

// Plain C++ over libavformat: the worker, which has no Qt, shares it with the probe.
struct AVFormatContext;

namespace sonivert {

// The audio stream a file converts when no track is chosen: the first one marked default, else
// the first audio stream. -1 when there is none.
int defaultAudioStreamIndex(const AVFormatContext *context);

// The stream index of audio track `track` (0 for the first audio stream, in file order); -1
// when the file has no such track.
int audioStreamOfTrack(const AVFormatContext *context, int track);

// The number of audio tracks before stream `streamIndex`: its track number from 0. -1 when the
// stream is not an audio stream.
int audioTrackOfStream(const AVFormatContext *context, int streamIndex);

} // namespace sonivert
