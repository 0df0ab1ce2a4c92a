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

    void start() override;
    void pause() override;
    void resume() override;
    void stop() override;
    void stopAndWait() override;

    const EncodeTask &Task() const { return m_task; }
    bool isStarted() const { return m_started; }
    bool isPaused() const { return m_paused; }
    // A held job goes on to its end.
    void release();

private:
    void advance();

    EncodeTask m_task;
    FakeScript m_script;
    qsizetype m_nextPosition = 0;
    bool m_started = false;
    bool m_paused = false;
};

// An engine of fake jobs, scripted by output file name, else by input file name; every job it
// made, in order.
class FakeEngine
{
public:
    QHash<QString, FakeScript> scripts;
    FakeScript otherwise;
    QList<QPointer<FakeJob>> jobs; // gone once the queue is done with them
    QList<EncodeTask> tasks; // what each job was given, kept

    EncodeJobFactory factory();
    FakeJob *jobFor(const QString &inputName) const;
    int runningCount() const;
};

} // namespace sonivert::test
