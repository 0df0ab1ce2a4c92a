#include "core/convert/segmented_encode_job.h"

#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/output_naming.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <algorithm>

extern "C" {
#include <libavformat/avformat.h>
}

namespace sonivert {

namespace {

// The encoders whose segments the worker joins exactly, with the containers it joins them in.
bool joinsExactly(const QString &encoder, const QString &format)
{
    if (encoder == QLatin1String("libmp3lame"))
        return format == QLatin1String("mp3");
    if (encoder == QLatin1String("aac"))
        return format == QLatin1String("ipod") || format == QLatin1String("mp4")
            || format == QLatin1String("mov");
    if (encoder == QLatin1String("flac"))
        return format == QLatin1String("flac");
    if (encoder.startsWith(QLatin1String("pcm_")))
        return format == QLatin1String("wav") || format == QLatin1String("aiff");
    return false;
}

} // namespace

int segmentCountFor(const EncodeTask &task, qint64 lengthUs, int threads, qint64 minimumSegmentUs)
{
    if (threads < 2 || lengthUs <= 0 || !task.plan || task.plan->copyAudio || task.segment
        || !task.joinParts.isEmpty())
        return 1;
    if (!workerRefusal(*task.plan, task.output).isEmpty())
        return 1;
    QString why;
    const QString encoder = workerEncoderName(*task.plan, task.output, &why);
    const AVOutputFormat *format
        = av_guess_format(nullptr, QFile::encodeName(task.output).constData(), nullptr);
    if (!format || !joinsExactly(encoder, QString::fromUtf8(format->name)))
        return 1;
    const qint64 fit = lengthUs / std::max<qint64>(minimumSegmentUs, 1);
    return int(std::clamp<qint64>(fit, 1, threads));
}

SegmentCosts segmentCostsFor(const QString &encoder, int sampleRate)
{
    // Measured on 10-minute files: decoding the sound before a segment costs about a third of
    // encoding it to FLAC or PCM, a twentieth for MP3 and AAC. The worker starts AAC segments
    // 20 s and MP3 segments 16 frames early.
    if (encoder == QLatin1String("aac"))
        return { 20LL * sampleRate, 0.05 };
    if (encoder == QLatin1String("libmp3lame"))
        return { 16 * 1152, 0.05 };
    return { 0, 0.35 };
}

QList<qint64> segmentStarts(qint64 samples, int count, const SegmentCosts &costs)
{
    // With the work w of each segment, the starts follow from the first: s1 = w and
    // s(k+1) = s(k) + w - lead-in - prefixCost * s(k). The w that ends the last at `samples`
    // is found by halving.
    const auto end = [&](double work) {
        double start = work;
        for (int k = 1; k < count; ++k)
            start += work - double(costs.leadInSamples) - costs.prefixCost * start;
        return start;
    };
    double low = double(samples) / count;
    double high = double(samples);
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        (end(middle) < double(samples) ? low : high) = middle;
    }
    QList<qint64> starts { 0 };
    double start = low;
    for (int k = 1; k < count; ++k) {
        // Never less than an equal share's half: a cost estimate must not starve a segment.
        const qint64 floor = starts.last() + samples / count / 2;
        starts << std::clamp(qint64(start), floor, samples);
        start += low - double(costs.leadInSamples) - costs.prefixCost * start;
    }
    return starts;
}

SegmentedEncodeJob::SegmentedEncodeJob(WorkerPool *pool, const QString &ffmpegProgram,
    const EncodeTask &task, int segments, QObject *parent)
    : EncodeJob(parent)
    , m_pool(pool)
    , m_ffmpegProgram(ffmpegProgram)
    , m_task(task)
    , m_segments(std::max(segments, 2))
{
    // The report shows the single-pass command: the segments give the same file.
    const QString program = ffmpegProgram.isEmpty() ? QStringLiteral("ffmpeg") : ffmpegProgram;
    m_result.engine = WorkerEngineName;
    m_result.commandLine = QStringList(program) + buildFfmpegArguments(task);
}

SegmentedEncodeJob::~SegmentedEncodeJob()
{
    stopParts();
    removePartFiles();
}

WorkerEncodeJob *SegmentedEncodeJob::makeJob(const EncodeTask &task)
{
    auto *job = new WorkerEncodeJob(m_pool, m_ffmpegProgram, task, this);
    connect(job, &EncodeJob::logLine, this, &EncodeJob::logLine);
    if (m_paused)
        job->pause();
    return job;
}

void SegmentedEncodeJob::start()
{
    if (isFinished() || !m_parts.isEmpty())
        return;
    const qint64 rate = m_task.plan ? m_task.plan->sampleRate.toLongLong() : 0;
    const qint64 lengthUs = m_task.cut.lengthUs >= 0 ? m_task.cut.lengthUs
        : m_task.facts.audioDurationUs > 0
        ? m_task.facts.audioDurationUs - std::max<qint64>(m_task.cut.startUs, 0)
        : m_task.facts.durationUs - std::max<qint64>(m_task.cut.startUs, 0);
    const qint64 samples = lengthUs * rate / 1'000'000;
    const QString folder = QFileInfo(m_task.temporaryOutput).absolutePath();
    QString why;
    const QList<qint64> starts = segmentStarts(samples, m_segments,
        segmentCostsFor(
            m_task.plan ? workerEncoderName(*m_task.plan, m_task.output, &why) : QString(),
            int(rate)));
    m_partDoneUs.assign(size_t(m_segments), 0);
    for (int i = 0; i < m_segments; ++i) {
        EncodeTask part = m_task;
        TaskSegment segment;
        segment.packetFile
            = temporaryOutputName(folder + QDir::separator() + QStringLiteral("segment.part"));
        segment.fromSample = starts.at(i);
        segment.toSample = i + 1 < m_segments ? starts.at(i + 1) : -1;
        part.segment = segment;
        m_partFiles << segment.packetFile;
        WorkerEncodeJob *job = makeJob(part);
        m_parts << job;
        connect(job, &EncodeJob::progress, this, [this, i](qint64 us) {
            m_partDoneUs[size_t(i)] = std::max(m_partDoneUs[size_t(i)], us);
            qint64 done = 0;
            for (const qint64 partUs : m_partDoneUs)
                done += partUs;
            emit progress(done);
        });
        connect(job, &EncodeJob::finished, this, [this, i] { onPartFinished(i); });
    }
    for (const QPointer<WorkerEncodeJob> &job : m_parts)
        job->start();
}

void SegmentedEncodeJob::onPartFinished(int part)
{
    if (isFinished())
        return;
    const EncodeJobResult result = m_parts[part]->Result();
    if (result.outcome != JobOutcome::Succeeded) {
        stopParts();
        end(result.outcome, result.message, &result);
        return;
    }
    const bool all = std::all_of(m_parts.begin(), m_parts.end(), [](const auto &job) {
        return job && job->isFinished() && job->Result().outcome == JobOutcome::Succeeded;
    });
    if (all)
        startJoin();
}

void SegmentedEncodeJob::startJoin()
{
    EncodeTask join = m_task;
    join.joinParts = m_partFiles;
    m_join = makeJob(join);
    connect(m_join, &EncodeJob::finished, this, &SegmentedEncodeJob::onJoinFinished);
    m_join->start();
}

void SegmentedEncodeJob::onJoinFinished()
{
    if (isFinished() || !m_join)
        return;
    const EncodeJobResult result = m_join->Result();
    end(result.outcome, result.message, &result);
}

void SegmentedEncodeJob::end(
    JobOutcome outcome, const QString &message, const EncodeJobResult *from)
{
    removePartFiles();
    if (from) {
        m_result.logTail = from->logTail;
        m_result.exitCode = from->exitCode;
    }
    finish(outcome, message);
}

void SegmentedEncodeJob::pause()
{
    if (m_paused || isFinished())
        return;
    m_paused = true;
    for (const QPointer<WorkerEncodeJob> &job : m_parts) {
        if (job)
            job->pause();
    }
    if (m_join)
        m_join->pause();
}

void SegmentedEncodeJob::resume()
{
    if (!m_paused)
        return;
    m_paused = false;
    for (const QPointer<WorkerEncodeJob> &job : m_parts) {
        if (job)
            job->resume();
    }
    if (m_join)
        m_join->resume();
}

// Each part's stop ends its worker before it returns, so nothing writes the files after this.
void SegmentedEncodeJob::stopParts()
{
    for (const QPointer<WorkerEncodeJob> &job : m_parts) {
        if (job && !job->isFinished()) {
            job->disconnect(this);
            job->stopAndWait();
        }
    }
    if (m_join && !m_join->isFinished()) {
        m_join->disconnect(this);
        m_join->stopAndWait();
    }
}

void SegmentedEncodeJob::removePartFiles()
{
    for (const QString &file : std::as_const(m_partFiles))
        QFile::remove(file);
}

void SegmentedEncodeJob::stop()
{
    if (isFinished())
        return;
    stopParts();
    removePartFiles();
    QTimer::singleShot(0, this, [this] { finish(JobOutcome::Stopped, QString()); });
}

void SegmentedEncodeJob::stopAndWait()
{
    if (isFinished())
        return;
    stopParts();
    removePartFiles();
    finish(JobOutcome::Stopped, QString());
}

} // namespace sonivert
