#pragma once

#include "core/convert/encode_job.h"
#include "core/convert/encoder.h"
#include "core/convert/output_naming.h"
#include "core/convert/run_progress.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QString>
#include <vector>

namespace sonivert {

enum class RunState : int {
    Idle = 0,
    Converting = 1,
    Paused = 2,
};

enum class RowOutcome {
    Waiting,
    Converting,
    Done,
    Failed,
    Cancelled,
};

struct RunFailure
{
    int row = -1;
    QString message;
};

// One conversion run, whoever drives it (the main window, the command line, a diagnosis): the
// rows' plans, their output names (names given out in the run count as taken), the M4A that M4B
// and M4R outputs are encoded as first, the run's state, per-row and total progress, the
// elapsed time, the engine messages that stop the whole run, and what failed.
//
// Rows are the front end's numbers; the run maps them to the engine's tasks itself.
class ConversionRun : public QObject
{
    Q_OBJECT

public:
    explicit ConversionRun(QObject *parent = nullptr);
    ~ConversionRun() override;

    // The engine's jobs: the ffmpeg program's unless set.
    void setJobFactory(EncodeJobFactory factory);
    void setFfmpegProgram(const QString &program);
    // Without a factory set: the engine of every task (Auto: the worker where it can).
    void setEngineChoice(EngineChoice choice);
    // A row whose engine gives no sign of life for this long fails (default 120 s).
    void setStallTimeoutSeconds(double seconds);
    // One long file on several threads: on unless turned off (see Encoder::setSegmentation).
    void setSegmentation(bool on);
    // The least sound a segment gets; a minute unless set (tests use seconds).
    void setMinimumSegmentSeconds(double seconds);

    // Forgets the last run and begins planning one that writes into folder.
    void begin(const QString &folder);
    struct OutputNames
    {
        QString output; // the final name
        QString encoderOutput; // what the engine writes: the M4A of an M4B or M4R output
    };
    // The names a row's output takes, claimed for the run as AddRow claims them: never an
    // existing file's, never another row's. A dry run plans with these alone.
    // A suffix goes between the source's name and the extension: "clip (track 2, eng).M4A",
    // "talk - 03 - Questions.MP3".
    OutputNames claimOutputNames(
        const QString &input, const QString &extension, const QString &nameSuffix = QString());
    // Plans a row: claims its output name in the folder and queues it with the engine. The
    // final output name, or "" with the reason in LastErrorText when the engine refuses it.
    // A row added again gets one more output (one per audio track or chapter): it shows the
    // progress of all of them, ends once they all have, and fails when any of them fails.
    QString addRow(int row, const QString &input, const TaskPlan &plan);
    // Starts the rows added since Begin, threadCount at once (0: one per processor core).
    void start(int threadCount);
    void pause();
    void resume();
    // The person's Stop: running rows end, rows not yet done are cancelled, and runEnded follows
    // with UserStop. While idle it does nothing.
    void stop();
    // Drops the run without events: what runs ends, and nothing it wrote stays.
    void abandon();

    RunState State() const { return m_state; }
    QString folder() const { return m_folder; }
    QString LastErrorText() const { return m_lastError; }
    int rowCount() const { return int(m_rows.size()); }
    bool hasRow(int row) const;
    RowOutcome outcome(int row) const;
    int rowPercent(int row) const;
    // The first output of a row of several.
    QString finalOutput(int row) const;
    // The command that ran for the row (its first failed output's, else its first), as a person
    // runs it again: writing the output under its own name instead of the hidden one the run
    // wrote, moved into place after a read-back. Empty while nothing ran.
    QStringList taskCommand(int row) const;
    // That command and the engine's last lines, for the failure report.
    QString taskDetails(int row) const;
    // The engine that ran the row ("ffmpeg", "worker"); "" while it has not started.
    QString taskEngine(int row) const;
    // Each output of a row with how it went, in the order they were added: one, or one per
    // audio track or chapter.
    struct RowOutput
    {
        QString output;
        RowOutcome outcome = RowOutcome::Waiting;
        QString message;
        QString engine;
    };
    QList<RowOutput> outputs(int row) const;
    // The segments the row was encoded in at once (1: single pass); 0 while it has not started.
    int taskSegments(int row) const;
    const QList<RunFailure> &failures() const { return m_failures; }
    RunStopReason stopReason() const { return m_stopReason; }
    // Rows weigh by the sound they are expected to give; the percent never goes back.
    int totalPercent() const { return m_totalPercent; }
    // Seconds spent converting, pauses left out.
    int elapsedSeconds() const;

signals:
    void stateChanged(RunState state);
    // percent is -1 when the row's length is unknown.
    void rowProgress(int row, int percent);
    void rowEnded(int row, RowOutcome outcome, const QString &message);
    void totalProgress(int percent);
    // The run is over: every row ended, or reason stopped it first. Once per run.
    void runEnded(RunStopReason reason);
    // Each line the engine logs: "#row.level line".
    void logLine(const QString &line);

private:
    struct Row
    {
        int row = -1;
        int task = -1;
        QString output; // the final name
        QString encoderOutput; // the name the engine writes, the M4A for M4B and M4R
        RowOutcome outcome = RowOutcome::Waiting;
        int percent = 0;
        qint64 lengthUs = 0; // its weight in the total
        qint64 doneUs = 0;
        QString message; // why it failed
    };

    Row *rowOfTask(int task);
    Row *find(int row);
    const Row *find(int row) const;
    // The outputs of a row (one entry per addRow).
    QList<const Row *> partsOf(int row) const;
    // The output of a row its report tells of: the first that failed, else the first.
    const Row *reportedPart(int row) const;
    // The outcome of a row from its outputs': Waiting or Converting while one has not ended.
    RowOutcome combinedOutcome(int row) const;
    int combinedPercent(int row) const;
    void setState(RunState state);
    void onProgress(int task, qint64 positionUs, qint64 totalUs);
    void onTaskEnd(int task, EncoderTaskState state, const QString &message);
    // Ends one output; the row ends with its last output.
    void endPart(Row &part, RowOutcome outcome, const QString &message);
    void stopWith(RunStopReason reason);
    void finishRun(RunStopReason reason);
    void updateTotal();

    Encoder *m_encoder = nullptr;
    std::vector<Row> m_rows;
    QHash<int, size_t> m_rowIndexOfTask;
    OutputNameRegistry m_names;
    QList<RunFailure> m_failures;
    QString m_folder;
    QString m_lastError;
    RunState m_state = RunState::Idle;
    RunStopReason m_stopReason = RunStopReason::None;
    int m_totalPercent = 0;
    QElapsedTimer m_clock;
    qint64 m_elapsedBeforeMs = 0; // time converted before the last resume
};

} // namespace sonivert
