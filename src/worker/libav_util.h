#pragma once

#include "worker/audio_conversion.h"
#include "worker/libav_handles.h"

#include <string>

namespace sonivert {
class SourceExtras;
}

namespace sonivert::worker {

// libav's text for an AVERROR code.
std::string errorText(int error);

// The steps a conversion and a stream copy share. Each logs ffmpeg's error line to the reporter
// and returns false (or -1) when it fails.

// Opens the task's input and picks the task's audio track (or the file's default); every other
// stream is discarded. The stream's index, or -1.
int openSourceAudio(const ConversionSpec &spec, ConversionReporter &reporter, InputContext &input);

// Makes the output context of the muxer the output's name asks for, with the task's tags. An
// existing file is refused unless the task is a segment, which writes no file of that name.
bool createOutput(const ConversionSpec &spec, ConversionReporter &reporter, OutputContext &output);

// The output's sound is tagged with the language of the source's track, where it names one.
void keepTrackLanguage(const AVStream *source, AVStream *output);

// Adds the cover and the chapters the task asks for, opens the output file and writes its header.
bool writeOutputHeader(const ConversionSpec &spec, ConversionReporter &reporter,
    AVFormatContext *input, AVFormatContext *output, SourceExtras &extras);

// Writes the trailer and closes the output file.
bool finishOutput(
    const ConversionSpec &spec, ConversionReporter &reporter, AVFormatContext *output);

} // namespace sonivert::worker
