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
        {}, {} };
}

} // namespace

// The run's rules, against an engine of scripted jobs: each case takes milliseconds.
class ConversionRunTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    FakeEngine m_engine;
    std::unique_ptr<ConversionRun> m_run;

    QString in(const QString &name) const { return m_dir.filePath(u"in/"_s + name); }
    QString outFolder() const { return m_dir.filePath(u"out"_s); }
    QStringList outputs() const
    {
        return QDir(outFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    // Begins a run with a row per input, each named after its index in the list.
    void plan(const QStringList &names, const QString &extension = u"MP3"_s)
    {
        m_run->begin(outFolder());
        for (int i = 0; i < names.size(); ++i) {
            TaskPlan p = mp3Plan();
            p.extension = extension;
            QVERIFY2(!m_run->addRow(i, in(names.at(i)), p).isEmpty(),
                qPrintable(m_run->LastErrorText()));
        }
    }

private slots:
    void initTestCase()
    {
        av_log_set_level(AV_LOG_QUIET); // the fake inputs are no media
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkpath(u"in"_s));
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
        m_engine = FakeEngine();
        m_run = std::make_unique<ConversionRun>();
        m_run->setJobFactory(m_engine.factory());
    }

    void cleanup() { m_run.reset(); }

    void rowsRunSeveralAtOnceAndNamesNeverCollide()
    {
        Watch watch(*m_run);
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"a.mp4"_s });
        QCOMPARE(m_run->finalOutput(2), outFolder() + u"/a_(new).MP3"_s);
        m_engine.otherwise.hold = true;
        m_run->start(2);
        QCOMPARE(m_run->State(), RunState::Converting);
        QTRY_COMPARE(m_engine.runningCount(), 2);
        for (const QPointer<FakeJob> &job : m_engine.jobs)
            job->release();
        QTRY_VERIFY(m_engine.jobs.size() == 3 && m_engine.jobs.last()->isStarted());
        m_engine.jobs.last()->release();
        QTRY_VERIFY(watch.ended());

        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.states, (QList<RunState> { RunState::Converting, RunState::Idle }));
        for (int row = 0; row < 3; ++row)
            QCOMPARE(watch.outcomeOf(row), RowOutcome::Done);
        QCOMPARE(outputs(), (QStringList { u"a.MP3"_s, u"a_(new).MP3"_s, u"b.MP3"_s }));
        QVERIFY(m_run->failures().isEmpty());
        QCOMPARE(m_run->totalPercent(), 100);
    }

    // Rows are the front end's numbers, whatever order the engine's tasks have.
    void rowNumbersAreTheFrontEnds()
    {
        Watch watch(*m_run);
        m_run->begin(outFolder());
        QVERIFY(!m_run->addRow(7, in(u"a.mp4"_s), mp3Plan()).isEmpty());
        QVERIFY(!m_run->addRow(3, in(u"b.mp4"_s), mp3Plan()).isEmpty());
        m_run->start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.ends.size(), 2);
        QCOMPARE(watch.ends.at(0).row, 7);
        QCOMPARE(watch.ends.at(1).row, 3);
        QVERIFY(!m_run->hasRow(0));
    }

    void aRefusedInputGivesItsNameBack()
    {
        m_run->begin(outFolder());
        QVERIFY(m_run->addRow(0, in(u"missing.mp4"_s), mp3Plan()).isEmpty());
        QVERIFY2(m_run->LastErrorText().contains(u"No such file or directory"_s),
            qPrintable(m_run->LastErrorText()));
        // The name the refused row had claimed is free for the next.
        TaskPlan p = mp3Plan();
        QFile::copy(in(u"a.mp4"_s), in(u"missing.mp4"_s));
        QCOMPARE(m_run->addRow(1, in(u"missing.mp4"_s), p), outFolder() + u"/missing.MP3"_s);
        QFile::remove(in(u"missing.mp4"_s));
        QCOMPARE(m_run->rowCount(), 1);
    }

    void pauseHoldsTheRunAndStartsNothingNew()
    {
        Watch watch(*m_run);
        m_engine.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Succeeded, {}, {}, true });
        plan({ u"a.mp4"_s, u"b.mp4"_s });
        m_run->start(1);
        QTRY_COMPARE(m_engine.runningCount(), 1);
        m_run->pause();
        QCOMPARE(m_run->State(), RunState::Paused);
        QVERIFY(m_engine.jobFor(u"a.mp4"_s)->isPaused());
        m_engine.jobFor(u"a.mp4"_s)->release(); // paused: it waits
        QTest::qWait(20);
        QCOMPARE(m_engine.jobs.size(), 1);
        QVERIFY(!watch.ended());

        m_run->resume();
        QCOMPARE(m_run->State(), RunState::Converting);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.states,
            (QList<RunState> {
                RunState::Converting, RunState::Paused, RunState::Converting, RunState::Idle }));
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Done);
    }

    void stopCancelsWhatIsNotDoneAndLeavesNoFile()
    {
        Watch watch(*m_run);
        m_engine.otherwise.hold = true;
        m_engine.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Succeeded, {}, {}, false });
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        m_run->start(1);
        QTRY_VERIFY(m_engine.jobFor(u"b.mp4"_s) && m_engine.jobFor(u"b.mp4"_s)->isStarted());
        // The running job had already begun its file.
        QFile partial(m_engine.jobFor(u"b.mp4"_s)->Task().temporaryOutput);
        QVERIFY(partial.open(QIODevice::WriteOnly));
        partial.close();

        m_run->stop();
        QCOMPARE(m_run->State(), RunState::Idle);
        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::UserStop });
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Done);
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Cancelled);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Cancelled);
        QCOMPARE(outputs(), QStringList { u"a.MP3"_s });
        QCOMPARE(m_engine.jobs.size(), 2);
        // Stop while idle changes nothing.
        m_run->stop();
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
        Watch watch(*m_run);
        m_engine.scripts.insert(u"a.mp4"_s, FakeScript { JobOutcome::Failed, message, {}, false });
        m_engine.otherwise.hold = true;
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        m_run->start(2);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.runEnds, QList<RunStopReason> { reason });
        QCOMPARE(m_run->stopReason(), reason);
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Failed);
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Cancelled);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Cancelled);
        QCOMPARE(m_run->failures().size(), 1);
        QCOMPARE(m_run->failures().first().message, message);
        QVERIFY(!stopExplanation(reason, m_run->folder()).isEmpty());
        QCOMPARE(outputs(), QStringList());
    }

    void anOrdinaryFailureLetsTheRunGoOn()
    {
        Watch watch(*m_run);
        m_engine.scripts.insert(u"b.mp4"_s,
            FakeScript { JobOutcome::Failed, u"The output holds 2.0 s of the expected 3.0 s."_s, {},
                false });
        plan({ u"a.mp4"_s, u"b.mp4"_s, u"c.mp4"_s });
        m_run->start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.runEnds, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Failed);
        QCOMPARE(watch.outcomeOf(2), RowOutcome::Done);
        QCOMPARE(m_run->failures().size(), 1);
        QCOMPARE(m_run->failures().first().row, 1);
        const QString details = m_run->taskDetails(1);
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
        Watch watch(*m_run);
        plan({ u"song.mp4"_s }, u"M4R"_s);
        m_run->start(1);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(m_engine.tasks.first().output, outFolder() + u"/song_(new).M4A"_s);
        QCOMPARE(watch.outcomeOf(0), RowOutcome::Done);
        QCOMPARE(m_run->finalOutput(0), outFolder() + u"/song.M4R"_s);
        QCOMPARE(outputs(), (QStringList { u"song.M4A"_s, u"song.M4R"_s }));
        QVERIFY(existing.open(QIODevice::ReadOnly));
        QCOMPARE(existing.readAll(), QByteArray("precious"));
    }

    // The total follows the sound converted, not the count of files, and never goes back.
    void totalWeighsRowsByTheirLength()
    {
        Watch watch(*m_run);
        // Unknown lengths (the fake inputs do not probe) weigh alike; lengths come from the cut.
        m_run->begin(outFolder());
        TaskPlan longPlan = mp3Plan();
        longPlan.cut = { 0, 90'000'000 };
        TaskPlan shortPlan = mp3Plan();
        shortPlan.cut = { 0, 10'000'000 };
        QVERIFY(!m_run->addRow(0, in(u"long.mp4"_s), longPlan).isEmpty());
        QVERIFY(!m_run->addRow(1, in(u"a.mp4"_s), shortPlan).isEmpty());
        m_engine.scripts.insert(u"long.mp4"_s,
            FakeScript { JobOutcome::Succeeded, {}, { 45'000'000, 30'000'000 }, true });
        m_run->start(2);
        QTRY_VERIFY(watch.outcomeOf(1) == RowOutcome::Done);
        // Half of the long row and all of the short one: 55 of 100 s.
        QCOMPARE(m_run->totalPercent(), 55);
        for (int i = 1; i < watch.totals.size(); ++i)
            QVERIFY(watch.totals.at(i) > watch.totals.at(i - 1));
        QVERIFY(watch.progress.contains(qMakePair(0, 50)));
        m_engine.jobFor(u"long.mp4"_s)->release();
        QTRY_VERIFY(watch.ended());
        QCOMPARE(m_run->totalPercent(), 100);
    }

    // A row of several outputs (one per audio track): each gets its own name, the row ends once,
    // when the last of them does, and a failure names the output it concerns.
    void aRowOfSeveralOutputsEndsOnceWithTheirOutcome()
    {
        Watch watch(*m_run);
        m_run->begin(outFolder());
        for (const QString &suffix : { u" (track 1, eng)"_s, u" (track 2)"_s }) {
            TaskPlan p = mp3Plan();
            p.nameSuffix = suffix;
            QVERIFY(!m_run->addRow(0, in(u"a.mp4"_s), p).isEmpty());
        }
        QVERIFY(!m_run->addRow(1, in(u"b.mp4"_s), mp3Plan()).isEmpty());
        m_engine.scripts.insert(
            u"b.mp4"_s, FakeScript { JobOutcome::Failed, u"broken"_s, {}, false });
        m_engine.scripts.insert(
            u"a.mp4"_s, FakeScript { JobOutcome::Succeeded, {}, { 500'000 }, true });
        m_run->start(1);
        QTRY_VERIFY(m_engine.jobFor(u"a.mp4"_s) && m_engine.jobFor(u"a.mp4"_s)->isStarted());
        m_engine.jobFor(u"a.mp4"_s)->release();
        QTRY_COMPARE(m_engine.jobs.size(), 2);
        // Half of the row is done: its first output.
        QCOMPARE(m_run->outcome(0), RowOutcome::Converting);
        QVERIFY(watch.ends.isEmpty());
        QTRY_VERIFY(m_engine.jobs.last() && m_engine.jobs.last()->isStarted());
        m_engine.jobs.last()->release();
        QTRY_VERIFY(watch.ended());

        QCOMPARE(watch.ends.size(), 2);
        QCOMPARE(watch.ends.at(0).row, 0);
        QCOMPARE(watch.ends.at(0).outcome, RowOutcome::Done);
        QCOMPARE(m_run->finalOutputs(0),
            (QStringList {
                outFolder() + u"/a (track 1, eng).MP3"_s, outFolder() + u"/a (track 2).MP3"_s }));
        QCOMPARE(m_run->finalOutput(0), m_run->finalOutputs(0).first());
        QCOMPARE(outputs(), (QStringList { u"a (track 1, eng).MP3"_s, u"a (track 2).MP3"_s }));
        QCOMPARE(watch.outcomeOf(1), RowOutcome::Failed);
        QCOMPARE(m_run->failures().size(), 1);
    }

    void aFailedOutputFailsItsRowAndIsNamed()
    {
        Watch watch(*m_run);
        m_run->begin(outFolder());
        for (const QString &suffix : { u" (track 1)"_s, u" (track 2)"_s }) {
            TaskPlan p = mp3Plan();
            p.nameSuffix = suffix;
            QVERIFY(!m_run->addRow(4, in(u"a.mp4"_s), p).isEmpty());
        }
        m_engine.otherwise = FakeScript { JobOutcome::Failed, u"no sound"_s, {}, false };
        m_run->start(2);
        QTRY_VERIFY(watch.ended());
        QCOMPARE(watch.ends.size(), 1);
        QCOMPARE(watch.ends.at(0).outcome, RowOutcome::Failed);
        QCOMPARE(
            watch.ends.at(0).message, u"a (track 1).MP3: no sound\na (track 2).MP3: no sound"_s);
        QCOMPARE(m_run->failures().size(), 1);
        QVERIFY(outputs().isEmpty());
    }
};

QTEST_GUILESS_MAIN(ConversionRunTest)
#include "conversion_run_test.moc"
