#pragma once

#include "core/convert/task_plan.h"

#include <QString>
#include <QtGlobal>
#include <functional>

namespace sonivert {

// The total bar's text: value / taskCount with at least two digits, then "%" ("05%", "40%").
QString totalBarText(int value, int taskCount);

// Whole percent of a task from its position and length; -1 when the length is unknown.
int taskPercent(qint64 positionUs, qint64 totalUs);

// Why a run ended before its last row: the person's Stop, or one of the three engine messages
// that stop the whole run, each with its own explanation.
enum class RunStopReason {
    None,
    UserStop,
    DiskFull,
    FormatParameters,
};
RunStopReason classifyTaskMessage(const QString &message);
// What the person is told when a run stops for reason, writing into folder; "" for None and
// UserStop.
QString stopExplanation(RunStopReason reason, const QString &folder);

// The thread count a run starts with: 0 (one per core) without Thread Mode, else the typed
// count read as a whole number (halves to even), 1 when it is not a number or below 1.
int threadCountFor(bool threadMode, const QString &countText);

} // namespace sonivert
