#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/output_check.h"

#include <QFutureWatcher>
#include <QPointer>

namespace sonivert {

class FfmpegJob;

// A task converted by one run of the ffmpeg program, then read back: an exit status of 0 proves
// nothing about the file.
class FfmpegEncodeJob : public EncodeJob
{
    Q_OBJECT

public:
    FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent = nullptr);
    ~FfmpegEncodeJob() override;

    void Start() override;
    void Pause() override;
    void Resume() override;
    void Stop() override;
    void StopAndWait() override;
    bool IsFinished() const override { return finished_; }
    EncodeJobResult Result() const override { return result_; }

private:
    void onProcessFinished();
    void onOutputChecked(const OutputVerdict &verdict);
    void finish(JobOutcome outcome, const QString &message);
    QString failureMessage() const;

    QString program_;
    EncodeTask task_;
    FfmpegJob *process_ = nullptr;
    QPointer<QFutureWatcher<OutputVerdict>> check_;
    EncodeJobResult result_;
    bool finished_ = false;
    bool stopping_ = false;
};

// The factory of the ffmpeg engine: every job runs program.
EncodeJobFactory FfmpegJobFactory(const QString &program);

} // namespace sonivert
