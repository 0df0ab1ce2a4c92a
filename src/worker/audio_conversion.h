#pragma once

#include "core/media/cover_art.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sonivert::worker {

// One conversion as the task message gives it: the values of the plan's option string.
struct ConversionSpec
{
    std::string input;
    std::string output; // written as is; the muxer follows its extension as ffmpeg's does
    std::string encoder; // "" for the muxer's default audio encoder
    bool copy = false; // the audio packets go into the output as they are (see copyAudio)
    int track = -1; // the audio track converted, from 0; -1 for the file's default
    int channels = 2;
    int sampleRate = 44100;
    int64_t bitRate = 64000; // bits per second
    int64_t startUs = 0; // the cut, counted from the file's start, applied after decoding
    int64_t lengthUs = -1; // -1: to the end of the sound
    std::vector<std::pair<std::string, std::string>> tags; // container tags, in order
    CoverChoice cover = CoverChoice::Source; // where the output holds a picture
    bool chapters = true; // the source's chapters, cut as the sound is, where the output holds them
    // A segment of a conversion split across workers: the samples [segmentFrom, segmentTo) of
    // the cut (-1: to its end), moved onto the encoder's frame grid, are encoded with the lead-in
    // and lead-out that a seamless join needs, and the packets go to packetFile, not to output.
    std::string packetFile;
    int64_t segmentFrom = 0;
    int64_t segmentTo = -1;
    // A join: these segment files of the same conversion, in order, are muxed into output.
    std::vector<std::string> joinParts;
};

// Where a conversion reports. Log lines carry ffmpeg's levels (AV_LOG_*) and, for the lines
// the worker writes itself, ffmpeg's own wording, so that a failure reads the same.
class ConversionReporter
{
public:
    virtual ~ConversionReporter() = default;
    virtual void progress(int64_t outTimeUs) = 0;
    virtual void log(int level, const std::string &line) = 0;
    // The METADATA_BLOCK_PICTURE comment the output's header carries, once it is written.
    virtual void pictureComment(const std::string &) { }
};

// Converts the task's input into its output: demux, decode the task's audio track,
// resample and remix, cut, buffer to the encoder's frame size, encode and mux. True when the
// output was written whole; false after an error line was logged.
bool convertAudio(const ConversionSpec &spec, ConversionReporter &reporter);

// The sample format ffmpeg's format negotiation gives an encoder that takes formats, for a source
// of format source (both AVSampleFormat values; formats ends with -1).
int negotiatedSampleFormat(int source, const int *formats);

} // namespace sonivert::worker
