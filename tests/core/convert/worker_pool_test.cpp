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
using sonivert::test::makeClip;
using sonivert::test::soundClip;

namespace {

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

    QTemporaryDir m_dir;
    QString m_ffmpeg;
    QString m_longClip;
    QString m_shortClip;
    std::unique_ptr<WorkerPool> m_pool;
    std::unique_ptr<ConversionRun> m_run;

    QString outFolder() const { return m_dir.filePath(QStringLiteral("out")); }
    QStringList outputs() const
    {
        return QDir(outFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    void plan(const QStringList &inputs)
    {
        m_run->begin(outFolder());
        for (int i = 0; i < inputs.size(); ++i) {
            TaskPlan p;
            p.encoding = mp3Plan();
            p.outputOptions = optionString(*p.encoding);
            p.extension = QStringLiteral("MP3");
            p.source = readSourceFacts(inputs.at(i));
            QVERIFY2(
                !m_run->addRow(i, inputs.at(i), p).isEmpty(), qPrintable(m_run->LastErrorText()));
        }
    }

    // Waits for a busy worker and sends it signal; its process id.
    qint64 signalBusyWorker(int signal)
    {
        if (!QTest::qWaitFor([this] { return !m_pool->busyProcessIds().isEmpty(); }, 20000))
            return -1;
        const qint64 pid = m_pool->busyProcessIds().constFirst();
        ::kill(pid_t(pid), signal);
        return pid;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_ffmpeg = findFfmpegProgram();
        m_longClip = m_dir.filePath(QStringLiteral("long.flac"));
        QVERIFY(makeClip(m_longClip, soundClip(90.0, false, 48000, QStringLiteral("stereo"))));
        m_shortClip = m_dir.filePath(QStringLiteral("short.wav"));
        QVERIFY(makeClip(m_shortClip, soundClip(1.0, false, 44100, QStringLiteral("stereo"))));
    }

    void init()
    {
        QDir(outFolder()).removeRecursively();
        QVERIFY(QDir().mkpath(outFolder()));
        m_pool = std::make_unique<WorkerPool>();
        m_pool->setProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));
        m_run = std::make_unique<ConversionRun>();
        m_run->setFfmpegProgram(m_ffmpeg);
        m_run->setJobFactory(engineJobFactory(EngineChoice::Worker, m_ffmpeg, m_pool.get()));
    }

    void cleanup()
    {
        m_run.reset();
        m_pool.reset();
    }

    void workersAreReusedAcrossTasksAndRuns()
    {
        for (int round = 0; round < 2; ++round) {
            Watch watch(*m_run);
            plan({ m_shortClip, m_shortClip, m_shortClip, m_shortClip, m_shortClip });
            m_run->start(2);
            QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 30000);
            for (int row = 0; row < 5; ++row) {
                QCOMPARE(watch.outcomes.value(row), RowOutcome::Done);
                QCOMPARE(m_run->taskEngine(row), WorkerEngineName);
            }
            QCOMPARE(m_pool->startedCount(), 2);
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
        Watch watch(*m_run);
        plan({ m_longClip, m_shortClip, m_shortClip });
        m_run->start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        QVERIFY(signalBusyWorker(signal) > 0);
        QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 30000);

        QCOMPARE(watch.ends, QList<RunStopReason> { RunStopReason::None });
        QCOMPARE(watch.outcomes.value(0), RowOutcome::Failed);
        QCOMPARE(watch.messages.value(0), WorkerCrashMessage);
        // A sanitizer build's worker reports a SIGSEGV itself and exits instead of dying by it.
        const QString details = m_run->taskDetails(0);
        QVERIFY2(details.contains(QStringLiteral("sonivert-worker ended by signal"))
                || details.contains(QStringLiteral("sonivert-worker exited with code")),
            qPrintable(details));
        QVERIFY(m_run->taskDetails(0).startsWith(m_ffmpeg + QStringLiteral(" -hide_banner")));
        QCOMPARE(watch.outcomes.value(1), RowOutcome::Done);
        QCOMPARE(watch.outcomes.value(2), RowOutcome::Done);
        QCOMPARE(m_pool->startedCount(), 2); // a fresh worker took the rest
        QCOMPARE(outputs(),
            (QStringList { QStringLiteral("short.MP3"), QStringLiteral("short_(new).MP3") }));
    }

    // A worker that died while it waited idle never saw the task: a fresh one takes it, once.
    void aWorkerThatDiedIdleDoesNotFailTheNextTask()
    {
        QString error;
        WorkerProcess *idle = m_pool->acquire(&error);
        QVERIFY2(idle, qPrintable(error));
        m_pool->release(idle);
        const pid_t pid = pid_t(idle->processId());
        ::kill(pid, SIGKILL);
        QVERIFY(diedUnnoticed(pid));

        EncodeTask task;
        task.input = m_shortClip;
        task.output = QDir(outFolder()).filePath(QStringLiteral("short.MP3"));
        task.temporaryOutput = QDir(outFolder()).filePath(QStringLiteral(".short.MP3"));
        task.facts = readSourceFacts(m_shortClip);
        task.plan = mp3Plan();
        WorkerEncodeJob job(m_pool.get(), m_ffmpeg, task);
        QSignalSpy finished(&job, &EncodeJob::finished);
        job.start();
        QVERIFY(finished.wait(30000));
        QCOMPARE(job.Result().outcome, JobOutcome::Succeeded);
        QCOMPARE(m_pool->startedCount(), 2);
        QVERIFY(job.Result().logTail.contains(
            QStringLiteral("The task went to a fresh sonivert-worker.")));
    }

    void aHungWorkerIsEndedAfterTheTimeOut()
    {
        m_pool->setNoProgressTimeoutMs(1500);
        Watch watch(*m_run);
        plan({ m_longClip, m_shortClip, m_shortClip });
        m_run->start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        // A worker that stops answering (SIGSTOP from outside, not the run's pause).
        const qint64 pid
            = m_pool->busyProcessIds().isEmpty() ? -1 : m_pool->busyProcessIds().first();
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
        m_pool->setNoProgressTimeoutMs(1000); // a pause is no hang
        Watch watch(*m_run);
        plan({ m_longClip });
        m_run->start(1);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.contains(0), 20000);
        m_run->pause();
        const int percent = m_run->rowPercent(0);
        QTest::qWait(1600);
        QCOMPARE(m_run->rowPercent(0), percent);
        QVERIFY(watch.outcomes.isEmpty());
        m_run->resume();
        QTRY_VERIFY_WITH_TIMEOUT(!watch.ends.isEmpty(), 60000);
        QCOMPARE(watch.outcomes.value(0), RowOutcome::Done);
    }

    void stopRemovesThePartialOutput()
    {
        Watch watch(*m_run);
        plan({ m_longClip, m_longClip });
        m_run->start(2);
        QTRY_VERIFY_WITH_TIMEOUT(watch.progressed.size() == 2, 20000);
        const QList<qint64> pids = m_pool->busyProcessIds();
        m_run->stop();
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
