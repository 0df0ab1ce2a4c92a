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

// ffmpeg copies the source's own picture itself, unless a cut would drop it (it drops what comes
// before its start) or not every picture holder takes it as it is.
bool copiesSourcePicture(const SourceFacts &facts, const TaskCut &cut)
{
    return facts.coverStream >= 0 && cut.startUs <= 0 && isPortablePicture(facts.coverCodec);
}

// The words that carry the source's cover and chapters into an audio output that holds them.
struct ExtraWords
{
    QStringList inputs; // after the source: the picture file
    QStringList metadataMaps; // what replaces "-map_metadata -1"
    QStringList tags; // more "-metadata" words
    QStringList maps; // the streams, when the picture is one of them
};

ExtraWords extraWords(const QString &output, const QStringList &outputWords, const TaskCut &cut,
    const SourceFacts &facts, const OutputExtras &extras, const PreparedCover &cover)
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
        QString picture;
        if (!cover.pictureFile.isEmpty()) {
            // A cut drops what comes before its start, the picture too: it is moved there.
            if (cut.startUs > 0)
                words.inputs << QStringLiteral("-itsoffset") << secondsText(cut.startUs);
            words.inputs << QStringLiteral("-i") << cover.pictureFile;
            picture = QStringLiteral("1:0");
        } else if (copiesSourcePicture(facts, cut)) {
            picture = QStringLiteral("0:%1").arg(facts.coverStream);
        }
        if (!picture.isEmpty()) {
            words.maps << QStringLiteral("-map") << QStringLiteral("0:%1").arg(facts.audioStream)
                       << QStringLiteral("-map") << picture << QStringLiteral("-c:v")
                       << QStringLiteral("copy") << QStringLiteral("-disposition:v:0")
                       << QStringLiteral("attached_pic");
        }
    } else if (holder == CoverHolder::PictureComment && !cover.pictureComment.isEmpty()) {
        words.tags << QStringLiteral("-metadata")
                   << QStringLiteral("METADATA_BLOCK_PICTURE=") + cover.pictureComment;
    }

    const ChapterHolder chapters = extras.chapters && !facts.chapters.empty()
        ? chapterHolderOf(extension)
        : ChapterHolder::None;
    if (chapters == ChapterHolder::Container) {
        // ffmpeg moves and cuts them itself; "-map_metadata -1" would take their titles too.
        words.metadataMaps << QStringLiteral("-map_metadata:g") << QStringLiteral("-1")
                           << QStringLiteral("-map_metadata:s") << QStringLiteral("-1");
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
    const OutputExtras &extras, const PreparedCover &cover)
{
    const ExtraWords extra = extraWords(output, outputWords, cut, facts, extras, cover);
    if (!extra.maps.isEmpty())
        outputWords.removeAll(QStringLiteral("-vn"));
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
        QStringLiteral("-nostats"), QStringLiteral("-loglevel"), QStringLiteral("level+info"),
        QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-stats_period"),
        QString::number(Encoder::ProgressIntervalSeconds), QStringLiteral("-n") };
    args << inputWords;
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
    args << extra.tags << extra.maps << outputWords;
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
    // Hand-written options carry the tags and the track, not the cover or the chapters.
    SourceFacts plain = facts;
    plain.coverStream = -1;
    plain.chapters.clear();
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(inputOptions)), output,
        withoutCutWords(ffmpegOptionWords(outputOptions)), cut, plain, {}, {});
}

QStringList buildFfmpegArguments(const QString &input, const QString &output, const TaskPlan &plan)
{
    if (!plan.encoding) {
        return buildFfmpegArguments(
            input, plan.inputOptions, output, plan.outputOptions, plan.cut, plan.source);
    }
    return ffmpegArguments(input, withoutCutWords(ffmpegOptionWords(plan.inputOptions)), output,
        ffmpegOutputWords(*plan.encoding), plan.cut, plan.source, plan.extras, {});
}

QStringList buildFfmpegArguments(const EncodeTask &task, const PreparedCover &cover)
{
    if (!task.plan) {
        return buildFfmpegArguments(task.input, task.inputOptions, task.temporaryOutput,
            task.outputOptions, task.cut, task.facts);
    }
    return ffmpegArguments(task.input, withoutCutWords(ffmpegOptionWords(task.inputOptions)),
        task.temporaryOutput, ffmpegOutputWords(*task.plan), task.cut, task.facts, task.extras,
        cover);
}

PreparedCover prepareCover(const EncodeTask &task)
{
    PreparedCover prepared;
    const std::string extension = QFileInfo(task.temporaryOutput).suffix().toStdString();
    const CoverHolder holder = coverHolderOf(extension);
    const bool soundOnly = task.plan && !task.plan->video;
    const bool available = task.facts.coverStream >= 0
        || (task.extras.cover == CoverChoice::Frame && task.facts.hasVideo);
    if (!soundOnly || holder == CoverHolder::None || task.extras.cover == CoverChoice::None
        || !available || task.facts.audioStream < 0)
        return prepared;
    if (holder == CoverHolder::PictureStream && copiesSourcePicture(task.facts, task.cut))
        return prepared;
    CoverPicture picture = coverFor(QFile::encodeName(task.input).toStdString(), task.extras.cover);
    if (picture.empty())
        return prepared;
    if (holder == CoverHolder::PictureComment) {
        picture = commentPicture(picture);
        if (!picture.empty())
            prepared.pictureComment = QString::fromStdString(pictureCommentValue(picture));
        return prepared;
    }
    picture = portablePicture(picture);
    if (picture.empty())
        return prepared;
    const QString file = temporaryOutputName(
        ChangeExtension(task.output, QString::fromStdString(picture.fileExtension())));
    QFile out(file);
    if (out.open(QIODevice::WriteOnly | QIODevice::NewOnly)
        && out.write(picture.data.data(), qint64(picture.data.size()))
            == qint64(picture.data.size())
        && out.flush()) {
        prepared.pictureFile = file;
    } else {
        out.remove();
    }
    return prepared;
}

FfmpegEncodeJob::FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , m_program(program)
    , m_task(task)
{
    m_cover = prepareCover(task);
    const QStringList arguments = buildFfmpegArguments(task, m_cover);
    m_result.engine = FfmpegEngineName;
    m_result.commandLine = QStringList(program) + arguments;
    m_process = new FfmpegJob(program, arguments, this);
    connect(m_process, &FfmpegJob::progress, this, &EncodeJob::progress);
    connect(m_process, &FfmpegJob::logLine, this, &EncodeJob::logLine);
    connect(m_process, &FfmpegJob::finished, this, &FfmpegEncodeJob::onProcessFinished);
}

FfmpegEncodeJob::~FfmpegEncodeJob()
{
    removePictureFile();
}

void FfmpegEncodeJob::removePictureFile()
{
    if (!m_cover.pictureFile.isEmpty())
        QFile::remove(m_cover.pictureFile);
    m_cover.pictureFile.clear();
}

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
    removePictureFile();
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
