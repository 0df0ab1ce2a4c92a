#pragma once

#include "core/media/media_item.h"

#include <QString>
#include <atomic>

namespace sonivert {

class FailureReport;
class FileListModel;

struct ProbeResult
{
    bool ok = false;
    MediaItem item; // complete when ok
    QString name; // file name with extension, for the report line
    QString message; // the report line's message when not ok
    // Not ok, the decoder found invalid data, and the container shows encrypted content.
    bool encrypted = false;
};

struct ProbeOptions
{
    int readTimeoutMs = 30000;
    const std::atomic_bool *abort = nullptr;
};

// Probes one file into a complete item with all 47 fields, or into a report line. Safe to call
// from several threads at once.
ProbeResult probeMediaFile(const QString &path, const ProbeOptions &options = {});

// Appends the probed row (ready) or adds the report line; either way the last row of the list is
// then set to ready.
void ProbeFile(const QString &path, FileListModel &list, FailureReport &report);
// What every probe ends with, whatever its outcome: the list's last row is shown as ready again
// (a row of an earlier run included).
void readyLastRow(FileListModel &list);

// A name ending in a part in parentheses becomes that part without them:
// "AAC (Advanced Audio Coding)" gives "Advanced Audio Coding"; other names stay as they are.
QString NormaliseCodecName(const QString &name);

// The decimal aspect text of field 18 ("1.78", "1.33", "2.5"...), "1.1" for a height of 0
// (which is also what a file without video gets).
QString ClassifyAspectRatio(
    int width, int height, int darNumerator, int darDenominator, float displayAspectRatio);

// Whole frames per second of field 17: numerator / denominator truncated; 0 and -1 stay as they
// are, and a zero denominator keeps the numerator.
int frameRateField(int numerator, int denominator);

// "a.b.mkv" for ".../a.b.mkv".
QString fileNameOf(const QString &path);
// The parent folder of the path with a trailing "/".
QString folderOf(const QString &path);

} // namespace sonivert
