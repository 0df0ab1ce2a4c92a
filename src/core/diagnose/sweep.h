#pragma once

#include "core/formats/output_settings.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

namespace sonivert {

// The diagnosis sweeps: which settings are walked through for the problem file.
enum class SweepKind {
    AudioSettings, // every audio codec, channels, (sample size,) sample rate and bit rate
    Presets, // every row of the preset table
    VideoCodecs, // every video codec of the current format
};

// What one conversion of the list left in its first row.
struct StepOutcome
{
    bool ran = true; // false: the front end went away under the step; nothing to write
    QString state; // the state text ("Done", "Unsuccessful!", "Canceled!")
    QString message; // the error message
};

// One combination and how its conversion went; state and message trimmed.
struct SweepResult
{
    QString combination; // "   MP3:Stereo:16 bit:44100 Hz:128 kbps   "
    QString state;
    QString message;

    bool failed() const;
};

inline const QString FailedStateText = QStringLiteral("Unsuccessful!");
inline const QString CancelledStateText = QStringLiteral("Canceled!");

// "   " + the texts joined with ":" + "   ".
QString combinationText(const QStringList &entryTexts);
// The line written for a result (without its line end): combination, state, "   ", message.
QString resultLine(const SweepResult &result);
// With failedOnly, only failed combinations are written.
bool shouldWrite(const SweepResult &result, bool failedOnly);

// Converts the list once with the current output settings. The GUI starts the main window's
// run and waits for its end; the command line runs an encoder of its own.
class DiagnosisStepRunner
{
public:
    virtual ~DiagnosisStepRunner() = default;
    // A step that cannot start a conversion still reports an outcome (the reason it could not),
    // and the sweep goes on.
    virtual StepOutcome runStep() = 0;
    // Runs before every step: a front end lets what the person did meanwhile take effect, so
    // that a Stop given while the last step ended is seen before the next one begins.
    virtual void beforeStep() { }
    // Asked before and after every step: true ends the sweep there.
    virtual bool stopRequested() const { return false; }
    // Whether the sample-size list takes part; asked anew for every channels entry.
    virtual bool sampleSizeShown(const OutputSettings &settings) const;
};

enum class SweepEnd {
    Completed,
    Stopped, // stopRequested() said so
    Abandoned, // a step could not run at all: its front end went away
};

struct SweepSummary
{
    SweepEnd end = SweepEnd::Completed;
    int steps = 0;
    int failures = 0;
};

// Walks through the combinations of the kind in their fixed order, running one step per
// combination and handing every result to onResult. The preset table and the applied preset are
// put back afterwards: choosing entries stores them into the selected preset's row, which must
// not outlive the sweep.
SweepSummary runSweep(OutputSettings &settings, SweepKind kind, DiagnosisStepRunner &runner,
    const std::function<void(const SweepResult &)> &onResult);

// "audio", "presets", "video" (any letter case).
std::optional<SweepKind> sweepKindFromName(const QString &name);

} // namespace sonivert
