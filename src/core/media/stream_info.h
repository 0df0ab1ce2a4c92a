#pragma once

#include <QString>
#include <cstdint>

struct AVFormatContext;
struct AVStream;

namespace sonivert {

// What one video stream of an open container says, in the decoder's units: -1 for numbers and ""
// for texts when there is no such stream.
struct VideoStreamInfo
{
    QString codecName;
    int width = -1;
    int height = -1;
    int bitRate = -1;
    int frameRateNumerator = -1;
    int frameRateDenominator = -1;
    int darNumerator = -1; // 0 with the denominator when the frame size is unknown
    int darDenominator = -1;
    float displayAspectRatio = -1.0f;
    int32_t durationLow = -1;
    QString language;
};

struct AudioStreamInfo
{
    QString codecName;
    int bitRate = -1;
    int sampleRate = -1;
    int channels = -1;
    int32_t durationLow = -1;
    QString language;
};

// The tags of a file: the container's, else its first audio stream's (Ogg keeps them there).
struct FileTags
{
    QString title;
    QString comment;
    QString author; // the artist, else the author
    QString album;
    QString genre;
    QString copyright;
    int year = 0; // leading digits of the date, else of the year; 0 without any
    int track = 0;
};

// A null stream or context reads as unknown.
VideoStreamInfo readVideoStreamInfo(const AVFormatContext *context, const AVStream *stream);
AudioStreamInfo readAudioStreamInfo(const AVStream *stream);
FileTags readFileTags(const AVFormatContext *context, const AVStream *firstAudio);

} // namespace sonivert
