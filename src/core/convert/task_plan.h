#pragma once

#include "core/media/source_facts.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <functional>
#include <optional>

namespace sonivert {

// What the option builder decides for one file. Both the option string a person reads and the
// ffmpeg command line are written from it, and an engine that converts in process reads it
// instead of parsing either.
struct EncodePlan
{
    bool audio = true; // false: " -an "
    // The source's audio packets go into the output as they are (" -acodec copy"): no channels,
    // rate, bit rate or encoder apply.
    bool copyAudio = false;
    int channels = 0; // 1, 2 or 6; 0 when no channels entry is chosen
    QString sampleRate; // as the settings give it, without "Hz": "44100"
    int audioBitrateKbps = 64;
    QString audioEncoder; // the "-acodec" value, "libmp3lame"; "" when the codec maps to none
    bool video = false; // false: " -vn"
    int frameRate = 0;
    QString aspect;
    int videoBitrateKbps = 200;
    QStringList videoCodecWords; // { "-vcodec", "mpeg4", "-vtag", "xvid" } and the like
    QString durationOption; // " -t 60.5", or ""; the command line takes the task's cut instead
    QString videoFilters; // "scale=640:480,yadif", or ""
    // The bit rate estimated for a value of "0" or the choice "Smart Fit"; -1 when none was.
    int videoBitrateEstimate = -1;
};

// The part of a source a task converts, in microseconds from the file's start. The default is
// the whole sound, whatever the container says of its start time or its length.
struct TaskCut
{
    qint64 startUs = 0;
    qint64 lengthUs = -1; // -1: to the end of the sound

    bool isWhole() const { return startUs <= 0 && lengthUs < 0; }
    bool operator==(const TaskCut &) const = default;
};

// What one row of a run is queued with. The option texts are the ones a person reads (the
// report, the dry run, the diagnosis); the cut is what the engine actually applies.
struct TaskPlan
{
    QString inputOptions; // the seek option, or ""
    QString outputOptions; // the encoder option string
    QString extension; // the output extension, upper-case ("MP3")
    TaskCut cut;
    SourceFacts source; // what the probe read of the input
    // What the option string says, as values, when it was written from settings; a row planned
    // with hand-written option texts has none and runs on the ffmpeg program from its texts.
    std::optional<EncodePlan> encoding;
    // What the output's name adds to the source's before the extension: " (track 2, eng)" for
    // one track of several converted each into its own file; "" otherwise.
    QString nameSuffix;
};
using TaskPlanner = std::function<TaskPlan(int row)>;

} // namespace sonivert
