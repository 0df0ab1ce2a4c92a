#pragma once

#include <QString>
#include <QStringList>

namespace sonivert {

// ffmpeg's log levels (AV_LOG_*).
enum FfmpegLogLevel : int {
    LogPanic = 0,
    LogFatal = 8,
    LogError = 16,
    LogWarning = 24,
    LogInfo = 32,
    LogVerbose = 40,
    LogDebug = 48,
    LogTrace = 56,
};

struct FfmpegLogLine
{
    int level = LogInfo;
    QString text; // without the "[component @ 0x...] " prefixes and the level tag
};

// One line of ffmpeg's standard error under "-loglevel level+...".
FfmpegLogLine parseFfmpegLogLine(const QString &line);

inline const QString NoSpaceMessage
    = QStringLiteral("av_interleaved_write_frame(): No space left on device");
inline const QString RejectedParametersMessage = QStringLiteral(
    "transcode_init() error: Invalid argument / Invalid data found when processing input");
inline const QString NoSoundTrackMessage
    = QStringLiteral("This file has no sound track, so there is nothing to convert.");

struct FailureFacts
{
    QString inputPath;
    QString outputPath;
    bool inputHasAudio = true;
};

// The message of a failed task from ffmpeg's error lines (level error or worse, already parsed):
// the fixed texts for a full disk and for an encoder that rejects its parameters, a plain
// statement for an input without sound, else the line that names the input or output and its
// reason, else the last error line.
QString engineMessage(const QStringList &errorLines, const FailureFacts &facts);

// The warning ffmpeg gives, with exit code 0, when the input ended early ("...: partial file").
bool reportsPartialFile(const QString &text);

} // namespace sonivert
