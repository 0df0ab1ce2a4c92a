#include "core/convert/conversion_run.h"

#include "core/app/folders.h"
#include "core/convert/encoder.h"
#include "core/convert/option_tokens.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>

namespace sonivert {

ConversionRun::ConversionRun(QObject *parent)
    : QObject(parent)
    , m_encoder(new Encoder(this))
{
    connect(m_encoder, &Encoder::progress, this, &ConversionRun::onProgress);
    connect(m_encoder, &Encoder::taskEnd, this, &ConversionRun::onTaskEnd);
    connect(m_encoder, &Encoder::logLine, this, [this](int task, int level, const QString &line) {
        const Row *r = rowOfTask(task);
        emit logLine(QStringLiteral("#%1.%2 %3").arg(r ? r->row : task).arg(level).arg(line));
    });
}

ConversionRun::~ConversionRun()
{
    m_encoder->disconnect(this);
}

void ConversionRun::setJobFactory(EncodeJobFactory factory)
{
    m_encoder->setJobFactory(std::move(factory));
}

void ConversionRun::setFfmpegProgram(const QString &program)
{
    m_encoder->setFfmpegProgram(program);
}

void ConversionRun::setEngineChoice(EngineChoice choice)
{
    m_encoder->setEngineChoice(choice);
}

void ConversionRun::setStallTimeoutSeconds(double seconds)
{
    m_encoder->setStallTimeoutMs(int(std::clamp(seconds * 1000.0, 1.0, 1e9)));
}

void ConversionRun::setSegmentation(bool on)
{
    m_encoder->setSegmentation(on);
}

void ConversionRun::setMinimumSegmentSeconds(double seconds)
{
    m_encoder->setMinimumSegmentUs(qint64(std::clamp(seconds, 0.001, 1e9) * 1e6));
}

void ConversionRun::begin(const QString &folder)
{
    abandon();
    m_rows.clear();
    m_rowIndexOfTask.clear();
    m_names.clear();
    m_failures.clear();
    m_folder = withTrailingSeparator(folder);
    // What a killed or crashed run left behind goes before this one writes.
    if (!folder.isEmpty())
        removeAbandonedTemporaries(m_folder);
    m_lastError.clear();
    m_stopReason = RunStopReason::None;
    m_totalPercent = 0;
    m_elapsedBeforeMs = 0;
}

ConversionRun::OutputNames ConversionRun::claimOutputNames(
    const QString &input, const QString &extension, const QString &nameSuffix)
{
    OutputNames names;
    const QString named = ChangeExtension(m_folder + QFileInfo(input).fileName(), extension);
    const qsizetype dot = named.size() - extension.size() - 1;
    names.output = m_names.claim(named.left(dot) + nameSuffix + named.mid(dot));
    names.encoderOutput = encoderOutputFileName(names.output, m_names);
    return names;
}

QString ConversionRun::addRow(int row, const QString &input, const TaskPlan &plan)
{
    const auto [output, encoderOutput] = claimOutputNames(input, plan.extension, plan.nameSuffix);
    const auto refuse = [&] {
        m_lastError = m_encoder->LastErrorText();
        m_names.release(output);
        m_names.release(encoderOutput);
        return QString();
    };
    const int task = m_encoder->AddInputFile(input, plan.inputOptions, plan.source);
    if (task < 0)
        return refuse();
    if (m_encoder->AddOutputFile(task, encoderOutput, plan.outputOptions, plan.cut) < 0) {
        m_encoder->RemoveInputFile(task);
        return refuse();
    }
    if (plan.encoding)
        m_encoder->setTaskPlan(task, *plan.encoding);
    m_encoder->setTaskExtras(task, plan.extras);
    Row r;
    r.row = row;
    r.task = task;
    r.output = output;
    r.encoderOutput = encoderOutput;
    r.lengthUs = m_encoder->taskLengthUs(task);
    m_rowIndexOfTask.insert(task, m_rows.size());
    m_rows.push_back(r);
    return output;
}

void ConversionRun::start(int threadCount)
{
    if (m_state != RunState::Idle)
        return;
    if (m_rows.empty()) {
        finishRun(RunStopReason::None);
        return;
    }
    m_clock.start();
    setState(RunState::Converting);
    m_encoder->StartTasks(threadCount);
}

void ConversionRun::pause()
{
    if (m_state != RunState::Converting)
        return;
    m_encoder->PauseTasks();
    m_elapsedBeforeMs += m_clock.elapsed();
    setState(RunState::Paused);
}

void ConversionRun::resume()
{
    if (m_state != RunState::Paused)
        return;
    m_encoder->ResumeTasks();
    m_clock.start();
    setState(RunState::Converting);
}

void ConversionRun::stop()
{
    if (m_state != RunState::Idle)
        stopWith(RunStopReason::UserStop);
}

void ConversionRun::abandon()
{
    m_encoder->ClearTasks();
    if (m_state == RunState::Converting)
        m_elapsedBeforeMs += m_clock.elapsed();
    setState(RunState::Idle);
}

bool ConversionRun::hasRow(int row) const
{
    return find(row) != nullptr;
}

RowOutcome ConversionRun::outcome(int row) const
{
    return combinedOutcome(row);
}

int ConversionRun::rowPercent(int row) const
{
    return combinedPercent(row);
}

QList<ConversionRun::RowOutput> ConversionRun::outputs(int row) const
{
    QList<RowOutput> list;
    for (const Row *part : partsOf(row)) {
        list.append(
            { part->output, part->outcome, part->message, m_encoder->taskInfo(part->task).engine });
    }
    return list;
}

QString ConversionRun::finalOutput(int row) const
{
    const Row *r = find(row);
    return r ? r->output : QString();
}

const ConversionRun::Row *ConversionRun::reportedPart(int row) const
{
    // The output that failed tells what went wrong; else the first.
    for (const Row *part : partsOf(row)) {
        if (part->outcome == RowOutcome::Failed)
            return part;
    }
    return find(row);
}

QStringList ConversionRun::taskCommand(int row) const
{
    const Row *r = reportedPart(row);
    if (!r)
        return {};
    QStringList command = m_encoder->taskInfo(r->task).commandLine;
    if (!command.isEmpty() && QFileInfo(command.last()).fileName().startsWith(u'.'))
        command.last() = r->encoderOutput;
    return command;
}

QString ConversionRun::taskDetails(int row) const
{
    const QStringList command = taskCommand(row);
    if (command.isEmpty())
        return QString();
    return commandLineText(command) + QStringLiteral("\n\n")
        + m_encoder->taskInfo(reportedPart(row)->task).stderrTail.join(QLatin1Char('\n'));
}

QString ConversionRun::taskEngine(int row) const
{
    const Row *r = find(row);
    return r ? m_encoder->taskInfo(r->task).engine : QString();
}

int ConversionRun::taskSegments(int row) const
{
    const Row *r = find(row);
    if (!r)
        return 0;
    const EncoderTaskInfo info = m_encoder->taskInfo(r->task);
    return info.engine.isEmpty() ? 0 : info.segments;
}

int ConversionRun::elapsedSeconds() const
{
    const qint64 running = m_state == RunState::Converting ? m_clock.elapsed() : 0;
    return int((m_elapsedBeforeMs + running) / 1000);
}

ConversionRun::Row *ConversionRun::rowOfTask(int task)
{
    const auto it = m_rowIndexOfTask.constFind(task);
    return it == m_rowIndexOfTask.constEnd() ? nullptr : &m_rows[*it];
}

ConversionRun::Row *ConversionRun::find(int row)
{
    for (Row &r : m_rows) {
        if (r.row == row)
            return &r;
    }
    return nullptr;
}

const ConversionRun::Row *ConversionRun::find(int row) const
{
    return const_cast<ConversionRun *>(this)->find(row);
}

QList<const ConversionRun::Row *> ConversionRun::partsOf(int row) const
{
    QList<const Row *> parts;
    for (const Row &r : m_rows) {
        if (r.row == row)
            parts << &r;
    }
    return parts;
}

RowOutcome ConversionRun::combinedOutcome(int row) const
{
    const QList<const Row *> parts = partsOf(row);
    if (parts.isEmpty())
        return RowOutcome::Waiting;
    bool failed = false;
    bool cancelled = false;
    bool started = false;
    bool open = false;
    for (const Row *part : parts) {
        failed = failed || part->outcome == RowOutcome::Failed;
        cancelled = cancelled || part->outcome == RowOutcome::Cancelled;
        started = started || part->outcome != RowOutcome::Waiting;
        open = open || part->outcome == RowOutcome::Waiting
            || part->outcome == RowOutcome::Converting;
    }
    if (open)
        return started ? RowOutcome::Converting : RowOutcome::Waiting;
    if (failed)
        return RowOutcome::Failed;
    return cancelled ? RowOutcome::Cancelled : RowOutcome::Done;
}

int ConversionRun::combinedPercent(int row) const
{
    const QList<const Row *> parts = partsOf(row);
    if (parts.size() == 1)
        return parts.first()->percent;
    int sum = 0;
    for (const Row *part : parts) {
        if (part->percent < 0)
            return -1;
        sum += part->percent;
    }
    return parts.isEmpty() ? 0 : sum / int(parts.size());
}

void ConversionRun::setState(RunState state)
{
    if (state == m_state)
        return;
    m_state = state;
    emit stateChanged(state);
}

void ConversionRun::onProgress(int task, qint64 positionUs, qint64 totalUs)
{
    Row *r = rowOfTask(task);
    if (!r || m_state == RunState::Idle)
        return;
    const int percent = taskPercent(positionUs, totalUs);
    r->outcome = RowOutcome::Converting;
    r->percent = percent < 0 ? -1 : std::min(percent, 99);
    if (r->lengthUs > 0)
        r->doneUs = std::max(r->doneUs, std::clamp<qint64>(positionUs, 0, r->lengthUs));
    emit rowProgress(r->row, combinedPercent(r->row));
    updateTotal();
}

void ConversionRun::onTaskEnd(int task, EncoderTaskState state, const QString &message)
{
    if (m_state == RunState::Idle)
        return;
    if (task < 0) {
        finishRun(RunStopReason::None);
        return;
    }
    Row *r = rowOfTask(task);
    if (!r)
        return;
    if (state == EncoderTaskState::Succeeded) {
        QString written = m_encoder->taskInfo(task).finalOutput;
        if (r->encoderOutput != r->output) {
            // An M4B or M4R output was encoded as M4A; it takes its own name now it is whole.
            const MoveResult moved = moveWithoutReplacing(written, r->output, &m_names);
            if (!moved.ok) {
                QFile::remove(written);
                endPart(*r, RowOutcome::Failed, moved.path + QLatin1String(": ") + moved.message);
                return;
            }
            written = moved.path;
        }
        r->output = written;
        endPart(*r, RowOutcome::Done, QString());
        return;
    }
    if (state != EncoderTaskState::Failed) {
        endPart(*r, RowOutcome::Cancelled, QString());
        return;
    }
    endPart(*r, RowOutcome::Failed, message);
    const RunStopReason reason = classifyTaskMessage(message);
    if (reason != RunStopReason::None && m_state != RunState::Idle)
        stopWith(reason);
}

void ConversionRun::endPart(Row &part, RowOutcome outcome, const QString &message)
{
    part.outcome = outcome;
    part.message = message;
    if (outcome == RowOutcome::Done) {
        part.percent = 100;
        part.doneUs = part.lengthUs;
    }
    const int number = part.row;
    const RowOutcome combined = combinedOutcome(number);
    if (combined != RowOutcome::Waiting && combined != RowOutcome::Converting) {
        // The row's message: each failed output's, named when the row has several.
        const QList<const Row *> parts = partsOf(number);
        QStringList messages;
        for (const Row *p : parts) {
            if (p->outcome != RowOutcome::Failed)
                continue;
            messages << (parts.size() > 1
                    ? QFileInfo(p->output).fileName() + QLatin1String(": ") + p->message
                    : p->message);
        }
        const QString text = messages.join(QLatin1Char('\n'));
        if (combined == RowOutcome::Failed)
            m_failures.append({ number, text });
        emit rowEnded(number, combined, text);
    } else {
        emit rowProgress(number, combinedPercent(number));
    }
    updateTotal();
}

void ConversionRun::stopWith(RunStopReason reason)
{
    m_encoder->StopTasks(true);
    for (Row &r : m_rows) {
        if (r.outcome != RowOutcome::Done && r.outcome != RowOutcome::Failed
            && r.outcome != RowOutcome::Cancelled)
            endPart(r, RowOutcome::Cancelled, QString());
    }
    finishRun(reason);
}

void ConversionRun::finishRun(RunStopReason reason)
{
    m_stopReason = reason;
    if (m_state == RunState::Converting)
        m_elapsedBeforeMs += m_clock.elapsed();
    setState(RunState::Idle);
    emit runEnded(reason);
}

void ConversionRun::updateTotal()
{
    qint64 known = 0;
    int knownRows = 0;
    for (const Row &r : m_rows) {
        if (r.lengthUs > 0) {
            known += r.lengthUs;
            ++knownRows;
        }
    }
    // A row of unknown length weighs as much as an average one, and counts once it ends.
    const qint64 fallback = knownRows > 0 ? known / knownRows : 1'000'000;
    qint64 total = 0;
    qint64 done = 0;
    for (const Row &r : m_rows) {
        const qint64 weight = r.lengthUs > 0 ? r.lengthUs : fallback;
        total += weight;
        if (r.outcome == RowOutcome::Done || r.outcome == RowOutcome::Failed
            || r.outcome == RowOutcome::Cancelled)
            done += weight;
        else if (r.lengthUs > 0)
            done += r.doneUs;
    }
    const int percent = total > 0 ? int(done * 100 / total) : 0;
    if (percent > m_totalPercent) {
        m_totalPercent = std::min(percent, 100);
        emit totalProgress(m_totalPercent);
    }
}

} // namespace sonivert
