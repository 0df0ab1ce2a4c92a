#include "core/convert/conversion_run.h"

#include "core/app/folders.h"
#include "core/convert/encoder.h"
#include "core/convert/option_tokens.h"

#include <QFile>
#include <QFileInfo>
#include <cmath>

namespace sonivert {

ConversionRun::ConversionRun(QObject *parent)
    : QObject(parent)
    , encoder_(new Encoder(this))
{
    connect(encoder_, &Encoder::progress, this, &ConversionRun::onProgress);
    connect(encoder_, &Encoder::taskEnd, this, &ConversionRun::onTaskEnd);
    connect(encoder_, &Encoder::logLine, this, [this](int task, int level, const QString &line) {
        const Row *r = rowOfTask(task);
        emit logLine(QStringLiteral("#%1.%2 %3").arg(r ? r->row : task).arg(level).arg(line));
    });
}

ConversionRun::~ConversionRun()
{
    encoder_->disconnect(this);
}

void ConversionRun::SetJobFactory(EncodeJobFactory factory)
{
    encoder_->SetJobFactory(std::move(factory));
}

void ConversionRun::SetFfmpegProgram(const QString &program)
{
    encoder_->SetFfmpegProgram(program);
}

void ConversionRun::SetEngineChoice(EngineChoice choice)
{
    encoder_->SetEngineChoice(choice);
}

void ConversionRun::Begin(const QString &folder)
{
    Abandon();
    rows_.clear();
    rowIndexOfTask_.clear();
    names_.Clear();
    failures_.clear();
    folder_ = WithTrailingSeparator(folder);
    lastError_.clear();
    stopReason_ = RunStopReason::None;
    totalPercent_ = 0;
    elapsedBeforeMs_ = 0;
}

ConversionRun::OutputNames ConversionRun::ClaimOutputNames(
    const QString &input, const QString &extension)
{
    OutputNames names;
    names.output = names_.Claim(ChangeExtension(folder_ + QFileInfo(input).fileName(), extension));
    names.encoderOutput = EncoderOutputFileName(names.output, names_);
    return names;
}

QString ConversionRun::AddRow(int row, const QString &input, const TaskPlan &plan)
{
    const auto [output, encoderOutput] = ClaimOutputNames(input, plan.extension);
    const auto refuse = [&] {
        lastError_ = encoder_->LastErrorText();
        names_.Release(output);
        names_.Release(encoderOutput);
        return QString();
    };
    const int task = encoder_->AddInputFile(input, plan.inputOptions, plan.source);
    if (task < 0)
        return refuse();
    if (encoder_->AddOutputFile(task, encoderOutput, plan.outputOptions, plan.cut) < 0) {
        encoder_->RemoveInputFile(task);
        return refuse();
    }
    if (plan.encoding)
        encoder_->SetTaskPlan(task, *plan.encoding);
    Row r;
    r.row = row;
    r.task = task;
    r.output = output;
    r.encoderOutput = encoderOutput;
    r.lengthUs = encoder_->TaskLengthUs(task);
    rowIndexOfTask_.insert(task, rows_.size());
    rows_.push_back(r);
    return output;
}

void ConversionRun::Start(int threadCount)
{
    if (state_ != RunState::Idle)
        return;
    if (rows_.empty()) {
        finishRun(RunStopReason::None);
        return;
    }
    clock_.start();
    setState(RunState::Converting);
    encoder_->StartTasks(threadCount);
}

void ConversionRun::Pause()
{
    if (state_ != RunState::Converting)
        return;
    encoder_->PauseTasks();
    elapsedBeforeMs_ += clock_.elapsed();
    setState(RunState::Paused);
}

void ConversionRun::Resume()
{
    if (state_ != RunState::Paused)
        return;
    encoder_->ResumeTasks();
    clock_.start();
    setState(RunState::Converting);
}

void ConversionRun::Stop()
{
    if (state_ != RunState::Idle)
        stopWith(RunStopReason::UserStop);
}

void ConversionRun::Abandon()
{
    encoder_->ClearTasks();
    if (state_ == RunState::Converting)
        elapsedBeforeMs_ += clock_.elapsed();
    setState(RunState::Idle);
}

bool ConversionRun::HasRow(int row) const
{
    return find(row) != nullptr;
}

RowOutcome ConversionRun::Outcome(int row) const
{
    const Row *r = find(row);
    return r ? r->outcome : RowOutcome::Waiting;
}

int ConversionRun::RowPercent(int row) const
{
    const Row *r = find(row);
    return r ? r->percent : 0;
}

QString ConversionRun::FinalOutput(int row) const
{
    const Row *r = find(row);
    return r ? r->output : QString();
}

QString ConversionRun::TaskDetails(int row) const
{
    const Row *r = find(row);
    if (!r)
        return QString();
    const EncoderTaskInfo info = encoder_->TaskInfo(r->task);
    if (info.commandLine.isEmpty())
        return QString();
    return CommandLineText(info.commandLine) + QStringLiteral("\n\n")
        + info.stderrTail.join(QLatin1Char('\n'));
}

QString ConversionRun::TaskEngine(int row) const
{
    const Row *r = find(row);
    return r ? encoder_->TaskInfo(r->task).engine : QString();
}

int ConversionRun::ElapsedSeconds() const
{
    const qint64 running = state_ == RunState::Converting ? clock_.elapsed() : 0;
    return int((elapsedBeforeMs_ + running) / 1000);
}

ConversionRun::Row *ConversionRun::rowOfTask(int task)
{
    const auto it = rowIndexOfTask_.constFind(task);
    return it == rowIndexOfTask_.constEnd() ? nullptr : &rows_[*it];
}

ConversionRun::Row *ConversionRun::find(int row)
{
    for (Row &r : rows_) {
        if (r.row == row)
            return &r;
    }
    return nullptr;
}

const ConversionRun::Row *ConversionRun::find(int row) const
{
    return const_cast<ConversionRun *>(this)->find(row);
}

void ConversionRun::setState(RunState state)
{
    if (state == state_)
        return;
    state_ = state;
    emit stateChanged(state);
}

void ConversionRun::onProgress(int task, qint64 positionUs, qint64 totalUs)
{
    Row *r = rowOfTask(task);
    if (!r || state_ == RunState::Idle)
        return;
    const int percent = TaskPercent(positionUs, totalUs);
    r->outcome = RowOutcome::Converting;
    r->percent = percent < 0 ? -1 : std::min(percent, 99);
    if (r->lengthUs > 0)
        r->doneUs = std::max(r->doneUs, std::clamp<qint64>(positionUs, 0, r->lengthUs));
    emit rowProgress(r->row, r->percent);
    updateTotal();
}

void ConversionRun::onTaskEnd(int task, EncoderTaskState state, const QString &message)
{
    if (state_ == RunState::Idle)
        return;
    if (task < 0) {
        finishRun(RunStopReason::None);
        return;
    }
    Row *r = rowOfTask(task);
    if (!r)
        return;
    if (state == EncoderTaskState::Succeeded) {
        QString written = encoder_->TaskInfo(task).finalOutput;
        if (r->encoderOutput != r->output) {
            // An M4B or M4R output was encoded as M4A; it takes its own name now it is whole.
            const MoveResult moved = MoveWithoutReplacing(written, r->output, &names_);
            if (!moved.ok) {
                QFile::remove(written);
                endRow(*r, RowOutcome::Failed, moved.path + QLatin1String(": ") + moved.message);
                return;
            }
            written = moved.path;
        }
        r->output = written;
        endRow(*r, RowOutcome::Done, QString());
        return;
    }
    if (state != EncoderTaskState::Failed) {
        endRow(*r, RowOutcome::Cancelled, QString());
        return;
    }
    endRow(*r, RowOutcome::Failed, message);
    const RunStopReason reason = ClassifyTaskMessage(message);
    if (reason != RunStopReason::None && state_ != RunState::Idle)
        stopWith(reason);
}

void ConversionRun::endRow(Row &row, RowOutcome outcome, const QString &message)
{
    row.outcome = outcome;
    if (outcome == RowOutcome::Done) {
        row.percent = 100;
        row.doneUs = row.lengthUs;
    }
    if (outcome == RowOutcome::Failed)
        failures_.append({ row.row, message });
    const int number = row.row;
    emit rowEnded(number, outcome, message);
    updateTotal();
}

void ConversionRun::stopWith(RunStopReason reason)
{
    encoder_->StopTasks(true);
    for (Row &r : rows_) {
        if (r.outcome != RowOutcome::Done && r.outcome != RowOutcome::Failed)
            endRow(r, RowOutcome::Cancelled, QString());
    }
    finishRun(reason);
}

void ConversionRun::finishRun(RunStopReason reason)
{
    stopReason_ = reason;
    if (state_ == RunState::Converting)
        elapsedBeforeMs_ += clock_.elapsed();
    setState(RunState::Idle);
    emit runEnded(reason);
}

void ConversionRun::updateTotal()
{
    qint64 known = 0;
    int knownRows = 0;
    for (const Row &r : rows_) {
        if (r.lengthUs > 0) {
            known += r.lengthUs;
            ++knownRows;
        }
    }
    // A row of unknown length weighs as much as an average one, and counts once it ends.
    const qint64 fallback = knownRows > 0 ? known / knownRows : 1'000'000;
    qint64 total = 0;
    qint64 done = 0;
    for (const Row &r : rows_) {
        const qint64 weight = r.lengthUs > 0 ? r.lengthUs : fallback;
        total += weight;
        if (r.outcome == RowOutcome::Done || r.outcome == RowOutcome::Failed
            || r.outcome == RowOutcome::Cancelled)
            done += weight;
        else if (r.lengthUs > 0)
            done += r.doneUs;
    }
    const int percent = total > 0 ? int(done * 100 / total) : 0;
    if (percent > totalPercent_) {
        totalPercent_ = std::min(percent, 100);
        emit totalProgress(totalPercent_);
    }
}

} // namespace sonivert
