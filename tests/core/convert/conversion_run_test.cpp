#include "core/convert/conversion_run.h"
#include "support/fake_engine.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavutil/log.h>
}

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

namespace {

struct RowEnd
{
    int row;
    RowOutcome outcome;
    QString message;
};

// Everything a run tells its front end, in order.
struct Watch
{
    QList<RunState> states;
    QList<RowEnd> ends;
    QList<QPair<int, int>> progress;
    QList<int> totals;
    QList<RunStopReason> runEnds;

    explicit Watch(ConversionRun &run)
    {
        QObject::connect(
            &run, &ConversionRun::stateChanged, &run, [this](RunState state) { states << state; });
        QObject::connect(&run, &ConversionRun::rowEnded, &run,
            [this](int row, RowOutcome outcome, const QString &message) {
                ends << RowEnd { row, outcome, message };
            });
        QObject::connect(&run, &ConversionRun::rowProgress, &run,
            [this](int row, int percent) { progress << qMakePair(row, percent); });
        QObject::connect(
            &run, &ConversionRun::totalProgress, &run, [this](int percent) { totals << percent; });
        QObject::connect(&run, &ConversionRun::runEnded, &run,
            [this](RunStopReason reason) { runEnds << reason; });
    }

    RowOutcome outcomeOf(int row) const
    {
        for (const RowEnd &end : ends) {
            if (end.row == row)
                return end.outcome;
        }
        return RowOutcome::Waiting;
    }
    bool ended() const { return !runEnds.isEmpty(); }
};

TaskPlan mp3Plan()
{
    return TaskPlan { QString(), u"-VideoOutputHook  -vn -acodec libmp3lame"_s, u"MP3"_s, {}, {},
        {} };
}

} // namespace

// The run's rules, against an engine of scripted jobs: each case takes milliseconds.
class ConversionRunTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir_;
    FakeEngine engine_;
    std::unique_ptr<ConversionRun> run_;

    QString in(const QString &name) const { return dir_.filePath(u"in/"_s + name); }
    QString outFolder() const { return dir_.filePath(u"out"_s); }
    QStringList outputs() const
    {
        return QDir(outFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    // Begins a run with a row per input, each named after its index in the list.
    void plan(const QStringList &names, const QString &extension = u"MP3"_s)
    {
        run_->Begin(outFolder());
        for (int i = 0; i < names.size(); ++i) {
            TaskPlan p = mp3Plan();
            p.extension = extension;
            QVERIFY2(
                !run_->AddRow(i, in(names.at(i)), p).isEmpty(), qPrintable(run_->LastErrorText()));
        }
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET); // the fake inputs are no media
        QVERIFY(dir_.isValid());
        QVERIFY(QDir(dir_.path()).mkpath(u"in"_s));
        for (const char *name : { "a.mp4", "b.mp4", "c.mp4", "song.mp4", "long.mp4" }) {
            QFile file(in(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("not really a video");
        }
    }

    void init()
    {
        QDir(outFolder()).removeRecursively();
        QVERIFY(QDir().mkpath(outFolder()));
        engine_ = FakeEngine();
        run_ = std::make_unique<ConversionRun>();
        run_->SetJobFactory(engine_.Factory());
    }

    void cleanup() { run_.reset(); }

    void rowsRunSeveralAtOnceAndNamesNeverCollide()
    {
        Watch watch(*run_);
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"a.mp4"_s });
        QCOMPARE(run_->FinalOutput(2), outFolder() + u"/a_(new).MP3"_s);
        engine_.otherwise.hold = true;
        run_->Start(2);
        QCOMPARE(run_->State(), RunState::Converting);
        QTRY_COMPARE(engine_.RunningCount(), 2);
        for (const QPointer<FakeJob> &job : engine_.jobs)
            job->Release();
        QTRY_VERIFY(engine_.jobs.size() == 3 && engine_.jobs.last()->IsStarted());
        engine_.jobs.last()->Release();
        QTRY_VERIFY(watch.ended());

        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.states, (QList<RunState> { RunState::Converting, RunState::Idle }));
        for (int row = 0; row < 3; ++row)
            QCOMPARE(watch.outcomeOf(row), RowOutcome::Done);
        QCOMPARE(outputs(), (QStringList { u"a.MP3"_s, u"a_(new).MP3"_s, u"b.MP3"_s }));
        QVERIFY(run_->Failures().isEmpty());
        QCOMPARE(run_->TotalPercent(), 100);
    }

    // Rows are the front end's numbers, whatever order the engine's tasks have.
    void rowNumbersAreTheFrontEnds()
    {
        Watch watch(*run_);
        run_->Begin(outFolder());
        QVERIFY(!run_->AddRow(7, in(u"a.mp4"_s), mp3Plan()).isEmpty());
        QVERIFY(!run_->AddRow(3, in(u"b.mp4"_s), mp3Plan()).isEmpty());
        run_->Start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.ends.size(), 2);
        QCOMPARE(watch.ends.at(0).row, 7);
        QCOMPARE(watch.ends.at(1).row, 3);
        QVERIFY(!run_->HasRow(0));
    }

    void aRefusedInputGivesItsNameBack()
    {
        run_->Begin(outFolder());
        QVERIFY(run_->AddRow(0, in(u"missing.mp4"_s), mp3Plan()).isEmpty());
        QVERIFY2(run_->LastErrorText().contains(u"No such file or directory"_s),
            qPrintable(run_->LastErrorText()));
        // The name the refused row had claimed is free for the next.
        TaskPlan p = mp3Plan();
        QFile::copy(in(u"a.mp4"_s), in(u"missing.mp4"_s));
        QCOMPARE(run_->AddRow(1, in(u"missing.mp4"_s), p), outFolder() + u"/missing.MP3"_s);
        QFile::remove(in(u"missing.mp4"_s));
        QCOMPARE(run_->RowCount(), 1);
    }

    void pauseHoldsTheRunAndStartsNothingNew()
    {
        Watch watch(*run_);
        engine_.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Succeeded, {}, {}, true });
        plan({ u"a.mp4"_s, u"b.mp4"_s });
        run_->Start(1);
        QTRY_COMPARE(engine_.RunningCount(), 1);
        run_->Pause();
        QCOMPARE(run_->State(), RunState::Paused);
        QVERIFY(engine_.JobFor(u"a.mp4"_s)->IsPaused());
        engine_.JobFor(u"a.mp4"_s)->Release(); // paused: it waits
        QTest::qWait(20);
        QCOMPARE(engine_.jobs.size(), 1);
        QVERIFY(!watch.ended());

        run_->Resume();
        QCOMPARE(run_->State(), RunState::Converting);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.states,
            (QList<RunState> {
                RunState::Converting, RunState::Paused, RunState::Converting, RunState::Idle }));
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Done);
    }

    void stopCancelsWhatIsNotDoneAndLeavesNoFile()
    {
        Watch watch(*run_);
        engine_.otherwise.hold = true;
        engine_.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Succeeded, {}, {}, false });
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        run_->Start(1);
        QTRY_VERIFY(engine_.JobFor(u"b.mp4"_s) && engine_.JobFor(u"b.mp4"_s)->IsStarted());
        // The running job had already begun its file.
        QFile partial(engine_.JobFor(u"b.mp4"_s)->Task().temporaryOutput);
        QVERIFY(partial.open(QIODevice::WriteOnly));
        partial.close();

        run_->Stop();
        QCOMPARE(run_->State(), RunState::Idle);
        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::UserStop });
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Done);
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Cancelled);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Cancelled);
        QCOMPARE(outputs(), QStringList { u"a.MP3"_s });
        QCOMPARE(engine_.jobs.size(), 2);
        // Stop while idle changes nothing.
        run_->Stop();
        QCOMPARE(watch.runEnds.size(), 1);
    }

    void runStoppingMessages_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<RunStopReason>("reason");
        QTest::newRow("disk full") << u"av_interleaved_write_frame(): No space left on device"_s
                                   << RunStopReason::DiskFull;
        QTest::newRow("rejected parameters")
            << u"transcode_init() error: Invalid argument / Invalid data found when processing input"_s
            << RunStopReason::FormatParameters;
        QTest::newRow("invalid data while writing")
            << u"av_interleaved_write_frame(): Invalid argument / Invalid data found when processing input"_s
            << RunStopReason::FormatParameters;
    }

    void runStoppingMessages()
    {
        QFETCH(QString, message);
        QFETCH(RunStopReason, reason);
        Watch watch(*run_);
        engine_.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Failed, message, {}, false });
        engine_.otherwise.hold = true;
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        run_->Start(2);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.runEnds, QList<RunStopReason> { reason });
        QCOMPARE(run_->StopReason(), reason);
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Failed);
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Cancelled);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Cancelled);
        QCOMPARE(run_->Failures().size(), 1);
        QCOMPARE(run_->Failures().first().message, message);
        QVERIFY(!StopExplanation(reason, run_->Folder()).isEmpty());
        QCOMPARE(outputs(), QStringList());
    }

    void anOrdinaryFailureLetsTheRunGoOn()
    {
        Watch watch(*run_);
        engine_.scripts.insert(u"b.mp4"_s,
            FakeScript { JobOutcome::Failed, u"The output holds 2.0 s of the expected 3.0 s."_s, {},
                false });
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        run_->Start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Failed);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Done);
        QCOMPARE(run_->Failures().size(), 1);
        QCOMPARE(run_->Failures().first().row, 1);
        const QString details = run_->TaskDetails(1);
        QVERIFY2(details.startsWith(u"fake-engine "_s) && details.contains(u"fake log of b.mp4"_s),
            qPrintable(details));
        QCOMPARE(outputs(), (QStringList { u"a.MP3"_s, u"c.MP3"_s }));
    }

    // A ringtone is encoded as M4A under a name of its own and renamed when whole; an M4A that
    // was already there is never touched.
    void ringtonesTakeTheirNameWhenWhole()
    {
        QFile existing(outFolder() + u"/song.M4A"_s);
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.write("precious");
        existing.close();
        Watch watch(*run_);
        plan({ u"song.mp4"_s }, u"M4R"_s);
        run_->Start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(engine_.tasks.first().output, outFolder() + u"/song_(new).M4A"_s);
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Done);
        QCOMPARE(run_->FinalOutput(0), outFolder() + u"/song.M4R"_s);
        QCOMPARE(outputs(), (QStringList { u"song.M4A"_s, u"song.M4R"_s }));
        QVERIFY(existing.open(QIODevice::ReadOnly));
        QCOMPARE(existing.readAll(), QByteArray("precious"));
    }

    // The total follows the sound converted, not the count of files, and never goes back.
    void totalWeighsRowsByTheirLength()
    {
        Watch watch(*run_);
        // Unknown lengths (the fake inputs do not probe) weigh alike; lengths come from the cut.
        run_->Begin(outFolder());
        TaskPlan longPlan = mp3Plan();
        longPlan.cut = { 0, 90'000'000 };
        TaskPlan shortPlan = mp3Plan();
        shortPlan.cut = { 0, 10'000'000 };
        QVERIFY(!run_->AddRow(0, in(u"long.mp4"_s), longPlan).isEmpty());
        QVERIFY(!run_->AddRow(1, in(u"a.mp4"_s), shortPlan).isEmpty());
        engine_.scripts.insert(u"long.mp4"_s,
            FakeScript { JobOutcome::Succeeded, {}, { 45'000'000, 30'000'000 }, true });
        run_->Start(2);
        QTRY_VERIFY(watch.outcomeOf(1) == RowOutcome::Done);
        // Half of the long row and all of the short one: 55 of 100 s.
        QCOMPARE(run_->TotalPercent(), 55);
        for (int i = 1; i < watch.totals.size(); ++i)
            QVERIFY(watch.totals.at(i) > watch.totals.at(i - 1));
        QVERIFY(watch.progress.contains(qMakePair(0, 50)));
        engine_.JobFor(u"long.mp4"_s)->Release();
        QTRY_VERIFY(watch.ended());
        QCOMPARE(run_->TotalPercent(), 100);
    }
};

QTEST_GUILESS_MAIN(ConversionRunTest)
#include "conversion_run_test.moc"
