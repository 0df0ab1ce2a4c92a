#pragma once

#include "core/media/audio_stream_choice.h"
#include "core/media/chapter_marks.h"

#include <QList>
#include <QPair>
#include <QString>
#include <cstdint>
#include <vector>

struct AVFormatContext;

namespace sonivert {

// Tags a person reads (title, artist, album, ...), as key and value, keys in ffmpeg's generic
// lower-case spelling.
using SongTags = QList<QPair<QString, QString>>;

// One audio stream of a source, as a person chooses among them.
struct AudioTrack
{
    int number = 0; // among the file's audio streams, from 1
    QString codec; // libavcodec's short name: "aac", "ac3", "pcm_s16le"
    QString codecName; // its long name as the file list shows it: "Advanced Audio Coding"
    int channels = 0;
    int sampleRate = 0;
    int64_t bitRate = 0; // bits per second; 0 when unknown
    QString language; // as the file tags it ("eng"), or ""
    QString title;
    bool isDefault = false; // marked as the default track
    int64_t durationUs = -1; // the stream's own duration; -1 when unknown
    int streamIndex = -1; // among all of the file's streams
    // The song tags of an output made from this track: the container's, completed by the
    // track's own (Ogg and Opus keep them there).
    SongTags songTags {};

    bool operator==(const AudioTrack &) const = default;
};

// What the converter needs to know of a source beyond what the file list shows: read by the
// probe, carried with the row into its task, so the engine never opens the input a second time.
struct SourceFacts
{
    int64_t durationUs = -1; // the container's duration; -1 when unknown
    int64_t audioDurationUs = -1; // the converted audio stream's own duration; -1 when unknown
    bool hasAudio = false;
    QList<AudioTrack> audioTracks; // every audio stream, in file order
    // The track a task converts: an index into audioTracks; -1 for a file without sound.
    int audioTrack = -1;
    int audioStream = -1; // the file's stream index of audioTrack; -1 when there is none
    int coverStream = -1; // the index of the attached picture carried as cover; -1 when none
    int coverCodec = 0; // its AVCodecID
    int videoStream = -1; // the first video that is not a cover, to take a frame from; -1: none
    std::vector<ChapterMark> chapters;
    // The converted track's song tags. Container bookkeeping (brands, encoder, handler) is
    // left out.
    SongTags tags;
};

// The facts with track `index` (into audioTracks) as the one converted; false, and the facts
// unchanged, when there is no such track.
bool chooseAudioTrack(SourceFacts &facts, int index);

// The facts of an open file.
SourceFacts sourceFactsOf(const AVFormatContext *context);
// Opens path to read its facts; all unknown when it cannot be opened.
SourceFacts readSourceFacts(const QString &path);

// The song tags among a file's container and stream tags, in a stable order.
SongTags readableTags(const QList<QPair<QString, QString>> &containerTags,
    const QList<QPair<QString, QString>> &streamTags);

} // namespace sonivert
