#include "core/convert/worker_encode_job.h"

#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_read_back.h"
#include "core/convert/worker_pool.h"
#include "core/convert/worker_protocol.h"

#include <QFileInfo>
#include <csignal>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace sonivert {

namespace {

constexpr int TailLines = 120;
constexpr int ErrorLineCount = 40;
constexpr int LoggedLines = 4000;
constexpr int KillWaitMs = 3000;

template<typename List> void keepLast(List &list, qsizetype count)
{
    if (list.size() > count)
        list.erase(list.begin(), list.begin() + (list.size() - count));
}

// The encoders whose output the worker was checked to give as the ffmpeg program does.
bool isWorkerEncoder(const QString &name)
{
    static const QStringList names = { QStringLiteral("libmp3lame"), QStringLiteral("aac"),
        QStringLiteral("libvorbis"), QStringLiteral("libopus"), QStringLiteral("flac"),
        QStringLiteral("alac"), QStringLiteral("mp2"), QStringLiteral("ac3"),
        QStringLiteral("wmav2"), QStringLiteral("adpcm_ima_wav"), QStringLiteral("adpcm_ms"),
        QStringLiteral("libgsm_ms") };
    return names.contains(name) || name.startsWith(QLatin1String("pcm_"));
}

} // namespace

// The encoder ffmpeg runs for a plan: the -acodec value the command line gets, or the muxer's
// default.
QString workerEncoderName(const EncodePlan &plan, const QString &output, QString *why)
{
    if (!plan.audioEncoder.isEmpty()) {
        const QString name = ffmpegAudioEncoder(plan);
        if (!avcodec_find_encoder_by_name(name.toUtf8().constData())) {
            *why = QStringLiteral("the encoder %1 is not available").arg(name);
            return QString();
        }
        return name;
    }
    const QByteArray file = QFile::encodeName(output);
    const AVOutputFormat *format = av_guess_format(nullptr, file.constData(), nullptr);
    if (!format) {
        *why
            = QStringLiteral("no output format fits the name %1").arg(QFileInfo(output).fileName());
        return QString();
    }
    const AVCodecID id
        = av_guess_codec(format, nullptr, file.constData(), nullptr, AVMEDIA_TYPE_AUDIO);
    const AVCodec *codec = avcodec_find_encoder(id);
    if (!codec) {
        *why = QStringLiteral("the %1 format has no default audio encoder")
                   .arg(QString::fromUtf8(format->name));
        return QString();
    }
    return QString::fromUtf8(codec->name);
}

bool parseEngineChoice(const QString &text, EngineChoice *choice)
{
    if (text == QLatin1String("auto"))
        *choice = EngineChoice::Auto;
    else if (text == QLatin1String("ffmpeg"))
        *choice = EngineChoice::Ffmpeg;
    else if (text == QLatin1String("worker"))
        *choice = EngineChoice::Worker;
    else
        return false;
    return true;
}

QString workerRefusal(const EncodePlan &plan, const QString &output)
{
    if (plan.video)
        return QStringLiteral("it writes video");
    if (!plan.audio)
        return QStringLiteral("it writes no sound");
    if (plan.copyAudio) {
        if (!av_guess_format(nullptr, QFile::encodeName(output).constData(), nullptr))
            return QStringLiteral("no output format fits the name %1")
                .arg(QFileInfo(output).fileName());
        return QString();
    }
    if (plan.channels <= 0)
        return QStringLiteral("it chooses no channel count");
    bool ok = false;
    const int rate = plan.sampleRate.toInt(&ok);
    if (!ok || rate <= 0)
        return QStringLiteral("its sample rate \"%1\" is not a number of hertz")
            .arg(plan.sampleRate);
    if (!plan.videoFilters.isEmpty())
        return QStringLiteral("it filters video");
    const QByteArray file = QFile::encodeName(output);
    if (!av_guess_format(nullptr, file.constData(), nullptr))
        return QStringLiteral("no output format fits the name %1")
            .arg(QFileInfo(output).fileName());
    QString why;
    const QString encoder = workerEncoderName(plan, output, &why);
    if (encoder.isEmpty())
        return why;
    if (!isWorkerEncoder(encoder))
        return QStringLiteral("it does not run the %1 encoder").arg(encoder);
    return QString();
}

QString engineFor(EngineChoice choice, const EncodeTask &task, const QString &workerProgram)
{
    switch (choice) {
    case EngineChoice::Ffmpeg:
        return FfmpegEngineName;
    case EngineChoice::Worker:
        return WorkerEngineName;
    case EngineChoice::Auto:
        break;
    }
    if (workerProgram.isEmpty() || !task.plan)
        return FfmpegEngineName;
    return workerRefusal(*task.plan, task.output).isEmpty() ? WorkerEngineName : FfmpegEngineName;
}

namespace {

QString engineOutputName(const TaskPlan &plan)
{
    const QString extension = plan.extension.toLower();
    const bool m4a = extension == QLatin1String("m4b") || extension == QLatin1String("m4r");
    return QStringLiteral("output.") + (m4a ? QStringLiteral("m4a") : extension);
}

} // namespace

QString workerRefusal(const TaskPlan &plan)
{
    if (!plan.encoding)
        return QStringLiteral("its options were written by hand, not planned from settings");
    return workerRefusal(*plan.encoding, engineOutputName(plan));
}

QString plannedEngine(EngineChoice choice, const TaskPlan &plan)
{
    EncodeTask task;
    task.output = engineOutputName(plan);
    task.plan = plan.encoding;
    return engineFor(choice, task, WorkerPool::instance()->program());
}

WorkerEncodeJob::WorkerEncodeJob(
    WorkerPool *pool, const QString &ffmpegProgram, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , m_pool(pool)
    , m_task(task)
{
    m_result.engine = WorkerEngineName;
    const QString program = ffmpegProgram.isEmpty() ? QStringLiteral("ffmpeg") : ffmpegProgram;
    m_result.commandLine = QStringList(program) + buildFfmpegArguments(task);
    m_watchdog.setSingleShot(true);
    connect(&m_watchdog, &QTimer::timeout, this, &WorkerEncodeJob::onTimeout);
}

WorkerEncodeJob::~WorkerEncodeJob()
{
    if (m_worker && m_pool)
        m_pool->discard(m_worker, KillWaitMs);
}

void WorkerEncodeJob::start()
{
    if (isFinished() || m_worker)
        return;
    const auto failSoon = [this](const QString &message) {
        QTimer::singleShot(0, this, [this, message] { fail(message); });
    };
    if (!m_task.plan) {
        failSoon(QStringLiteral("The converter cannot run this task: it has no plan."));
        return;
    }
    const QString refusal = workerRefusal(*m_task.plan, m_task.output);
    if (!refusal.isEmpty()) {
        failSoon(
            QStringLiteral("The converter cannot run this task: ") + refusal + QLatin1Char('.'));
        return;
    }
    if (!m_pool) {
        failSoon(QStringLiteral("The converter program sonivert-worker was not found."));
        return;
    }
    sendTask(false);
}

void WorkerEncodeJob::sendTask(bool freshWorker)
{
    QString error;
    m_worker = m_pool->acquire(
        &error, freshWorker ? WorkerPool::Reuse::StartFresh : WorkerPool::Reuse::IdleFirst);
    if (!m_worker) {
        QTimer::singleShot(0, this, [this, error] { fail(error); });
        return;
    }
    m_accepted = false;
    static qint64 lastId = 0;
    m_taskId = ++lastId;
    connect(m_worker, &WorkerProcess::messageReceived, this, &WorkerEncodeJob::onMessage);
    connect(m_worker, &WorkerProcess::ended, this, &WorkerEncodeJob::onWorkerEnded);

    QString why;
    const EncodePlan &plan = *m_task.plan;
    worker::Message message { worker::MessageType::Task, {} };
    message.add("id", m_taskId)
        .add("input", QFile::encodeName(m_task.input).toStdString())
        .add("output", QFile::encodeName(m_task.temporaryOutput).toStdString())
        .add("track", int64_t(m_task.facts.audioTrack))
        .add("start_us", int64_t(m_task.cut.startUs))
        .add("length_us", int64_t(m_task.cut.lengthUs))
        .add("cover", coverChoiceName(m_task.extras.cover))
        .add("chapters", int64_t(m_task.extras.chapters ? 1 : 0));
    if (plan.copyAudio) {
        message.add("copy", int64_t(1));
    } else {
        message.add("encoder", workerEncoderName(plan, m_task.output, &why).toStdString())
            .add("channels", int64_t(plan.channels))
            .add("rate", int64_t(plan.sampleRate.toInt()))
            .add("bitrate", int64_t(plan.audioBitrateKbps) * 1000);
    }
    for (const auto &[key, value] : m_task.facts.tags)
        message.add("tag", (key + QLatin1Char('=') + value).toStdString());
    if (m_task.segment) {
        message.add("packets", QFile::encodeName(m_task.segment->packetFile).toStdString())
            .add("segment_from", int64_t(m_task.segment->fromSample))
            .add("segment_to", int64_t(m_task.segment->toSample));
    }
    for (const QString &part : m_task.joinParts)
        message.add("part", QFile::encodeName(part).toStdString());
    if (m_paused)
        m_worker->signal(SIGSTOP);
    else
        m_watchdog.start(m_pool->noProgressTimeoutMs());
    if (!m_worker->send(message))
        QTimer::singleShot(0, this, [this] { onWorkerEnded(); });
}

void WorkerEncodeJob::pause()
{
    if (m_paused || isFinished())
        return;
    m_paused = true;
    m_watchdog.stop();
    if (m_worker)
        m_worker->signal(SIGSTOP);
}

void WorkerEncodeJob::resume()
{
    if (!m_paused)
        return;
    m_paused = false;
    if (m_worker) {
        m_worker->signal(SIGCONT);
        if (m_pool)
            m_watchdog.start(m_pool->noProgressTimeoutMs());
    }
}

void WorkerEncodeJob::stop()
{
    if (isFinished())
        return;
    m_stopping = true;
    m_watchdog.stop();
    if (m_check)
        m_check->disconnect(this);
    // The worker is ended with its task: its partial file goes with the task.
    dropWorker(KillWaitMs);
    QTimer::singleShot(0, this, [this] { finish(JobOutcome::Stopped, QString()); });
}

void WorkerEncodeJob::stopAndWait()
{
    if (isFinished())
        return;
    stop();
    finish(JobOutcome::Stopped, QString());
}

void WorkerEncodeJob::dropWorker(int waitMs)
{
    if (!m_worker)
        return;
    m_worker->disconnect(this);
    if (m_pool)
        m_pool->discard(m_worker, waitMs);
    m_worker = nullptr;
}

void WorkerEncodeJob::onMessage(const worker::Message &message)
{
    if (message.number("id", -1) != m_taskId || isFinished() || m_stopping)
        return;
    if (!m_paused && m_pool)
        m_watchdog.start(m_pool->noProgressTimeoutMs());
    switch (message.type) {
    case worker::MessageType::Accepted:
        m_accepted = true;
        break;
    case worker::MessageType::Progress:
        emit progress(message.number("out_us", 0));
        break;
    case worker::MessageType::Log:
        takeLogLine(
            int(message.number("level", LogInfo)), QString::fromStdString(message.text("line")));
        break;
    case worker::MessageType::End: {
        // The Ogg or Opus cover the worker wrote: the equivalent command carries it too.
        const std::string comment = message.text("picture_comment");
        if (!comment.empty() && !m_result.commandLine.isEmpty()) {
            m_result.commandLine = QStringList(m_result.commandLine.first())
                + buildFfmpegArguments(m_task, QString::fromStdString(comment));
        }
        endTask(message.number("ok", 0) == 1);
        break;
    }
    default:
        break;
    }
}

void WorkerEncodeJob::takeLogLine(int level, const QString &line)
{
    const QString tagged = level <= LogError
        ? QStringLiteral("[error] ") + line
        : (level <= LogWarning ? QStringLiteral("[warning] ") + line : line);
    m_result.logTail << tagged;
    keepLast(m_result.logTail, TailLines);
    const FfmpegLogLine parsed = parseFfmpegLogLine(line);
    if (level <= LogError) {
        m_errorLines << parsed.text;
        keepLast(m_errorLines, ErrorLineCount);
    }
    if (reportsPartialFile(parsed.text))
        m_partialFile = true;
    if (m_loggedLines < LoggedLines)
        emit logLine(level, tagged);
    ++m_loggedLines;
}

void WorkerEncodeJob::endTask(bool ok)
{
    m_watchdog.stop();
    if (m_worker) {
        m_worker->disconnect(this);
        if (m_pool)
            m_pool->release(m_worker);
        m_worker = nullptr;
    }
    m_result.exitCode = ok ? 0 : 1;
    if (!ok || m_partialFile) {
        fail(failureMessage());
        return;
    }
    if (m_task.segment) {
        // A segment's packets are checked by the join that reads them.
        finish(JobOutcome::Succeeded, QString());
        return;
    }
    m_check = readBackLater(m_task, this);
    connect(m_check, &QFutureWatcherBase::finished, this, [this] {
        const OutputVerdict verdict = m_check->result();
        finish(verdict.whole ? JobOutcome::Succeeded : JobOutcome::Failed, verdict.message);
    });
}

void WorkerEncodeJob::fail(const QString &message)
{
    m_watchdog.stop();
    finish(JobOutcome::Failed, message);
}

void WorkerEncodeJob::onWorkerEnded()
{
    if (isFinished() || m_stopping)
        return;
    const QString how = m_worker ? m_worker->endDescription() : QString();
    if (m_worker) {
        for (const QString &line : m_worker->errorTail())
            m_result.logTail << line;
    }
    m_result.logTail << QStringLiteral("sonivert-worker ")
            + (how.isEmpty() ? QStringLiteral("ended") : how);
    // The worker has ended: nothing writes the temporary file any more.
    dropWorker(KillWaitMs);
    // A worker that died before it read the task (while it waited idle, say) says nothing about
    // this file: a fresh one gets the task, once.
    if (!m_accepted && !m_retried && m_pool) {
        m_retried = true;
        m_result.logTail << QStringLiteral("The task went to a fresh sonivert-worker.");
        sendTask(true);
        return;
    }
    fail(WorkerCrashMessage);
}

void WorkerEncodeJob::onTimeout()
{
    if (isFinished() || m_stopping || m_paused)
        return;
    m_result.logTail << QStringLiteral("sonivert-worker said nothing for %1 s and was ended")
                            .arg(m_pool ? m_pool->noProgressTimeoutMs() / 1000.0 : 0.0);
    dropWorker(KillWaitMs);
    fail(WorkerHangMessage);
}

QString WorkerEncodeJob::failureMessage() const
{
    if (m_partialFile && m_result.exitCode == 0)
        return m_task.input + QLatin1String(": partial file");
    QStringList lines = m_errorLines;
    for (QString &line : lines) {
        line.replace(m_task.temporaryOutput, m_task.output);
        // A segment's packets are part of the output to the person.
        if (m_task.segment)
            line.replace(m_task.segment->packetFile, m_task.output);
        for (const QString &part : m_task.joinParts)
            line.replace(part, m_task.output);
    }
    QString message
        = engineMessage(lines, FailureFacts { m_task.input, m_task.output, m_task.facts.hasAudio });
    if (message.isEmpty())
        message = QStringLiteral("The converter could not convert this file.");
    return message;
}

EncodeJobFactory engineJobFactory(
    EngineChoice choice, const QString &ffmpegProgram, WorkerPool *pool)
{
    return [choice, ffmpegProgram, pool](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        WorkerPool *workers = pool ? pool : WorkerPool::instance();
        if (engineFor(choice, task, workers->program()) == WorkerEngineName)
            return new WorkerEncodeJob(workers, ffmpegProgram, task, parent);
        return new FfmpegEncodeJob(ffmpegProgram, task, parent);
    };
}

} // namespace sonivert
