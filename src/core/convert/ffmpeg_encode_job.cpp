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

// The track a task converts, named when ffmpeg could pick another: in a file of several audio
// tracks, and always for a copy, which must take exactly the track the plan was named for.
QStringList streamMapWords(const SourceFacts &facts, const QStringList &outputWords)
{
    const bool copy = outputWords.contains(QStringLiteral("copy"));
    if (facts.audioTrack < 0 || (facts.audioTracks.size() < 2 && !copy))
        return {};
    QStringList words;
    if (!outputWords.contains(QStringLiteral("-vn")))
        words << QStringLiteral("-map") << QStringLiteral("0:V:0?");
    words << QStringLiteral("-map") << QStringLiteral("0:a:%1").arg(facts.audioTrack);
    return words;
}

QStringList ffmpegArguments(const QString &input, const QStringList &inputWords,
    const QString &output, const QStringList &outputWords, const TaskCut &cut,
    const SourceFacts &facts)
{
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
        QStringLiteral("-nostats"), QStringLiteral("-loglevel"), QStringLiteral("level+info"),
        QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-stats_period"),
        QString::number(Encoder::ProgressIntervalSeconds), QStringLiteral("-n") };
    args << inputWords;
    args << QStringLiteral("-i") << input;
    args << streamMapWords(facts, outputWords);
    // Only the song tags travel, written out one by one: what ffmpeg copies by default also
    // carries the source's bookkeeping (brands, handler names, its encoder). Bit-exact output
    // keeps ffmpeg from adding its own version tag.
    args << QStringLiteral("-map_metadata") << QStringLiteral("-1") << QStringLiteral("-fflags")
         << QStringLiteral("+bitexact");
    for (const auto &[key, value] : facts.tags)
        args << QStringLiteral("-metadata") << key + QLatin1Char('=') + value;
    args << outputWords;
    // After the input, so nothing is lost to a seek in a file whose index or start time misleads.
    if (cut.startUs > 0)
        args << QStringLiteral("-ss") << secondsText(cut.startUs);
    if (cut.lengthUs >= 0)
        args << QStringLiteral("-t") << secondsText(cut.lengthUs);
    args << output;
    return args;
}

} // namespace

QStringList buildFfmpegArguments(const QString &input, const QString &inputOptions,
    const QString &output, const QString &outputOptions, const TaskCut &cut,
    const SourceFacts &facts)
{
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(inputOptions)), output,
        withoutCutWords(ffmpegOptionWords(outputOptions)), cut, facts);
}

QStringList buildFfmpegArguments(const QString &input, const QString &output, const TaskPlan &plan)
{
    if (!plan.encoding) {
        return buildFfmpegArguments(
            input, plan.inputOptions, output, plan.outputOptions, plan.cut, plan.source);
    }
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(plan.inputOptions)), output,
        ffmpegOutputWords(*plan.encoding), plan.cut, plan.source);
}

QStringList buildFfmpegArguments(const EncodeTask &task)
{
    if (!task.plan) {
        return buildFfmpegArguments(task.input, task.inputOptions, task.temporaryOutput,
            task.outputOptions, task.cut, task.facts);
    }
    return ffmpegArguments(task.input, withoutCutWords(ffmpegOptionWords(task.inputOptions)),
        task.temporaryOutput, ffmpegOutputWords(*task.plan), task.cut, task.facts);
}

FfmpegEncodeJob::FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , m_program(program)
    , m_task(task)
{
    const QStringList arguments = buildFfmpegArguments(task);
    m_result.engine = FfmpegEngineName;
    m_result.commandLine = QStringList(program) + arguments;
    m_process = new FfmpegJob(program, arguments, this);
    connect(m_process, &FfmpegJob::progress, this, &EncodeJob::progress);
    connect(m_process, &FfmpegJob::logLine, this, &EncodeJob::logLine);
    connect(m_process, &FfmpegJob::finished, this, &FfmpegEncodeJob::onProcessFinished);
}

FfmpegEncodeJob::~FfmpegEncodeJob() = default;

void FfmpegEncodeJob::start()
{
    m_process->start();
}

void FfmpegEncodeJob::pause()
{
    m_process->pause();
}

void FfmpegEncodeJob::resume()
{
    m_process->resume();
}

void FfmpegEncodeJob::stop()
{
    if (isFinished())
        return;
    m_stopping = true;
    if (m_check) {
        // The read-back goes on unheard; what it reads is about to go anyway.
        m_check->disconnect(this);
        finish(JobOutcome::Stopped, QString());
        return;
    }
    m_process->stop();
}

void FfmpegEncodeJob::stopAndWait()
{
    if (isFinished())
        return;
    stop();
    if (!m_process->isFinished())
        m_process->stopAndWait();
}

void FfmpegEncodeJob::onProcessFinished()
{
    const FfmpegJobResult &ran = m_process->Result();
    m_result.exitCode = ran.exitCode;
    m_result.logTail = ran.stderrTail;
    if (m_stopping || ran.stopped) {
        finish(JobOutcome::Stopped, QString());
        return;
    }
    if (!ran.ok || ran.partialFile) {
        finish(JobOutcome::Failed, failureMessage());
        return;
    }
    m_check = readBackLater(m_task, this);
    connect(m_check, &QFutureWatcherBase::finished, this,
        [this] { onOutputChecked(m_check->result()); });
}

void FfmpegEncodeJob::onOutputChecked(const OutputVerdict &verdict)
{
    finish(verdict.whole ? JobOutcome::Succeeded : JobOutcome::Failed, verdict.message);
}

QString FfmpegEncodeJob::failureMessage() const
{
    const FfmpegJobResult &ran = m_process->Result();
    if (ran.failedToStart) {
        return QFileInfo::exists(m_program) ? m_program + QLatin1String(": ") + ran.startError
                                            : missingFfmpegMessage();
    }
    // Exit 0, yet the input ended early: the output would be silently cut short.
    if (ran.ok && ran.partialFile)
        return m_task.input + QLatin1String(": partial file");

    QStringList lines = ran.errorLines;
    for (QString &line : lines)
        line.replace(m_task.temporaryOutput, m_task.output);
    QString message
        = engineMessage(lines, FailureFacts { m_task.input, m_task.output, m_task.facts.hasAudio });
    if (message.isEmpty()) {
        message = ran.crashed
            ? QStringLiteral("The ffmpeg program stopped unexpectedly.")
            : QStringLiteral("The ffmpeg program ended with exit code %1.").arg(ran.exitCode);
    }
    return message;
}

EncodeJobFactory ffmpegJobFactory(const QString &program)
{
    return [program](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        return new FfmpegEncodeJob(program, task, parent);
    };
}

} // namespace sonivert
