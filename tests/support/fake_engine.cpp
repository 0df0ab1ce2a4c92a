#include "support/fake_engine.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace sonivert::test {

FakeJob::FakeJob(const EncodeTask &task, const FakeScript &script, QObject *parent)
    : EncodeJob(parent)
    , m_task(task)
    , m_script(script)
{
    m_result.commandLine = { QStringLiteral("fake-engine"), task.input, task.temporaryOutput };
}

void FakeJob::start()
{
    m_started = true;
    QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::pause()
{
    m_paused = true;
}

void FakeJob::resume()
{
    m_paused = false;
    if (m_started)
        QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::stop()
{
    QTimer::singleShot(0, this, [this] { finish(JobOutcome::Stopped, QString()); });
}

void FakeJob::stopAndWait()
{
    finish(JobOutcome::Stopped, QString());
}

void FakeJob::release()
{
    m_script.hold = false;
    if (m_started && !m_paused)
        QTimer::singleShot(0, this, &FakeJob::advance);
}

void FakeJob::advance()
{
    if (isFinished() || m_paused)
        return;
    while (m_nextPosition < m_script.positionsUs.size())
        emit progress(m_script.positionsUs.at(m_nextPosition++));
    if (m_script.hold)
        return;
    if (m_script.outcome == JobOutcome::Succeeded) {
        QFile output(m_task.temporaryOutput);
        if (!output.open(QIODevice::WriteOnly) || output.write("fake sound") < 0) {
            finish(JobOutcome::Failed, m_task.temporaryOutput + QStringLiteral(": cannot write"));
            return;
        }
    }
    m_result.logTail = { QStringLiteral("fake log of ") + QFileInfo(m_task.input).fileName() };
    finish(m_script.outcome, m_script.message);
}

EncodeJobFactory FakeEngine::factory()
{
    return [this](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        const QString name = QFileInfo(task.input).fileName();
        const QString output = QFileInfo(task.output).fileName();
        auto *job
            = new FakeJob(task, scripts.value(output, scripts.value(name, otherwise)), parent);
        jobs.append(job);
        tasks.append(task);
        return job;
    };
}

FakeJob *FakeEngine::jobFor(const QString &inputName) const
{
    for (const QPointer<FakeJob> &job : jobs) {
        if (job && QFileInfo(job->Task().input).fileName() == inputName)
            return job;
    }
    return nullptr;
}

int FakeEngine::runningCount() const
{
    int count = 0;
    for (const QPointer<FakeJob> &job : jobs)
        count += job && job->isStarted() && !job->isFinished() ? 1 : 0;
    return count;
}

} // namespace sonivert::test
