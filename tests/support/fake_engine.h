#pragma once

#include "core/convert/encode_job.h"

#include <QHash>
#include <QList>
#include <QPointer>

namespace sonivert::test {

// What a fake job does once started: report these positions, then end with the outcome (a
// succeeding job writes its temporary output). A held job waits after its positions until
// released or stopped.
struct FakeScript
{
    JobOutcome outcome = JobOutcome::Succeeded;
    QString message;
    QList<qint64> positionsUs;
    bool hold = false;
};

class FakeJob : public EncodeJob
{
    Q_OBJECT

public:
    FakeJob(const EncodeTask &task, const FakeScript &script, QObject *parent);

    void Start() override;
    void Pause() override;
    void Resume() override;
    void Stop() override;
    void StopAndWait() override;

    const EncodeTask &Task() const { return task_; }
    bool IsStarted() const { return started_; }
    bool IsPaused() const { return paused_; }
    // A held job goes on to its end.
    void Release();

private:
    void advance();

    EncodeTask task_;
    FakeScript script_;
    qsizetype nextPosition_ = 0;
    bool started_ = false;
    bool paused_ = false;
};

// An engine of fake jobs, scripted by input file name; every job it made, in order.
class FakeEngine
{
public:
    QHash<QString, FakeScript> scripts;
    FakeScript otherwise;
    QList<QPointer<FakeJob>> jobs; // gone once the queue is done with them
    QList<EncodeTask> tasks; // what each job was given, kept

    EncodeJobFactory Factory();
    FakeJob *JobFor(const QString &inputName) const;
    int RunningCount() const;
};

} // namespace sonivert::test
