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
    void setAbortFlag(const std::atomic_bool *abort) { m_abort = abort; }

    bool OpenFile(const QString &path, const QString &inputOptions = QString());
    // "PATH: reason" for the last failed open, or "".
    QString LastErrorText() const { return m_lastError; }
    void CloseFile();
    bool isOpen() const { return m_context != nullptr; }

    int32_t GetFileInfoDurationLow() const;
    int32_t GetFileInfoDurationHigh() const;
    int64_t fileDuration() const; // microseconds or UnknownTime
    int32_t FileSizeLow() const;

    int FirstVideoStreamIndex() const { return m_firstVideo; }
    int FirstAudioStreamIndex() const { return m_firstAudio; }
    int FirstSubtitleStreamIndex() const { return m_firstSubtitle; }
    bool IsVideoStream(int index) const;
    bool IsAudioStream(int index) const;
    bool IsSubtitleStream(int index) const;
    int VideoStreamCount() const { return m_videoCount; }
    int AudioStreamCount() const { return m_audioCount; }

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
    SourceFacts converterFacts() const;

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

    int m_readTimeoutMs;
    const std::atomic_bool *m_abort = nullptr;
    std::atomic<int64_t> m_deadline { 0 }; // monotonic microseconds
    std::unique_ptr<AVFormatContext, ContextDeleter> m_context;
    QString m_path;
    QString m_lastError;
    int64_t m_fileSize = -1;
    int m_firstVideo = -1;
    int m_firstAudio = -1;
    int m_firstSubtitle = -1;
    int m_videoCount = 0;
    int m_audioCount = 0;
};

} // namespace sonivert
