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
    SourceFacts converterFacts() const;

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
