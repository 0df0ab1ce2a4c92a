#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/output_check.h"

#include <QFutureWatcher>
#include <QPointer>

namespace sonivert {

class FfmpegJob;

// The ffmpeg argv of one task (without the program): the input, the song tags, the output
// options, the cut, then the output. The option texts' own "-ss" and "-t" are left out: an
// untrimmed task converts the whole sound, and a trimmed one is cut after decoding, which counts
// from the file's start and needs no index to seek in.
//
// From option texts only (split like a shell word list), for a task queued without a plan:
// The facts give the song tags and the audio track to map.
QStringList buildFfmpegArguments(const QString &input, const QString &inputOptions,
    const QString &output, const QString &outputOptions, const TaskCut &cut,
    const SourceFacts &facts);
// From a plan: the output options are rendered from its values, as its option string is (from its
// texts when it has no values).
// pictureComment is the cover of an Ogg or Opus output, as pictureCommentFor gives it.
QStringList buildFfmpegArguments(const QString &input, const QString &output, const TaskPlan &plan,
    const QString &pictureComment = {});
// The METADATA_BLOCK_PICTURE value an Ogg or Opus output holds the task's cover in, read or
// made from the source; empty when there is none to carry. Every other holder takes its picture
// from the source in the command itself.
QString pictureCommentFor(const EncodeTask &task);
// The same for a planned output of input, written as output.
QString pictureCommentFor(const QString &input, const QString &output, const TaskPlan &plan);

// A queued task, writing its temporary output: from its plan when it has one. The source's cover
// and chapters go with it where the output can hold them; pictureComment is the cover of an Ogg or
// Opus output.
QStringList buildFfmpegArguments(const EncodeTask &task, const QString &pictureComment = {});

// A task converted by one run of the ffmpeg program, then read back: an exit status of 0 proves
// nothing about the file.
class FfmpegEncodeJob : public EncodeJob
{
    Q_OBJECT

public:
    FfmpegEncodeJob(const QString &program, const EncodeTask &task, QObject *parent = nullptr);

    void start() override;
    void pause() override;
    void resume() override;
    void stop() override;
    void stopAndWait() override;

private:
    void makeProcess(const QStringList &arguments);
    // Whether the command makes the cover picture itself (a video frame, a picture made a JPEG).
    bool makesItsPicture() const;
    void onProcessFinished();
    void onOutputChecked(const OutputVerdict &verdict);
    QString failureMessage() const;

    QString m_program;
    EncodeTask m_task;
    FfmpegJob *m_process = nullptr;
    QPointer<QFutureWatcher<OutputVerdict>> m_check;
    bool m_stopping = false;
    bool m_paused = false;
};

// The factory of the ffmpeg engine: every job runs program.
EncodeJobFactory ffmpegJobFactory(const QString &program);

} // namespace sonivert
