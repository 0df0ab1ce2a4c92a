#include "support/fake_engine.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace sonivert::test {

FakeJob::FakeJob(const EncodeTask &task, const FakeScript &script, QObject *parent)
    : EncodeJob(parent)
    , task_(task)
    , script_(script)
{
    result_.commandLine = { QStringLiteral("fake-engine"), task.input, task.temporaryOutput };
}

void FakeJob::Start()
{
    started_ = true;
    QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::Pause()
{
    paused_ = true;
}

void FakeJob::Resume()
{
    paused_ = false;
    if (started_)
        QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::Stop()
{
    QTimer::singleShot(0, this, [this] { Finish(JobOutcome::Stopped, QString()); });
}

void FakeJob::StopAndWait()
{
    Finish(JobOutcome::Stopped, QString());
}

void FakeJob::Release()
{
    script_.hold = false;
    if (started_ && !paused_)
        QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::advance()
{
    if (IsFinished() || paused_)
        return;
    while (nextPosition_ < script_.positionsUs.size())
        emit progress(script_.positionsUs.at(nextPosition_++));
    if (script_.hold)
        return;
    if (script_.outcome == JobOutcome::Succeeded) {
        QFile output(task_.temporaryOutput);
        if (!output.open(QIODevice::WriteOnly) || output.write("fake sound") < 0) {
            Finish(JobOutcome::Failed, task_.temporaryOutput + QStringLiteral(": cannot write"));
            return;
        }
    }
    result_.logTail = { QStringLiteral("fake log of ") + QFileInfo(task_.input).fileName() };
    Finish(script_.outcome, script_.message);
}

EncodeJobFactory FakeEngine::Factory()
{
    return [this](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        const QString name = QFileInfo(task.input).fileName();
        auto *job = new FakeJob(task, scripts.value(name, otherwise), parent);
        jobs.append(job);
        tasks.append(task);
        return job;
    };
}

FakeJob *FakeEngine::JobFor(const QString &inputName) const
{
    for (const QPointer<FakeJob> &job : jobs) {
        if (job && QFileInfo(job->Task().input).fileName() == inputName)
            return job;
    }
    return nullptr;
}

int FakeEngine::RunningCount() const
{
    int count = 0;
    for (const QPointer<FakeJob> &job : jobs)
        count += job && job->IsStarted() && !job->IsFinished() ? 1 : 0;
    return count;
}

} // namespace sonivert::test
