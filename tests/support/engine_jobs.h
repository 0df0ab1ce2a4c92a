#pragma once

#include "core/convert/encode_job.h"

#include <QString>

namespace sonivert {
class WorkerPool;
}

namespace sonivert::test {

// A task converting input into output, written under its temporary name, with the plan's
// encoding; the facts are read from the input.
EncodeTask encodeTask(
    const QString &input, const QString &output, const EncodePlan &plan, const TaskCut &cut = {});

// Runs the task to its end, on a worker of pool or on the ffmpeg program; a failed result when it
// does not end within a minute. A failed task's temporary output is gone, as the run leaves it.
EncodeJobResult runEncodeJob(
    bool worker, WorkerPool &pool, const QString &ffmpeg, const EncodeTask &task);

} // namespace sonivert::test
