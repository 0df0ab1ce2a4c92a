#pragma once

#include "core/media/source_facts.h"
#include "core/media/stream_info.h"

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

    // Per-stream facts; StreamInfo reads them.
    QString GetVideoInfosCodecName(int index) const { return videoInfo(index).codecName; }
    int GetVideoInfosWidth(int index) const { return videoInfo(index).width; }
    int GetVideoInfosHeight(int index) const { return videoInfo(index).height; }
    int GetVideoInfosBitRate(int index) const { return videoInfo(index).bitRate; }
    int GetVideoInfosFrameRateNumerator(int i) const { return videoInfo(i).frameRateNumerator; }
    int GetVideoInfosFrameRateDenominator(int i) const { return videoInfo(i).frameRateDenominator; }
    float GetVideoInfosDisplayAspectRatio(int i) const { return videoInfo(i).displayAspectRatio; }
    int GetVideoInfosDARNumerator(int index) const { return videoInfo(index).darNumerator; }
    int GetVideoInfosDARDenominator(int index) const { return videoInfo(index).darDenominator; }
    int32_t GetVideoInfosDurationLow(int index) const { return videoInfo(index).durationLow; }
    QString GetVideoInfosLanguage(int index) const { return videoInfo(index).language; }

    QString GetAudioInfosCodecName(int index) const { return audioInfo(index).codecName; }
    int GetAudioInfosBitRate(int index) const { return audioInfo(index).bitRate; }
    int GetAudioInfosSampleRate(int index) const { return audioInfo(index).sampleRate; }
    int GetAudioInfosChannels(int index) const { return audioInfo(index).channels; }
    int32_t GetAudioInfosDurationLow(int index) const { return audioInfo(index).durationLow; }
    QString GetAudioInfosLanguage(int index) const { return audioInfo(index).language; }

    // What the converter needs of the open file (durations, the song tags).
    SourceFacts ConverterFacts() const;

    FileTags tags() const;
    QString GetFileInfoTitle() const { return tags().title; }
    QString GetFileInfoComment() const { return tags().comment; }
    QString GetFileInfoAuthor() const { return tags().author; }
    QString GetFileInfoAlbum() const { return tags().album; }
    QString GetFileInfoGenre() const { return tags().genre; }
    QString GetFileInfoCopyright() const { return tags().copyright; }
    int GetFileInfoYear() const { return tags().year; }
    int GetFileInfoTrack() const { return tags().track; }

private:
    struct ContextDeleter
    {
        void operator()(AVFormatContext *context) const;
    };
    static int interruptCallback(void *opaque);
    bool shouldInterrupt() const;
    const AVStream *stream(int index, int mediaType) const;
    VideoStreamInfo videoInfo(int index) const;
    AudioStreamInfo audioInfo(int index) const;

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
