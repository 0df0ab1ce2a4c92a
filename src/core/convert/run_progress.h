#pragma once

#include "core/media/source_facts.h"

#include <QString>
#include <QtGlobal>
#include <functional>

namespace sonivert {

// The part of a source a task converts, in microseconds from the file's start. The default is
// the whole sound, whatever the container says of its start time or its length.
struct TaskCut
{
    qint64 startUs = 0;
    qint64 lengthUs = -1; // -1: to the end of the sound

    bool IsWhole() const { return startUs <= 0 && lengthUs < 0; }
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
};
using TaskPlanner = std::function<TaskPlan(int row)>;

// The total bar's text: value / taskCount with at least two digits, then "%" ("05%", "40%").
QString TotalBarText(int value, int taskCount);

// Whole percent of a task from its position and length; -1 when the length is unknown.
int TaskPercent(qint64 positionUs, qint64 totalUs);

// Why a run ended before its last row: the person's Stop, or one of the three engine messages
// that stop the whole run, each with its own explanation.
enum class RunStopReason {
    None,
    UserStop,
    DiskFull,
    FormatParameters,
};
RunStopReason ClassifyTaskMessage(const QString &message);
// What the person is told when a run stops for reason, writing into folder; "" for None and
// UserStop.
QString StopExplanation(RunStopReason reason, const QString &folder);

// The thread count a run starts with: 0 (one per core) without Thread Mode, else the typed
// count read as a whole number (halves to even), 1 when it is not a number or below 1.
int ThreadCountFor(bool threadMode, const QString &countText);

} // namespace sonivert
