#include "support/engine_jobs.h"

#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_naming.h"
#include "core/convert/worker_encode_job.h"
#include "core/media/source_facts.h"

#include <QFile>
#include <QSignalSpy>
#include <memory>

namespace sonivert::test {

EncodeTask encodeTask(
    const QString &input, const QString &output, const EncodePlan &plan, const TaskCut &cut)
{
    EncodeTask task;
    task.input = input;
    task.output = output;
    task.temporaryOutput = temporaryOutputName(output);
    task.outputOptions = optionString(plan);
    task.cut = cut;
    task.facts = readSourceFacts(input);
    task.plan = plan;
    return task;
}

EncodeJobResult runEncodeJob(
    bool worker, WorkerPool &pool, const QString &ffmpeg, const EncodeTask &task)
{
    std::unique_ptr<EncodeJob> job(worker
            ? static_cast<EncodeJob *>(new WorkerEncodeJob(&pool, ffmpeg, task))
            : new FfmpegEncodeJob(ffmpeg, task));
    QSignalSpy finished(job.get(), &EncodeJob::finished);
    job->start();
    if (!finished.wait(60000))
        return {};
    const EncodeJobResult result = job->Result();
    if (result.outcome != JobOutcome::Succeeded)
        QFile::remove(task.temporaryOutput);
    return result;
}

} // namespace sonivert::test
