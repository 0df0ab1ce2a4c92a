#pragma once

#include "core/media/source_facts.h"

#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>

namespace sonivert {

// Field indices of a media item. Every reader and writer of a row addresses its fields by these
// numbers; 0 to 4 are the visible columns, the rest are hidden and known by their keys.
namespace Field {
enum : int {
    StateIcon = 0,
    Name = 1,
    Duration = 2,
    Format = 3,
    State = 4,
    SrcDuration = 5,
    FilePath = 6,
    FileSize = 7,
    FileDuration = 8,
    VideoStream = 9,
    AudioStream = 10,
    SubtitleStream = 11,
    VideoStreamCount = 12,
    VideoCodecName = 13,
    VideoWidth = 14,
    VideoHeight = 15,
    VideoBitRate = 16,
    VideoFrameRateNumerator = 17,
    VideoSampleAspectRatio = 18,
    VideoDurationLow = 19,
    VideoLanguage = 20,
    AudioStreamCount = 21,
    AudioCodecName = 22,
    AudioBitRate = 23,
    AudioSampleRate = 24,
    AudioChannels = 25,
    AudioDurationLow = 26,
    AudioLanguage = 27,
    FileTitle = 28,
    FileComment = 29,
    FileAuthor = 30,
    FileAlbum = 31,
    FileYear = 32,
    FileTrack = 33,
    FileGenre = 34,
    FileCopyright = 35,
    TrimStartLow = 36,
    TrimStartHigh = 37,
    TrimEndLow = 38,
    TrimEndHigh = 39,
    Filters = 40,
    Deinterlacing = 41,
    ConvertedFileName = 42,
    NewAspectRatio = 43,
    FileDurationLow = 44,
    FileDurationHigh = 45,
    ErrMsg = 46,
};
} // namespace Field

inline constexpr int MediaFieldCount = 47;
inline constexpr int VisibleFieldCount = 5;

enum class FieldType { Text, Integer, Boolean };

FieldType fieldTypeOf(int index);
// The column caption: " ", "Name", "Duration", "Format", "", then "SrcDuration" ... "ErrMsg".
QString fieldKey(int index);
// -1 when no field has that key.
int fieldIndexOfKey(const QString &key);

enum class RowState : int {
    InProgress = 0,
    Ready = 1,
    Done = 2,
    Failed = 3,
    Cancelled = 4,
};

// Icon ids of the list's icon strip (1 to 9 are the frames of the in-progress animation).
namespace ListIcon {
enum : int {
    None = 0,
    FirstFrame = 1,
    LastFrame = 9,
    Done = 10,
    Failed = 11,
    Ready = 12,
    Cancelled = 13,
    Trimmed = 14,
};
} // namespace ListIcon

// Text colours of the state cell as 0xRRGGBB.
inline constexpr uint32_t StateTextBlack = 0x000000;
inline constexpr uint32_t StateTextRed = 0xff0000;

// One row of the file list: the 47 field values (texts as QString, integers as int, Booleans as
// bool) and the display attributes of the cells that carry them.
struct MediaItem
{
    MediaItem(); // 47 empty fields: "", 0 or false by type

    std::array<QVariant, MediaFieldCount> fields;

    int stateIcon = ListIcon::None; // field 0
    int durationIcon = ListIcon::None; // field 2; the trim editor puts the trimmed mark here
    QString durationCaption; // field 2 as displayed; empty shows the value
    QString durationToolTip;
    QString srcDurationTag; // the tag of field 5, set together with its value
    uint32_t stateTextColour = StateTextBlack; // field 4
    int progress = -1; // 0..100 while field 4 shows the progress bar, else -1
    RowState state = RowState::Ready;
    // A person chose a range (trim editor, --trim). The trim fields of an untrimmed row hold the
    // probed whole range, which a container may misstate; only a chosen range is cut.
    bool trimmed = false;
    SourceFacts source; // what the converter needs beyond the fields; it names the chosen track
    // Every audio track gives an output of its own instead of the chosen one alone.
    bool allAudioTracks = false;

    // The value coerced to the field's type: "" / 0 / false for what does not read as such.
    QVariant get(int index) const;
    // Stores the value converted to the field's type; false for an index out of range.
    bool set(int index, const QVariant &value);

    QString text(int index) const;
    int integer(int index) const;
    bool boolean(int index) const;
};

// The decimal text of the signed reading of a 32-bit half ("-1294967296" for 3,000,000,000).
QString halfText(int32_t half);
// Joins two half texts back into the 64-bit value; unreadable texts count as 0.
int64_t joinHalfTexts(const QString &low, const QString &high);

} // namespace sonivert
