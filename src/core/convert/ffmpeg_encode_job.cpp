#include "core/convert/ffmpeg_encode_job.h"

#include "core/convert/encoder.h"
#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/convert/output_read_back.h"

#include <QFileInfo>
#include <QPromise>
#include <QThreadPool>
#include <memory>

namespace sonivert {

namespace {

// The words without the cut options of the option texts, which the plan's cut replaces.
QStringList withoutCutWords(const QStringList &words)
{
    QStringList kept;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &word = words.at(i);
        if (word == QLatin1String("-ss") || word == QLatin1String("-t")
            || word == QLatin1String("-to")) {
            ++i; // and its value
            continue;
        }
        kept << word;
    }
    return kept;
}

QStringList ffmpegArguments(const QString &input, const QStringList &inputWords,
    const QString &output, const QStringList &outputWords, const TaskCut &cut, const SongTags &tags)
{
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
        QStringLiteral("-nostats"), QStringLiteral("-loglevel"), QStringLiteral("level+info"),
        QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-stats_period"),
        QString::number(Encoder::ProgressIntervalSeconds), QStringLiteral("-n") };
    args << inputWords;
    args << QStringLiteral("-i") << input;
    // Only the song tags travel, written out one by one: what ffmpeg copies by default also
    // carries the source's bookkeeping (brands, handler names, its encoder). Bit-exact output
    // keeps ffmpeg from adding its own version tag.
    args << QStringLiteral("-map_metadata") << QStringLiteral("-1") << QStringLiteral("-fflags")
         << QStringLiteral("+bitexact");
    for (const auto &[key, value] : tags)
        args << QStringLiteral("-metadata") << key + QLatin1Char('=') + value;
    args << outputWords;
    // After the input, so nothing is lost to a seek in a file whose index or start time misleads.
    if (cut.startUs > 0)
        args << QStringLiteral("-ss") << SecondsText(cut.startUs);
    if (cut.lengthUs >= 0)
        args << QStringLiteral("-t") << SecondsText(cut.lengthUs);
    args << output;
    return args;
}

} // namespace

QStringList BuildFfmpegArguments(const QString &input, const QString &inputOptions,
    const QString &output, const QString &outputOptions, const TaskCut &cut, const SongTags &tags)
{
    return ffmpegArguments(input, withoutCutWords(FfmpegOptionWords(inputOptions)), output,
        withoutCutWords(FfmpegOptionWords(outputOptions)), cut, tags);
}

QStringList BuildFfmpegArguments(const QString &input, const QString &output, const TaskPlan &plan)
{
    if (!plan.encoding) {
        return BuildFfmpegArguments(
            input, plan.inputOptions, output, plan.outputOptions, plan.cut, plan.source.tags);
    }
    return ffmpegArguments(input, withoutCutWords(FfmpegOptionWords(plan.inputOptions)), output,
        FfmpegOutputWords(*plan.encoding), plan.cut, plan.source.tags);
}

QStringList BuildFfmpegArguments(const EncodeTask &task)
{
    if (!task.plan) {
        return BuildFfmpegArguments(task.input, task.inputOptions, task.temporaryOutput,
            task.outputOptions, task.cut, task.facts.tags);
    }
    return ffmpegArguments(task.input, withoutCutWords(FfmpegOptionWords(task.inputOptions)),
        task.temporaryOutput, FfmpegOutputWords(*task.plan), task.cut, task.facts.tags);
}

FfmpegEncodeJob::FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , program_(program)
    , task_(task)
{
    const QStringList arguments = BuildFfmpegArguments(task);
    result_.engine = FfmpegEngineName;
    result_.commandLine = QStringList(program) + arguments;
    process_ = new FfmpegJob(program, arguments, this);
    connect(process_, &FfmpegJob::progress, this, &EncodeJob::progress);
    connect(process_, &FfmpegJob::logLine, this, &EncodeJob::logLine);
    connect(process_, &FfmpegJob::finished, this, &FfmpegEncodeJob::onProcessFinished);
}

FfmpegEncodeJob::~FfmpegEncodeJob() = default;

void FfmpegEncodeJob::Start()
{
    process_->Start();
}

void FfmpegEncodeJob::Pause()
{
    process_->Pause();
}

void FfmpegEncodeJob::Resume()
{
    process_->Resume();
}

void FfmpegEncodeJob::Stop()
{
    if (IsFinished())
        return;
    stopping_ = true;
    if (check_) {
        // The read-back goes on unheard; what it reads is about to go anyway.
        check_->disconnect(this);
        Finish(JobOutcome::Stopped, QString());
        return;
    }
    process_->Stop();
}

void FfmpegEncodeJob::StopAndWait()
{
    if (IsFinished())
        return;
    Stop();
    if (!process_->IsFinished())
        process_->StopAndWait();
}

void FfmpegEncodeJob::onProcessFinished()
{
    const FfmpegJobResult &ran = process_->Result();
    result_.exitCode = ran.exitCode;
    result_.logTail = ran.stderrTail;
    if (stopping_ || ran.stopped) {
        Finish(JobOutcome::Stopped, QString());
        return;
    }
    if (!ran.ok || ran.partialFile) {
        Finish(JobOutcome::Failed, failureMessage());
        return;
    }
    check_ = ReadBackLater(task_, this);
    connect(
        check_, &QFutureWatcherBase::finished, this, [this] { onOutputChecked(check_->result()); });
}

void FfmpegEncodeJob::onOutputChecked(const OutputVerdict &verdict)
{
    Finish(verdict.whole ? JobOutcome::Succeeded : JobOutcome::Failed, verdict.message);
}

QString FfmpegEncodeJob::failureMessage() const
{
    const FfmpegJobResult &ran = process_->Result();
    if (ran.failedToStart) {
        return QFileInfo::exists(program_) ? program_ + QLatin1String(": ") + ran.startError
                                           : MissingFfmpegMessage();
    }
    // Exit 0, yet the input ended early: the output would be silently cut short.
    if (ran.ok && ran.partialFile)
        return task_.input + QLatin1String(": partial file");

    QStringList lines = ran.errorLines;
    for (QString &line : lines)
        line.replace(task_.temporaryOutput, task_.output);
    QString message
        = EngineMessage(lines, FailureFacts { task_.input, task_.output, task_.facts.hasAudio });
    if (message.isEmpty()) {
        message = ran.crashed
            ? QStringLiteral("The ffmpeg program stopped unexpectedly.")
            : QStringLiteral("The ffmpeg program ended with exit code %1.").arg(ran.exitCode);
    }
    return message;
}

EncodeJobFactory FfmpegJobFactory(const QString &program)
{
    return [program](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        return new FfmpegEncodeJob(program, task, parent);
    };
}

} // namespace sonivert
