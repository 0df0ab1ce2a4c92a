#pragma once

#include "core/convert/run_progress.h"

#include <QString>
#include <QtGlobal>

namespace sonivert {

// How much sound a file holds, read from its packets without decoding them: the audio stream
// ffmpeg would convert, with its place on the file's time line (which starts at 0 where the
// container's earliest stream starts).
struct SoundExtent
{
    bool readable = false;
    QString error; // why the file could not be read
    bool hasAudio = false;
    qint64 startUs = 0; // the first packet's time
    qint64 endUs = 0; // the end of the last packet
    // The packets' durations added up. A packet without one lasts until the next begins; the
    // last one, when it has none, is not counted (nothing short of decoding it tells its length).
    qint64 lengthUs = 0;
    qint64 frameUs = 0; // the longest packet: one codec frame
    bool lastUntimed = false; // the last packet's length is unknown
};

// The audio stream measured is audio track `track` (from 0), or with -1 the one a file converts
// when no track is chosen.
SoundExtent measureSound(const QString &path, int track = -1);

// What a task is expected to produce.
struct ExpectedSound
{
    bool audio = true; // false when the plan drops the sound ("-an")
    qint64 probedUs = -1; // the source's sound length as its container states it; -1 unknown
    TaskCut cut;
    int sourceTrack = -1; // the source's audio track converted (from 0); -1 for its default
};

struct OutputVerdict
{
    bool whole = false;
    QString message; // why not, for the person: "The output holds 0.0 s of the expected 3.1 s."
};

// Whether output holds the whole sound asked of input: its length, within one codec frame on
// each side or 1 %, whichever is larger. The source is read only when the container's word is
// not enough to tell (no duration, or an output shorter than it claims).
OutputVerdict checkOutput(
    const QString &output, const QString &input, const ExpectedSound &expected);

// The length a cut of a source is expected to give: the part of [start, start + length) that
// the sound [soundStartUs, soundEndUs) covers.
qint64 cutLength(const TaskCut &cut, qint64 soundStartUs, qint64 soundEndUs);

} // namespace sonivert
