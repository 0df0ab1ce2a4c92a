#include "core/convert/ffmpeg_encode_job.h"

#include "core/convert/encoder.h"
#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/convert/output_naming.h"
#include "core/convert/output_read_back.h"
#include "core/media/chapter_marks.h"

#include <QFile>
#include <QFileInfo>
#include <QPromise>
#include <QThreadPool>
#include <memory>

extern "C" {
#include <libavutil/log.h>
}

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

// The words that carry the source's cover and chapters into an audio output that holds them.
struct ExtraWords
{
    QStringList inputs; // after the source: the source again, for a frame of its video
    QStringList metadataMaps; // what replaces "-map_metadata -1"
    QStringList tags; // more "-metadata" words
    QStringList maps; // the streams, when a picture is one of them
};

// How much of the source the frame of a cover is looked for in.
constexpr int FrameInputSeconds = 2;

// The value that follows option in words; empty when it is not there.
QString wordAfter(const QStringList &words, const QString &option)
{
    const qsizetype at = words.indexOf(option);
    return at >= 0 && at + 1 < words.size() ? words.at(at + 1) : QString();
}

// A picture stream from the source: its own picture as it is, or made a JPEG of at most
// MaxCoverSide pixels each way (as the in-process cover does) when it is not a JPEG or PNG, or
// when it is a frame of the video.
QStringList pictureWords(const QString &map, bool copy)
{
    QStringList words { QStringLiteral("-map"), map };
    if (copy) {
        words << QStringLiteral("-c:v") << QStringLiteral("copy");
    } else {
        const QString side = QString::number(MaxCoverSide);
        const QString scale = QStringLiteral("min(1,%1/max(iw*sar,ih))").arg(side);
        words << QStringLiteral("-frames:v") << QStringLiteral("1") << QStringLiteral("-filter:v")
              << QStringLiteral("scale=w='max(2,round(iw*sar*%1/2)*2)':h='max(2,round(ih*%1/2)*2)'"
                                ":flags=bicubic,setsar=1")
                     .arg(scale)
              << QStringLiteral("-c:v") << QStringLiteral("mjpeg") << QStringLiteral("-q:v")
              << QString::number(CoverJpegQuality);
    }
    words << QStringLiteral("-disposition:v:0") << QStringLiteral("attached_pic");
    return words;
}

ExtraWords extraWords(const QString &input, const QString &output, const QStringList &outputWords,
    bool copy, const SourceFacts &facts, const OutputExtras &extras, const TaskCut &cut,
    const QString &pictureComment)
{
    ExtraWords words;
    const std::string extension = QFileInfo(output).suffix().toStdString();
    // A video output keeps ffmpeg's own choice of streams.
    const bool soundOnly = outputWords.contains(QLatin1String("-vn"));

    const CoverHolder holder
        = soundOnly && facts.audioStream >= 0 && extras.cover != CoverChoice::None
        ? coverHolderOf(extension)
        : CoverHolder::None;
    if (holder == CoverHolder::PictureStream) {
        QStringList picture;
        if (facts.coverStream >= 0) {
            picture = pictureWords(
                QStringLiteral("0:%1").arg(facts.coverStream), isPortablePicture(facts.coverCodec));
        } else if (extras.cover == CoverChoice::Frame && facts.videoStream >= 0) {
            // The frame at a tenth of the duration, read from the source opened a second time;
            // ffmpeg would decode that input's video to its end after the frame it needs, so
            // the input ends a few seconds after the frame's time.
            const int64_t at = std::max<int64_t>(facts.durationUs, 0) / 10;
            if (at > 0)
                words.inputs << QStringLiteral("-ss") << secondsText(at);
            words.inputs << QStringLiteral("-t") << QString::number(FrameInputSeconds)
                         << QStringLiteral("-i") << input;
            picture = pictureWords(QStringLiteral("1:%1").arg(facts.videoStream), false);
        }
        if (!picture.isEmpty()) {
            words.maps << QStringLiteral("-map") << QStringLiteral("0:%1").arg(facts.audioStream)
                       << picture;
        }
    } else if (holder == CoverHolder::PictureComment && !pictureComment.isEmpty()) {
        words.tags << QStringLiteral("-metadata")
                   << QStringLiteral("METADATA_BLOCK_PICTURE=") + pictureComment;
    }

    const ChapterHolder chapters = extras.chapters && !facts.chapters.empty()
        ? chapterHolderOf(extension)
        : ChapterHolder::None;
    if (chapters == ChapterHolder::Container) {
        // ffmpeg moves and cuts them itself; "-map_metadata -1" would take their titles too.
        words.metadataMaps << QStringLiteral("-map_metadata:g") << QStringLiteral("-1")
                           << QStringLiteral("-map_metadata:s") << QStringLiteral("-1");
        // Encoded sound with a picture is cut by a filter, which ffmpeg does not move the
        // chapters for: they come from the source opened again on a time line moved back by
        // the start, as an output "-ss" would move them. (A copy's own time line is moved.)
        if (cut.startUs > 0 && !words.maps.isEmpty() && !copy) {
            const int index = words.inputs.count(QStringLiteral("-i")) + 1;
            words.inputs << QStringLiteral("-itsoffset") << secondsText(-cut.startUs)
                         << QStringLiteral("-i") << input;
            words.metadataMaps << QStringLiteral("-map_chapters") << QString::number(index);
        }
        return words;
    }
    words.metadataMaps << QStringLiteral("-map_metadata") << QStringLiteral("-1");
    if (!facts.chapters.empty())
        words.metadataMaps << QStringLiteral("-map_chapters") << QStringLiteral("-1");
    if (chapters == ChapterHolder::Comments) {
        const auto comments
            = chapterComments(chaptersWithin(facts.chapters, cut.startUs, cut.lengthUs));
        for (const auto &[key, value] : comments) {
            words.tags << QStringLiteral("-metadata")
                       << QString::fromStdString(key) + QLatin1Char('=')
                    + QString::fromStdString(value);
        }
    }
    return words;
}

QStringList ffmpegArguments(const QString &input, const QStringList &inputWords,
    const QString &output, QStringList outputWords, const TaskCut &cut, const SourceFacts &facts,
    const OutputExtras &extras, const QString &pictureComment)
{
    const bool copy = wordAfter(outputWords, QStringLiteral("-acodec")) == QLatin1String("copy");
    const ExtraWords extra
        = extraWords(input, output, outputWords, copy, facts, extras, cut, pictureComment);
    if (!extra.maps.isEmpty())
        outputWords.removeAll(QStringLiteral("-vn"));

    // An output "-ss" drops every stream's packets before the start, a picture's too, which has
    // no time of its own: with a picture the start of the sound is cut otherwise, to the same
    // samples or packets. A copy's time line is moved back by the start, and the packets before
    // zero go; encoded sound is trimmed by a filter after the resampler, where ffmpeg puts the
    // trim of "-ss".
    const bool cutWithPicture = cut.startUs > 0 && !extra.maps.isEmpty();
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
        QStringLiteral("-nostats"), QStringLiteral("-loglevel"), QStringLiteral("level+info"),
        QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-stats_period"),
        QString::number(Encoder::ProgressIntervalSeconds), QStringLiteral("-n") };
    args << inputWords;
    if (cutWithPicture && copy)
        args << QStringLiteral("-itsoffset") << secondsText(-cut.startUs);
    args << QStringLiteral("-i") << input;
    args << extra.inputs;
    // The cover's maps name the track too.
    if (extra.maps.isEmpty())
        args << streamMapWords(facts, outputWords);
    // Only the song tags travel, written out one by one: what ffmpeg copies by default also
    // carries the source's bookkeeping (brands, handler names, its encoder). Bit-exact output
    // keeps ffmpeg from adding its own version tag.
    args << extra.metadataMaps << QStringLiteral("-fflags") << QStringLiteral("+bitexact");
    for (const auto &[key, value] : facts.tags)
        args << QStringLiteral("-metadata") << key + QLatin1Char('=') + value;
    // The track's language, which "-map_metadata -1" leaves out with the rest.
    if (facts.audioTrack >= 0 && facts.audioTrack < facts.audioTracks.size()
        && !outputWords.contains(QStringLiteral("-an"))) {
        const QString &language = facts.audioTracks.at(facts.audioTrack).language;
        if (!language.isEmpty())
            args << QStringLiteral("-metadata:s:a:0") << QStringLiteral("language=") + language;
    }
    args << extra.tags << extra.maps << outputWords;
    if (cutWithPicture && copy) {
        args << QStringLiteral("-copypriorss:a") << QStringLiteral("0");
    } else if (cutWithPicture) {
        const QString rate = wordAfter(outputWords, QStringLiteral("-ar"));
        QString trim
            = QStringLiteral("atrim=start=%1,asetpts=PTS-STARTPTS").arg(secondsText(cut.startUs));
        if (!rate.isEmpty())
            trim.prepend(QStringLiteral("aresample=%1,").arg(rate));
        args << QStringLiteral("-af") << trim;
    } else if (cut.startUs > 0) {
        // After the input, so nothing is lost to a seek in a file whose index or start time
        // misleads.
        args << QStringLiteral("-ss") << secondsText(cut.startUs);
    }
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
    // Hand-written options carry the tags and the track, not the cover or the chapters.
    SourceFacts plain = facts;
    plain.coverStream = -1;
    plain.chapters.clear();
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(inputOptions)), output,
        withoutCutWords(ffmpegOptionWords(outputOptions)), cut, plain, {}, QString());
}

QStringList buildFfmpegArguments(const QString &input, const QString &output, const TaskPlan &plan,
    const QString &pictureComment)
{
    if (!plan.encoding) {
        return buildFfmpegArguments(
            input, plan.inputOptions, output, plan.outputOptions, plan.cut, plan.source);
    }
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(plan.inputOptions)), output,
        ffmpegOutputWords(*plan.encoding), plan.cut, plan.source, plan.extras, pictureComment);
}

QStringList buildFfmpegArguments(const EncodeTask &task, const QString &pictureComment)
{
    if (!task.plan) {
        return buildFfmpegArguments(task.input, task.inputOptions, task.temporaryOutput,
            task.outputOptions, task.cut, task.facts);
    }
    return ffmpegArguments(task.input, withoutCutWords(ffmpegOptionWords(task.inputOptions)),
        task.temporaryOutput, ffmpegOutputWords(*task.plan), task.cut, task.facts, task.extras,
        pictureComment);
}

namespace {

QString pictureCommentFor(const QString &input, const QString &output,
    const std::optional<EncodePlan> &plan, const SourceFacts &facts, const OutputExtras &extras)
{
    const std::string extension = QFileInfo(output).suffix().toStdString();
    const bool soundOnly = plan && !plan->video;
    const bool available
        = facts.coverStream >= 0 || (extras.cover == CoverChoice::Frame && facts.videoStream >= 0);
    if (!soundOnly || coverHolderOf(extension) != CoverHolder::PictureComment
        || extras.cover == CoverChoice::None || !available || facts.audioStream < 0)
        return QString();
    const CoverPicture picture
        = commentPicture(coverFor(QFile::encodeName(input).toStdString(), extras.cover));
    return picture.empty() ? QString() : QString::fromStdString(pictureCommentValue(picture));
}

} // namespace

QString pictureCommentFor(const EncodeTask &task)
{
    return pictureCommentFor(task.input, task.temporaryOutput, task.plan, task.facts, task.extras);
}

QString pictureCommentFor(const QString &input, const QString &output, const TaskPlan &plan)
{
    return pictureCommentFor(input, output, plan.encoding, plan.source, plan.extras);
}

FfmpegEncodeJob::FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , m_program(program)
    , m_task(task)
{
    m_result.engine = FfmpegEngineName;
    makeProcess(buildFfmpegArguments(task, pictureCommentFor(task)));
}

void FfmpegEncodeJob::makeProcess(const QStringList &arguments)
{
    m_result.commandLine = QStringList(m_program) + arguments;
    m_process = new FfmpegJob(m_program, arguments, this);
    connect(m_process, &FfmpegJob::progress, this, &EncodeJob::progress);
    connect(m_process, &FfmpegJob::logLine, this, &EncodeJob::logLine);
    connect(m_process, &FfmpegJob::finished, this, &FfmpegEncodeJob::onProcessFinished);
}

void FfmpegEncodeJob::start()
{
    m_process->start();
}

void FfmpegEncodeJob::pause()
{
    m_paused = true;
    m_process->pause();
}

void FfmpegEncodeJob::resume()
{
    m_paused = false;
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

bool FfmpegEncodeJob::makesItsPicture() const
{
    const QStringList &words = m_result.commandLine;
    const qsizetype codec = words.indexOf(QStringLiteral("-c:v"));
    return codec >= 0 && codec + 1 < words.size() && words.at(codec + 1) == QLatin1String("mjpeg");
}

void FfmpegEncodeJob::onProcessFinished()
{
    const FfmpegJobResult &ran = m_process->Result();
    // A cover made from the video (or a picture of another kind) is a nicety: a video that does
    // not decode fails the whole command, so the sound is converted again without it, as the
    // worker converts it when it can make no picture.
    if (!m_stopping && !ran.stopped && !ran.ok && !ran.failedToStart && makesItsPicture()) {
        emit logLine(AV_LOG_WARNING,
            QStringLiteral("The cover picture could not be made; converting without it."));
        QFile::remove(m_task.temporaryOutput);
        EncodeTask plain = m_task;
        plain.extras.cover = CoverChoice::None;
        m_process->deleteLater();
        makeProcess(buildFfmpegArguments(plain));
        m_process->start();
        if (m_paused)
            m_process->pause();
        return;
    }
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
