#pragma once

#include "core/media/media_item.h"

#include <QString>
#include <array>

class QDateTime;

namespace sonivert {

// One value label of the information panel or the properties dialog. Values that probing could
// not determine read "Not Available" and are shown greyed.
struct InfoText
{
    QString text;
    bool available = false;
};

inline constexpr int InputInfoLabelCount = 9;
inline constexpr int PropertiesLabelCount = 27;

// "", "0", "x", "-1 x -1", "-1" and "1:1" (after trimming) mean "not determined".
bool isNotAvailableValue(const QString &value);
// The value as an integer divided by 1000, truncated: "128000" gives "128 kbps".
QString bitRateText(const QString &value);
// "1 Channel (Mono)", "2 Channels (Stereo)", otherwise "6 Channels".
QString channelText(const QString &value);
// The dialog's description of an aspect text: "1.78" gives "1.78:1 - (16:9)  Widescreen".
QString aspectDescription(const QString &aspectText);

// File attributes as bits, as the dialog names them.
namespace FileAttribute {
enum : int {
    ReadOnly = 1,
    Hidden = 2,
    System = 4,
    Archive = 32,
    Normal = 128,
};
} // namespace FileAttribute

// "Hidden, Read-only, System, Normal, Archive" for the bits set, in that order; "" for none.
QString attributeText(int attributes);
// Hidden for a dot-file, read-only when not writable, Normal when neither.
int linuxFileAttributes(const QString &path);

// Labels 0 to 8 of the information panel for one row.
std::array<InfoText, InputInfoLabelCount> inputFileInfoTexts(const MediaItem &item);

// What the properties dialog knows about the file itself.
struct FileFacts
{
    QString path; // folder field + name field
    bool read = false; // false when the file had gone: every fact below stays empty
    QString typeDescription;
    QString sizeText; // "4.88 kB (5,000 bytes)"
    QString created;
    QString accessed;
    QString modified;
    int attributes = 0;
};

// Reads the file's facts when the dialog opens; a file that has gone gives only its path.
FileFacts readFileFacts(const MediaItem &item);
// "dddd, MMMM dd, yyyy, hh:mm:ss AP" in the system locale; "" for an invalid time.
QString fileDateText(const QDateTime &time);

// Labels 0 to 26 of the properties dialog (13 and 18 stay empty and unavailable). The labels are
// filled in order and the file's own facts come third: when they could not be read, only the
// name and the extension are shown, as they are, and every later label stays empty.
std::array<InfoText, PropertiesLabelCount> propertiesInfoTexts(
    const MediaItem &item, const FileFacts &facts);

} // namespace sonivert
