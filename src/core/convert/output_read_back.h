#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/output_check.h"

#include <QFutureWatcher>

namespace sonivert {

// What a task is expected to give, for the read-back check.
ExpectedSound expectedSoundOf(const EncodeTask &task);

// Reads the task's temporary output back on the thread pool, as every engine does before a task
// counts as done; the watcher (a child of parent) finishes with the verdict.
QFutureWatcher<OutputVerdict> *readBackLater(const EncodeTask &task, QObject *parent);

} // namespace sonivert
