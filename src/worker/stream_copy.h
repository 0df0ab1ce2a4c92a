#pragma once

#include "worker/audio_conversion.h"

namespace sonivert::worker {

// Copies the task's audio track into its output as it is, packet by packet, without decoding:
// the timestamps move to the output's time line, the codec parameters stay. A cut keeps the
// packets from the first one that starts at its start to the last one that starts before its
// end, as the ffmpeg program's stream copy does. True when the output was written whole; false
// after an error line was logged.
bool copyAudio(const ConversionSpec &spec, ConversionReporter &reporter);

} // namespace sonivert::worker
