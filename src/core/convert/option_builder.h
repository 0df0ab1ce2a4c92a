#pragma once

#include "core/convert/run_progress.h"
#include "core/convert/task_plan.h"
#include "core/formats/setting_choices.h"

#include <QList>
#include <QString>
#include <cstdint>

namespace sonivert {

class OutputSettings;
struct MediaItem;

// What the option builder reads from the output settings, as the settings dialog shows it.
struct EncoderOptionSettings
{
    QString videoCodec;
    QString fps;
    QString fileExtension;
    QString audioCodec;
    QString sampleRate;
    QString audioBitrate;
    int channelsPosition = -1; // 0 Mono, 1 Stereo, 2 5.1 Surround; -1 nothing selected
    QString audioSize;
    QString aspectRatio;
    QString videoBitrateChoice;
    int width = 0; // 0 x 0: the size of the source
    int height = 0;
    QString videoBitrateValue; // the text of the bit-rate box
    int videoBitrateMaximum = -1; // the box's upper limit; -1 for none
    QualityLevel quality = QualityLevel::Standard;
};

EncoderOptionSettings readEncoderOptionSettings(const OutputSettings &settings);

EncodePlan planEncoding(const MediaItem &item, const EncoderOptionSettings &settings);
// The option string of a plan, "-VideoOutputHook  -ac 2 -ar 44100 ...", as people read it.
QString optionString(const EncodePlan &plan);
// The same decisions as ffmpeg output options: the words ffmpeg gets from the option string,
// without the engine's own "-VideoOutputHook" and without the duration (the command line cuts
// by the task's cut), and with this ffmpeg's AAC encoder for libfaac, which it lacks.
QStringList ffmpegOutputWords(const EncodePlan &plan);
// The "-acodec" value ffmpeg gets for a plan; "" when the muxer's default is left to choose.
QString ffmpegAudioEncoder(const EncodePlan &plan);

// The option string of one file. A bit-rate value of "0" or the choice "Smart Fit" makes the
// builder estimate the video bit rate; the estimate replaces the value, so with "0" the first
// file's estimate also serves the files after it.
QString BuildEncoderOptions(const MediaItem &item, EncoderOptionSettings &settings);
// The same over the settings of a run; an estimate goes back through SetVideoBitrateValue.
QString BuildEncoderOptions(const MediaItem &item, OutputSettings &settings);

// " -ss 12.5", or "" when the start low text is "" or "-1".
QString BuildSeekOption(const QString &startLow, const QString &startHigh);
// " -t 60.5" (end minus start), or "" when the end low text is "" or "-1".
QString BuildDurationOption(const QString &startLow, const QString &startHigh,
    const QString &endLow, const QString &endHigh);

// Seconds of a microsecond count with "." as the decimal point and no trailing zeros: "12.5",
// "3", "0.04", never an exponent.
QString secondsText(int64_t microseconds);

// Appends filter to a comma-separated chain; an empty filter changes nothing.
void AppendVideoFilter(QString &chain, const QString &filter);

// width / height to two decimals, halves to even, without trailing zeros: "1.78", "1.33", "2".
// "" for a height of 0.
QString SmartFitAspect(int width, int height);

// The text as a decimal number ("." as the decimal point) rounded to a whole number, halves to
// even, when that lies in -32768..32767; otherwise fallback.
int ToIntegerOr(const QString &text, int fallback);

// The FileExtention choice trimmed and upper-cased: the extension outputs are named with.
QString currentOutputExtension(const EncoderOptionSettings &settings);
QString currentOutputExtension(const OutputSettings &settings);

// The part of a row's file to convert: the whole sound unless the row is trimmed. A trimmed
// range that ends where the file ends runs to the end of the sound.
TaskCut taskCutOf(const MediaItem &item);

// The seek option, the option string, the output extension and the cut of one row, for the
// track it converts. A copy of the original audio takes the extension of the track's codec.
TaskPlan planTask(const MediaItem &item, OutputSettings &settings);
// The plans of a row's outputs: one, or one per audio track when the row converts them all,
// each named with its track.
QList<TaskPlan> planRowTasks(const MediaItem &item, OutputSettings &settings);

} // namespace sonivert
