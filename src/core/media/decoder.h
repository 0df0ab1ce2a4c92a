#pragma once

#include "core/media/source_facts.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>

struct AVFormatContext;
struct AVStream;

namespace sonivert {

// Reads a media file's container facts through libavformat. One file is open at a time; every
// query answers for that file. Absent streams (index -1) give -1 for numbers, "" for texts and
// false for Booleans; unknown times are UnknownTime (low half 0, high half 0x80000000).
// A context belongs to one thread at a time; separate decoders may work in parallel.
class Decoder
{
public:
    explicit Decoder(int readTimeoutMs = 30000);
    ~Decoder();
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    // Stops a blocked open or read as soon as the flag is set (besides the read time-out).
    void SetAbortFlag(const std::atomic_bool *abort) { abort_ = abort; }

    bool OpenFile(const QString &path, const QString &inputOptions = QString());
    // "PATH: reason" for the last failed open, or "".
    QString LastErrorText() const { return lastError_; }
    void CloseFile();
    bool IsOpen() const { return context_ != nullptr; }

    int32_t GetFileInfoDurationLow() const;
    int32_t GetFileInfoDurationHigh() const;
    int64_t FileDuration() const; // microseconds or UnknownTime
    int32_t FileSizeLow() const;

    int FirstVideoStreamIndex() const { return firstVideo_; }
    int FirstAudioStreamIndex() const { return firstAudio_; }
    int FirstSubtitleStreamIndex() const { return firstSubtitle_; }
    bool IsVideoStream(int index) const;
    bool IsAudioStream(int index) const;
    bool IsSubtitleStream(int index) const;
    int VideoStreamCount() const { return videoCount_; }
    int AudioStreamCount() const { return audioCount_; }

    QString GetVideoInfosCodecName(int index) const;
    int GetVideoInfosWidth(int index) const;
    int GetVideoInfosHeight(int index) const;
    int GetVideoInfosBitRate(int index) const;
    int GetVideoInfosFrameRateNumerator(int index) const;
    int GetVideoInfosFrameRateDenominator(int index) const;
    float GetVideoInfosDisplayAspectRatio(int index) const;
    int GetVideoInfosDARNumerator(int index) const;
    int GetVideoInfosDARDenominator(int index) const;
    int32_t GetVideoInfosDurationLow(int index) const;
    QString GetVideoInfosLanguage(int index) const;

    QString GetAudioInfosCodecName(int index) const;
    int GetAudioInfosBitRate(int index) const;
    int GetAudioInfosSampleRate(int index) const;
    int GetAudioInfosChannels(int index) const;
    int32_t GetAudioInfosDurationLow(int index) const;
    QString GetAudioInfosLanguage(int index) const;

    // What the converter needs of the open file (durations, the song tags).
    SourceFacts ConverterFacts() const;

    // Tags of the container, else of the first audio stream (Ogg keeps them there).
    QString GetFileInfoTitle() const;
    QString GetFileInfoComment() const;
    QString GetFileInfoAuthor() const;
    QString GetFileInfoAlbum() const;
    QString GetFileInfoGenre() const;
    QString GetFileInfoCopyright() const;
    int GetFileInfoYear() const;
    int GetFileInfoTrack() const;

private:
    struct ContextDeleter
    {
        void operator()(AVFormatContext *context) const;
    };
    struct DisplayAspect
    {
        int numerator = -1;
        int denominator = -1;
    };

    static int interruptCallback(void *opaque);
    bool shouldInterrupt() const;
    const AVStream *stream(int index, int mediaType) const;
    DisplayAspect displayAspect(int index) const;
    QString tag(const char *key) const;
    int32_t streamDurationLow(const AVStream *s) const;

    int readTimeoutMs_;
    const std::atomic_bool *abort_ = nullptr;
    std::atomic<int64_t> deadline_ { 0 }; // monotonic microseconds
    std::unique_ptr<AVFormatContext, ContextDeleter> context_;
    QString path_;
    QString lastError_;
    int64_t fileSize_ = -1;
    int firstVideo_ = -1;
    int firstAudio_ = -1;
    int firstSubtitle_ = -1;
    int videoCount_ = 0;
    int audioCount_ = 0;
};

} // namespace sonivert
