#pragma once

#include "core/convert/encode_job.h"

#include <QList>
#include <QPointer>
#include <QStringList>
#include <vector>

namespace sonivert {

class WorkerPool;
class WorkerEncodeJob;

// The shortest stretch of sound worth a segment of its own in a product run.
inline constexpr qint64 DefaultMinimumSegmentUs = 60'000'000;

// How many segments a task is split into when `threads` workers are free for it: as many as fit
// with at least minimumSegmentUs of sound each, or 1 when the task runs single pass (its output
// format's segments cannot be joined exactly, it is not the worker's, or its length is unknown).
int segmentCountFor(const EncodeTask &task, qint64 lengthUs, int threads, qint64 minimumSegmentUs);

// What a segment costs besides encoding its own sound, in the encoder's terms: every segment but
// the first encodes leadInSamples more, and decodes all the sound before it, which costs
// prefixCost of encoding it.
struct SegmentCosts
{
    qint64 leadInSamples = 0;
    double prefixCost = 0;
};
SegmentCosts segmentCostsFor(const QString &encoder, int sampleRate);

// Where `count` segments of `samples` begin (the first at 0), so that each takes about the same
// work: later segments get less sound for their lead-in and the decoding before them.
QList<qint64> segmentStarts(qint64 samples, int count, const SegmentCosts &costs);

// One task encoded in segments by several workers at once and joined, in order, into its
// temporary output by one more worker task; then read back as any worker task is. To the queue
// it is one job: one progress (the segments' added up), one pause, resume and stop, one outcome.
// A failure of any segment fails the whole with that segment's message. The segments' packet
// files carry temporary output names, so whatever ends the job (or kills the program) leaves none
// behind for long.
class SegmentedEncodeJob : public EncodeJob
{
    Q_OBJECT

public:
    SegmentedEncodeJob(WorkerPool *pool, const QString &ffmpegProgram, const EncodeTask &task,
        int segments, QObject *parent = nullptr);
    ~SegmentedEncodeJob() override;

    void start() override;
    void pause() override;
    void resume() override;
    void stop() override;
    void stopAndWait() override;

    int segmentCount() const { return m_segments; }
    // The segments' packet files, for tests.
    QStringList partFiles() const { return m_partFiles; }

private:
    WorkerEncodeJob *makeJob(const EncodeTask &task);
    void onPartFinished(int part);
    void startJoin();
    void onJoinFinished();
    void end(JobOutcome outcome, const QString &message, const EncodeJobResult *from);
    void stopParts();
    void removePartFiles();

    QPointer<WorkerPool> m_pool;
    QString m_ffmpegProgram;
    EncodeTask m_task;
    int m_segments = 2;
    QStringList m_partFiles;
    QList<QPointer<WorkerEncodeJob>> m_parts;
    std::vector<qint64> m_partDoneUs;
    QPointer<WorkerEncodeJob> m_join;
    bool m_paused = false;
};

} // namespace sonivert
