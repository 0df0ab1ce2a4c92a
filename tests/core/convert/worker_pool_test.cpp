// The worker engine inside a real run: workers are reused, and a worker that dies or hangs
// fails only the row it held, leaves no file behind, and is replaced for the rest of the run.
#include "core/convert/conversion_run.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"
#include "core/media/source_facts.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <csignal>

using namespace sonivert;
using sonivert::test::ClipOptions;
using sonivert::test::MakeClip;

namespace {

ClipOptions soundClip(double seconds, bool video, int rate, const QString &layout,
    const QStringList &extra = {}, bool audio = true)
{
    ClipOptions o;
    o.seconds = seconds;
    o.video = video;
    o.audio = audio;
    o.width = 160;
    o.height = 120;
    o.sampleRate = rate;
    o.channelLayout = layout;
    o.extraOutputArgs = extra;
    return o;
}

EncodePlan mp3Plan()
{
    EncodePlan plan;
    plan.channels = 2;
    plan.sampleRate = QStringLiteral("44100");
    plan.audioBitrateKbps = 192;
    plan.audioEncoder = QStringLiteral("libmp3lame");
    return plan;
}

struct Watch
{
    QHash<int, RowOutcome> outcomes;
    QHash<int, QString> messages;
    QList<RunStopReason> ends;
    QSet<int> progressed;

    explicit Watch(ConversionRun &run)
    {
        QObject::connect(&run, &ConversionRun::rowEnded, &run,
            [this](int row, RowOutcome outcome, const QString &message) {
                outcomes.insert(row, outcome);
                messages.insert(row, message);
            });
        QObject::connect(&run, &ConversionRun::rowProgress, &run,
            [this](int row, int) { progressed.insert(row); });
        QObject::connect(
            &run, &ConversionRun::runEnded, &run, [this](RunStopReason r) { ends << r; });
    }
};

// Waits, without letting the event loop notice, until the process has died.
bool diedUnnoticed(pid_t pid)
{
    for (int i = 0; i < 1000; ++i) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            return true;
        const QByteArray line = stat.readAll();
        const qsizetype state = line.lastIndexOf(')') + 2;
        if (state < line.size() && line.at(state) == 'Z')
            return true;
        QThread::msleep(5);
    }
    return false;
}

} // namespace

class WorkerPoolTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir_;
    QString ffmpeg_;
    QString longClip_;
    QString shortClip_;
    std::unique_ptr<WorkerPool> pool_;
    std::unique_ptr<ConversionRun> run_;

    QString outFolder() const { return dir_.filePath(QStringLiteral("out")); }
    QStringList outputs() const
    {
        return QDir(outFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    void plan(const QStringList &inputs)
    {
        run_->Begin(outFolder());
        for (int i = 0; i < inputs.size(); ++i) {
            TaskPlan p;
            p.encoding = mp3Plan();
            p.outputOptions = OptionString(*p.encoding);
            p.extension = QStringLiteral("MP3");
            p.source = ReadSourceFacts(inputs.at(i));
            QVERIFY2(
                !run_->AddRow(i, inputs.at(i), p).isEmpty(), qPrintable(run_->LastErrorText()));
        }
    }

    // Waits for a busy worker and sends it signal; its process id.
    qint64 signalBusyWorker(int signal)
    {
        if (!QTest::qWaitFor([this] { return !pool_->BusyProcessIds().isEmpty(); }, 20000))
            return -1;
        const qint64 pid = pool_->BusyProcessIds().constFirst();
        ::kill(pid_t(pid), signal);
        return pid;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        ffmpeg_ = FindFfmpegProgram();
        longClip_ = dir_.filePath(QStringLiteral("long.flac"));
        QVERIFY(MakeClip(longClip_, soundClip(90.0, false, 48000, QStringLiteral("stereo"))));
        shortClip_ = dir_.filePath(QStringLiteral("short.wav"));
        QVERIFY(MakeClip(shortClip_, soundClip(1.0, false, 44100, QStringLiteral("stereo"))));
    }

    void init()
    {
        QDir(outFolder()).removeRecursively();
        QVERIFY(QDir().mkpath(outFolder()));
        pool_ = std::make_unique<WorkerPool>();
        pool_->SetProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));
        run_ = std::make_unique<ConversionRun>();
        run_->SetFfmpegProgram(ffmpeg_);
        run_->SetJobFactory(EngineJobFactory(EngineChoice::Worker, ffmpeg_, pool_.get()));
    }

    void cleanup()
    {
        run_.reset();
        pool_.reset();
    }

    void workersAreReusedAcrossTasksAndRuns()
    {
        for (int round = 0; round < 2; ++round) {
            Watch watch(*run_);
            plan({ shortClip_, shortClip_, shortClip_, shortClip_, shortClip_ });
            run_->Start(2);
            QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 30000);
            for (int row = 0; row < 5; ++row) {
                QCOMPARE(watch.outcomes.value(row), RowOutcome::Done);
                QCOMPARE(run_->TaskEngine(row), WorkerEngineName);
            }
            QCOMPARE(pool_->StartedCount(), 2);
        }
        QCOMPARE(outputs().size(), 10);
    }

    void aWorkerKilledMidTaskFailsOnlyItsRow_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGKILL") << SIGKILL;
        QTest::newRow("SIGSEGV") << SIGSEGV;
        QTest::newRow("SIGABRT") << SIGABRT;
    }

    void aWorkerKilledMidTaskFailsOnlyItsRow()
    {
        QFETCH(int, signal);
        Watch watch(*run_);
        plan({ longClip_, shortClip_, shortClip_ });
        run_->Start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        QVERIFY(signalBusyWorker(signal) > 0);
        QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 30000);

        QCOMPARE(watch.ends, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.outcomes.value(0), RowOutcome::Failed);
        QCOMPARE(watch.messages.value(0), WorkerCrashMessage);
        QVERIFY(run_->TaskDetails(0).contains(QStringLiteral("sonivert-worker ended by signal")));
        QVERIFY(run_->TaskDetails(0).startsWith(ffmpeg_ + QStringLiteral(" -hide_banner")));
        QCOMPARE(watch.outcomes.value(1), RowOutcome::Done);
        QCOMPARE(watch.outcomes.value(2), RowOutcome::Done);
        QCOMPARE(pool_->StartedCount(), 2); // a fresh worker took the rest
        QCOMPARE(outputs(),
            (QStringList { QStringLiteral("short.MP3"), QStringLiteral("short_(new).MP3") }));
    }

    // A worker that died while it waited idle never saw the task: a fresh one takes it, once.
    void aWorkerThatDiedIdleDoesNotFailTheNextTask()
    {
        QString error;
        WorkerProcess *idle = pool_->Acquire(&error);
        QVERIFY2(idle, qPrintable(error));
        pool_->Release(idle);
        const pid_t pid = pid_t(idle->ProcessId());
        ::kill(pid, SIGKILL);
        QVERIFY(diedUnnoticed(pid));

        EncodeTask task;
        task.input = shortClip_;
        task.output = QDir(outFolder()).filePath(QStringLiteral("short.MP3"));
        task.temporaryOutput = QDir(outFolder()).filePath(QStringLiteral(".short.MP3"));
        task.facts = ReadSourceFacts(shortClip_);
        task.plan = mp3Plan();
        WorkerEncodeJob job(pool_.get(), ffmpeg_, task);
        QSignalSpy finished(&job, &EncodeJob::finished);
        job.Start();
        QVERIFY(finished.wait(30000));
        QCOMPARE(job.Result().outcome, JobOutcome::Succeeded);
        QCOMPARE(pool_->StartedCount(), 2);
        QVERIFY(job.Result().logTail.contains(
            QStringLiteral("The task went to a fresh sonivert-worker.")));
    }

    void aHungWorkerIsEndedAfterTheTimeOut()
    {
        pool_->SetNoProgressTimeoutMs(1500);
        Watch watch(*run_);
        plan({ longClip_, shortClip_, shortClip_ });
        run_->Start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        // A worker that stops answering (SIGSTOP from outside, not the run's pause).
        const qint64 pid = pool_->BusyProcessIds().isEmpty() ? -1 : pool_->BusyProcessIds().first();
        QVERIFY(pid > 0);
        ::kill(pid_t(pid), SIGSTOP);
        QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 30000);
        int hung = 0;
        for (int row = 0; row < 3; ++row) {
            if (watch.outcomes.value(row) == RowOutcome::Failed) {
                QCOMPARE(watch.messages.value(row), WorkerHangMessage);
                ++hung;
            } else {
                QCOMPARE(watch.outcomes.value(row), RowOutcome::Done);
            }
        }
        QCOMPARE(hung, 1);
        for (const QString &name : outputs())
            QVERIFY2(!name.startsWith(QLatin1Char('.')), qPrintable(name));
        QVERIFY(::kill(pid_t(pid), 0) != 0); // ended, not left stopped
    }

    void pauseHoldsTheWorkerAndResumeGoesOn()
    {
        pool_->SetNoProgressTimeoutMs(1000); // a pause is no hang
        Watch watch(*run_);
        plan({ longClip_ });
        run_->Start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        run_->Pause();
        const int percent = run_->RowPercent(0);
        QTest::qWait(1600);
        QCOMPARE(run_->RowPercent(0), percent);
        QVERIFY(watch.outcomes.isEmpty());
        run_->Resume();
        QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 60000);
        QCOMPARE(watch.outcomes.value(0), RowOutcome::Done);
    }

    void stopRemovesThePartialOutput()
    {
        Watch watch(*run_);
        plan({ longClip_, longClip_ });
        run_->Start(2);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.size() == 2, 20000);
        const QList<qint64> pids = pool_->BusyProcessIds();
        run_->Stop();
        QCOMPARE(watch.ends, QList<RunStopReason> { RunStopReason::UserStop });
        QCOMPARE(watch.outcomes.value(0), RowOutcome::Cancelled);
        QCOMPARE(watch.outcomes.value(1), RowOutcome::Cancelled);
        QTRY_COMPARE(outputs(), QStringList());
        for (qint64 pid : pids)
            QTRY_VERIFY(::kill(pid_t(pid), 0) != 0);
    }
};

QTEST_GUILESS_MAIN(WorkerPoolTest)
#include "worker_pool_test.moc"
