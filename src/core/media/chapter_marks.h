#pragma once

// Plain C++ over libav: the worker, which has no Qt, shares it with the probe and the ffmpeg
// engine's job, so that both engines carry the same chapters.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct AVFormatContext;

namespace sonivert {

// A chapter on the source's time line (from where its first stream starts), in microseconds.
struct ChapterMark
{
    int64_t startUs = 0;
    int64_t endUs = 0;
    std::string title;

    bool operator==(const ChapterMark &) const = default;
};

// How an output of an extension ("MP3", "m4a", any case) keeps chapters.
enum class ChapterHolder {
    None,
    Container, // MP4 chapters, ID3v2 CHAP, Matroska chapters: the muxer writes them
    Comments, // CHAPTERnnn and CHAPTERnnnNAME comments (Ogg, Opus, FLAC)
};
ChapterHolder chapterHolderOf(const std::string &extension);

// The chapters of an open file.
std::vector<ChapterMark> chapterMarksOf(const AVFormatContext *context);

// The chapters of an output cut at startUs for lengthUs (-1: to the end), as ffmpeg carries
// them: moved to the cut's start, those that end before it dropped, the rest clipped to its end.
std::vector<ChapterMark> chaptersWithin(
    const std::vector<ChapterMark> &chapters, int64_t startUs, int64_t lengthUs);

// The comments that hold chapters: CHAPTER000=00:01:02.500, CHAPTER000NAME=title, ...
std::vector<std::pair<std::string, std::string>> chapterComments(
    const std::vector<ChapterMark> &chapters);

// Before the output's header is written: the chapters into its container. The number added.
int addChapters(AVFormatContext *output, const std::vector<ChapterMark> &chapters);

} // namespace sonivert
