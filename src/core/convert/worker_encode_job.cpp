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
        QStringLiteral("wmav2"), QStringLiteral("adpcm_ima_wav"), QStringLiteral("adpcm_ms") };
    return names.contains(name) || name.startsWith(QLatin1String("pcm_"));
}

// The encoder ffmpeg runs for a plan: the -acodec value the command line gets, or the muxer's
// default.
QString encoderOf(const EncodePlan &plan, const QString &output, QString *why)
{
    if (!plan.audioEncoder.isEmpty()) {
        const QString name = FfmpegAudioEncoder(plan);
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

} // namespace

bool ParseEngineChoice(const QString &text, EngineChoice *choice)
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

QString WorkerRefusal(const EncodePlan &plan, const QString &output)
{
    if (plan.video)
        return QStringLiteral("it writes video");
    if (!plan.audio)
        return QStringLiteral("it writes no sound");
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
    const QString encoder = encoderOf(plan, output, &why);
    if (encoder.isEmpty())
        return why;
    if (!isWorkerEncoder(encoder))
        return QStringLiteral("it does not run the %1 encoder").arg(encoder);
    return QString();
}

QString EngineFor(EngineChoice choice, const EncodeTask &task, const QString &workerProgram)
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
    return WorkerRefusal(*task.plan, task.output).isEmpty() ? WorkerEngineName : FfmpegEngineName;
}

namespace {

QString engineOutputName(const TaskPlan &plan)
{
    const QString extension = plan.extension.toLower();
    const bool m4a = extension == QLatin1String("m4b") || extension == QLatin1String("m4r");
    return QStringLiteral("output.") + (m4a ? QStringLiteral("m4a") : extension);
}

} // namespace

QString WorkerRefusal(const TaskPlan &plan)
{
    if (!plan.encoding)
        return QStringLiteral("its options were written by hand, not planned from settings");
    return WorkerRefusal(*plan.encoding, engineOutputName(plan));
}

QString PlannedEngine(EngineChoice choice, const TaskPlan &plan)
{
    EncodeTask task;
    task.output = engineOutputName(plan);
    task.plan = plan.encoding;
    return EngineFor(choice, task, WorkerPool::Instance()->Program());
}

WorkerEncodeJob::WorkerEncodeJob(
    WorkerPool *pool, const QString &ffmpegProgram, const EncodeTask &task, QObject *parent)
    : EncodeJob(parent)
    , pool_(pool)
    , task_(task)
{
    result_.engine = WorkerEngineName;
    const QString program = ffmpegProgram.isEmpty() ? QStringLiteral("ffmpeg") : ffmpegProgram;
    result_.commandLine = QStringList(program) + BuildFfmpegArguments(task);
    watchdog_.setSingleShot(true);
    connect(&watchdog_, &QTimer::timeout, this, &WorkerEncodeJob::onTimeout);
}

WorkerEncodeJob::~WorkerEncodeJob()
{
    if (worker_ && pool_)
        pool_->Discard(worker_, KillWaitMs);
}

void WorkerEncodeJob::Start()
{
    if (IsFinished() || worker_)
        return;
    const auto failSoon = [this](const QString &message) {
        QTimer::singleShot(0, this, [this, message] { fail(message); });
    };
    if (!task_.plan) {
        failSoon(QStringLiteral("The converter cannot run this task: it has no plan."));
        return;
    }
    const QString refusal = WorkerRefusal(*task_.plan, task_.output);
    if (!refusal.isEmpty()) {
        failSoon(
            QStringLiteral("The converter cannot run this task: ") + refusal + QLatin1Char('.'));
        return;
    }
    if (!pool_) {
        failSoon(QStringLiteral("The converter program sonivert-worker was not found."));
        return;
    }
    sendTask(false);
}

void WorkerEncodeJob::sendTask(bool freshWorker)
{
    QString error;
    worker_ = pool_->Acquire(
        &error, freshWorker ? WorkerPool::Reuse::StartFresh : WorkerPool::Reuse::IdleFirst);
    if (!worker_) {
        QTimer::singleShot(0, this, [this, error] { fail(error); });
        return;
    }
    accepted_ = false;
    static qint64 lastId = 0;
    taskId_ = ++lastId;
    connect(worker_, &WorkerProcess::messageReceived, this, &WorkerEncodeJob::onMessage);
    connect(worker_, &WorkerProcess::ended, this, &WorkerEncodeJob::onWorkerEnded);

    QString why;
    const EncodePlan &plan = *task_.plan;
    worker::Message message { worker::MessageType::Task, {} };
    message.Add("id", taskId_)
        .Add("input", QFile::encodeName(task_.input).toStdString())
        .Add("output", QFile::encodeName(task_.temporaryOutput).toStdString())
        .Add("encoder", encoderOf(plan, task_.output, &why).toStdString())
        .Add("channels", int64_t(plan.channels))
        .Add("rate", int64_t(plan.sampleRate.toInt()))
        .Add("bitrate", int64_t(plan.audioBitrateKbps) * 1000)
        .Add("start_us", int64_t(task_.cut.startUs))
        .Add("length_us", int64_t(task_.cut.lengthUs));
    for (const auto &[key, value] : task_.facts.tags)
        message.Add("tag", (key + QLatin1Char('=') + value).toStdString());
    if (paused_)
        worker_->Signal(SIGSTOP);
    else
        watchdog_.start(pool_->NoProgressTimeoutMs());
    if (!worker_->Send(message))
        QTimer::singleShot(0, this, [this] { onWorkerEnded(); });
}

void WorkerEncodeJob::Pause()
{
    if (paused_ || IsFinished())
        return;
    paused_ = true;
    watchdog_.stop();
    if (worker_)
        worker_->Signal(SIGSTOP);
}

void WorkerEncodeJob::Resume()
{
    if (!paused_)
        return;
    paused_ = false;
    if (worker_) {
        worker_->Signal(SIGCONT);
        if (pool_)
            watchdog_.start(pool_->NoProgressTimeoutMs());
    }
}

void WorkerEncodeJob::Stop()
{
    if (IsFinished())
        return;
    stopping_ = true;
    watchdog_.stop();
    if (check_)
        check_->disconnect(this);
    // The worker is ended with its task: its partial file goes with the task.
    dropWorker(KillWaitMs);
    QTimer::singleShot(0, this, [this] { Finish(JobOutcome::Stopped, QString()); });
}

void WorkerEncodeJob::StopAndWait()
{
    if (IsFinished())
        return;
    Stop();
    Finish(JobOutcome::Stopped, QString());
}

void WorkerEncodeJob::dropWorker(int waitMs)
{
    if (!worker_)
        return;
    worker_->disconnect(this);
    if (pool_)
        pool_->Discard(worker_, waitMs);
    worker_ = nullptr;
}

void WorkerEncodeJob::onMessage(const worker::Message &message)
{
    if (message.Number("id", -1) != taskId_ || IsFinished() || stopping_)
        return;
    if (!paused_ && pool_)
        watchdog_.start(pool_->NoProgressTimeoutMs());
    switch (message.type) {
    case worker::MessageType::Accepted:
        accepted_ = true;
        break;
    case worker::MessageType::Progress:
        emit progress(message.Number("out_us", 0));
        break;
    case worker::MessageType::Log:
        takeLogLine(
            int(message.Number("level", LogInfo)), QString::fromStdString(message.Text("line")));
        break;
    case worker::MessageType::End:
        endTask(message.Number("ok", 0) == 1);
        break;
    default:
        break;
    }
}

void WorkerEncodeJob::takeLogLine(int level, const QString &line)
{
    const QString tagged = level <= LogError
        ? QStringLiteral("[error] ") + line
        : (level <= LogWarning ? QStringLiteral("[warning] ") + line : line);
    result_.logTail << tagged;
    keepLast(result_.logTail, TailLines);
    const FfmpegLogLine parsed = ParseFfmpegLogLine(line);
    if (level <= LogError) {
        errorLines_ << parsed.text;
        keepLast(errorLines_, ErrorLineCount);
    }
    if (ReportsPartialFile(parsed.text))
        partialFile_ = true;
    if (loggedLines_ < LoggedLines)
        emit logLine(level, tagged);
    ++loggedLines_;
}

void WorkerEncodeJob::endTask(bool ok)
{
    watchdog_.stop();
    if (worker_) {
        worker_->disconnect(this);
        if (pool_)
            pool_->Release(worker_);
        worker_ = nullptr;
    }
    result_.exitCode = ok ? 0 : 1;
    if (!ok || partialFile_) {
        fail(failureMessage());
        return;
    }
    check_ = ReadBackLater(task_, this);
    connect(check_, &QFutureWatcherBase::finished, this, [this] {
        const OutputVerdict verdict = check_->result();
        Finish(verdict.whole ? JobOutcome::Succeeded : JobOutcome::Failed, verdict.message);
    });
}

void WorkerEncodeJob::fail(const QString &message)
{
    watchdog_.stop();
    Finish(JobOutcome::Failed, message);
}

void WorkerEncodeJob::onWorkerEnded()
{
    if (IsFinished() || stopping_)
        return;
    const QString how = worker_ ? worker_->EndDescription() : QString();
    if (worker_) {
        for (const QString &line : worker_->ErrorTail())
            result_.logTail << line;
    }
    result_.logTail << QStringLiteral("sonivert-worker ")
            + (how.isEmpty() ? QStringLiteral("ended") : how);
    // The worker has ended: nothing writes the temporary file any more.
    dropWorker(KillWaitMs);
    // A worker that died before it read the task (while it waited idle, say) says nothing about
    // this file: a fresh one gets the task, once.
    if (!accepted_ && !retried_ && pool_) {
        retried_ = true;
        result_.logTail << QStringLiteral("The task went to a fresh sonivert-worker.");
        sendTask(true);
        return;
    }
    fail(WorkerCrashMessage);
}

void WorkerEncodeJob::onTimeout()
{
    if (IsFinished() || stopping_ || paused_)
        return;
    result_.logTail << QStringLiteral("sonivert-worker said nothing for %1 s and was ended")
                           .arg(pool_ ? pool_->NoProgressTimeoutMs() / 1000.0 : 0.0);
    dropWorker(KillWaitMs);
    fail(WorkerHangMessage);
}

QString WorkerEncodeJob::failureMessage() const
{
    if (partialFile_ && result_.exitCode == 0)
        return task_.input + QLatin1String(": partial file");
    QStringList lines = errorLines_;
    for (QString &line : lines)
        line.replace(task_.temporaryOutput, task_.output);
    QString message
        = EngineMessage(lines, FailureFacts { task_.input, task_.output, task_.facts.hasAudio });
    if (message.isEmpty())
        message = QStringLiteral("The converter could not convert this file.");
    return message;
}

EncodeJobFactory EngineJobFactory(
    EngineChoice choice, const QString &ffmpegProgram, WorkerPool *pool)
{
    return [choice, ffmpegProgram, pool](const EncodeTask &task, QObject *parent) -> EncodeJob * {
        WorkerPool *workers = pool ? pool : WorkerPool::Instance();
        if (EngineFor(choice, task, workers->Program()) == WorkerEngineName)
            return new WorkerEncodeJob(workers, ffmpegProgram, task, parent);
        return new FfmpegEncodeJob(ffmpegProgram, task, parent);
    };
}

} // namespace sonivert
