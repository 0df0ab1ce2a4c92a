#pragma once

#include "core/convert/run_progress.h"
#include "core/convert/task_plan.h"
#include "core/media/source_facts.h"

#include <QObject>
#include <QStringList>
#include <functional>
#include <optional>

namespace sonivert {

// A part of a task split across workers: the samples [fromSample, toSample) of its sound at the
// output rate (toSample -1: to the end), whose encoded packets go to packetFile for the join.
struct TaskSegment
{
    QString packetFile;
    qint64 fromSample = 0;
    qint64 toSample = -1;
};

// One conversion for an engine to carry out: the plan of a row and where its output goes.
struct EncodeTask
{
    QString input;
    QString output; // the name the person will see, for messages
    QString temporaryOutput; // where the engine writes; the queue moves it into place
    QString inputOptions; // the option texts as a person reads them
    QString outputOptions;
    TaskCut cut;
    SourceFacts facts; // what the input holds, as its probe read it
    // The option string as values, when the task was planned from settings; an engine that
    // converts in process needs it, the ffmpeg program reads the option texts.
    std::optional<EncodePlan> plan = std::nullopt;
    OutputExtras extras = {};
    // For the worker: encode only this segment, or join these segments' packet files into the
    // temporary output.
    std::optional<TaskSegment> segment = std::nullopt;
    QStringList joinParts = {};
};

// The engines a task can run on.
inline const QString FfmpegEngineName = QStringLiteral("ffmpeg");
inline const QString WorkerEngineName = QStringLiteral("worker");

enum class JobOutcome {
    Succeeded, // the temporary output holds the whole result
    Failed,
    Stopped,
};

struct EncodeJobResult
{
    JobOutcome outcome = JobOutcome::Failed;
    QString message; // for the person, when it failed
    QString engine; // FfmpegEngineName or WorkerEngineName
    // What ran, for the report: a program and its arguments. For an engine that runs no
    // program, the ffmpeg command that does the same.
    QStringList commandLine;
    QStringList logTail; // the engine's last lines
    int exitCode = -1;
};

// A job that converts one task, whatever engine does it. A job reports Succeeded only when its
// output reads back whole; anything else leaves the temporary output for the queue to remove.
class EncodeJob : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void start() = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    // Ends the work; finished() still follows, with the outcome Stopped.
    virtual void stop() = 0;
    // Stop, and return only when the work has ended.
    virtual void stopAndWait() = 0;

    bool isFinished() const { return m_finished; }
    const EncodeJobResult &Result() const { return m_result; }

signals:
    void progress(qint64 outTimeUs);
    // One line of the engine's log with ffmpeg's level numbers (AV_LOG_*).
    void logLine(int level, const QString &text);
    void finished();

protected:
    // Ends the job once: the outcome and message go into the result and finished() follows.
    void finish(JobOutcome outcome, const QString &message)
    {
        if (m_finished)
            return;
        m_finished = true;
        m_result.outcome = outcome;
        m_result.message = message;
        emit finished();
    }

    EncodeJobResult m_result;

private:
    bool m_finished = false;
};

using EncodeJobFactory = std::function<EncodeJob *(const EncodeTask &task, QObject *parent)>;

} // namespace sonivert
