#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/output_check.h"

#include <QFutureWatcher>
#include <QPointer>

namespace sonivert {

class FfmpegJob;

// The ffmpeg argv of one task (without the program): the input, then the output options (split
// like a shell word list), the song tags and the cut, then the output. The option texts' own
// "-ss" and "-t" are left out: an untrimmed task converts the whole sound, and a trimmed one is
// cut after decoding, which counts from the file's start and needs no index to seek in.
QStringList buildFfmpegArguments(const QString &input, const QString &inputOptions,
    const QString &output, const QString &outputOptions, const TaskCut &cut, const SongTags &tags);

// A task converted by one run of the ffmpeg program, then read back: an exit status of 0 proves
// nothing about the file.
class FfmpegEncodeJob : public EncodeJob
{
    Q_OBJECT

public:
    FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent = nullptr);
    ~FfmpegEncodeJob() override;

    void start() override;
    void pause() override;
    void resume() override;
    void stop() override;
    void stopAndWait() override;

private:
    void onProcessFinished();
    void onOutputChecked(const OutputVerdict &verdict);
    QString failureMessage() const;

    QString m_program;
    EncodeTask m_task;
    FfmpegJob *m_process = nullptr;
    QPointer<QFutureWatcher<OutputVerdict>> m_check;
    bool m_stopping = false;
};

// The factory of the ffmpeg engine: every job runs program.
EncodeJobFactory ffmpegJobFactory(const QString &program);

} // namespace sonivert
