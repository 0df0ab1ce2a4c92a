// A run that splits one long file across workers treats it as one row: when it splits, one
// combined progress, pause and resume, and Stop or a crashed segment worker leaving no file
// behind (neither the output nor a segment's packets).
#include "core/convert/conversion_run.h"
#include "core/convert/engine_message.h"
#include "core/convert/segmented_encode_job.h"
#include "core/convert/worker_encode_job.h"
#include "core/convert/worker_pool.h"
#include "core/media/source_facts.h"
#include "support/media_maker.h"

#include <QDir>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <functional>

using namespace sonivert;
using namespace Qt::Literals::StringLiterals;
using sonivert::test::runFfmpeg;

namespace {

EncodePlan mp3Plan()
{
    EncodePlan plan;
    plan.channels = 2;
    plan.sampleRate = u"44100"_s;
    plan.audioBitrateKbps = 192;
    plan.audioEncoder = u"libmp3lame"_s;
    return plan;
}

QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden);
}

} // namespace

class SegmentedRunTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(u"ffmpeg"_s).isEmpty())
            QSKIP("the ffmpeg program is needed to make the test media");
        QVERIFY(m_dir.isValid());
        m_input = m_dir.filePath(u"long.wav"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"aevalsrc=0.5*sin(2*PI*440*t)|0.5*sin(2*PI*550*t):s=44100:d=60"_s, m_input }));
        // Long enough that no segment can end before a test that ends the row early acts.
        m_longerInput = m_dir.filePath(u"longer.wav"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"aevalsrc=0.5*sin(2*PI*440*t)|0.5*sin(2*PI*550*t):s=22050:d=400"_s, m_longerInput }));
    }

    void segmentCount_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<qint64>("lengthUs");
        QTest::addColumn<int>("threads");
        QTest::addColumn<int>("expected");

        const qint64 minute = 60'000'000;
        QTest::newRow("mp3, two minutes, two threads")
            << u"a.mp3"_s << u"libmp3lame"_s << 2 * minute << 2 << 2;
        QTest::newRow("mp3, one thread free")
            << u"a.mp3"_s << u"libmp3lame"_s << 9 * minute << 1 << 1;
        QTest::newRow("mp3, too short for two")
            << u"a.mp3"_s << u"libmp3lame"_s << minute + 1 << 2 << 1;
        QTest::newRow("aac in m4a, as long as four threads allow")
            << u"a.m4a"_s << u"aac"_s << 3 * minute << 4 << 3;
        QTest::newRow("flac") << u"a.flac"_s << u"flac"_s << 10 * minute << 2 << 2;
        QTest::newRow("wav") << u"a.wav"_s << u"pcm_s16le"_s << 10 * minute << 2 << 2;
        QTest::newRow("aiff") << u"a.aiff"_s << u"pcm_s16be"_s << 10 * minute << 2 << 2;
        QTest::newRow("vorbis: its packets depend on history")
            << u"a.ogg"_s << u"libvorbis"_s << 10 * minute << 2 << 1;
        QTest::newRow("opus") << u"a.opus"_s << u"libopus"_s << 10 * minute << 2 << 1;
        QTest::newRow("mp3 in a container that is not mp3")
            << u"a.mka"_s << u"libmp3lame"_s << 10 * minute << 2 << 1;
        QTest::newRow("unknown length") << u"a.mp3"_s << u"libmp3lame"_s << qint64(0) << 2 << 1;
    }

    void segmentCount()
    {
        QFETCH(QString, output);
        QFETCH(QString, encoder);
        QFETCH(qint64, lengthUs);
        QFETCH(int, threads);
        QFETCH(int, expected);
        EncodeTask task;
        task.output = output;
        task.plan = mp3Plan();
        task.plan->audioEncoder = encoder;
        task.plan->audioBitrateKbps = encoder == QLatin1String("libopus") ? 96 : 192;
        if (encoder == QLatin1String("libopus"))
            task.plan->sampleRate = u"48000"_s;
        QCOMPARE(segmentCountFor(task, lengthUs, threads, DefaultMinimumSegmentUs), expected);
    }

    void segmentsShareTheWork_data()
    {
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<int>("count");
        QTest::newRow("flac, two") << u"flac"_s << 2;
        QTest::newRow("aac, two") << u"aac"_s << 2;
        QTest::newRow("mp3, four") << u"libmp3lame"_s << 4;
    }

    void segmentsShareTheWork()
    {
        QFETCH(QString, encoder);
        QFETCH(int, count);
        const qint64 samples = 600LL * 44100;
        const SegmentCosts costs = segmentCostsFor(encoder, 44100);
        const QList<qint64> starts = segmentStarts(samples, count, costs);
        QCOMPARE(starts.size(), count);
        QCOMPARE(starts.first(), 0);
        // Each later segment is shorter, and all of them take the same work within a frame's.
        double firstWork = 0;
        for (int k = 0; k < count; ++k) {
            const qint64 end = k + 1 < count ? starts.at(k + 1) : samples;
            QVERIFY(end > starts.at(k));
            const double work = double(end - starts.at(k))
                + (k > 0 ? double(costs.leadInSamples) + costs.prefixCost * double(starts.at(k))
                         : 0.0);
            if (k == 0)
                firstWork = work;
            QVERIFY2(std::abs(work - firstWork) < 1152,
                qPrintable(
                    QStringLiteral("segment %1: %2 against %3").arg(k).arg(work).arg(firstWork)));
        }
        QVERIFY(starts.at(1) > samples / count);
    }

    void oneRowOneProgress()
    {
        const QString folder = freshFolder(u"progress"_s);
        ConversionRun run;
        prepare(run, folder);
        QSignalSpy progress(&run, &ConversionRun::rowProgress);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        int busyAtOnce = 0;
        connect(&run, &ConversionRun::rowProgress, this, [&] {
            busyAtOnce = std::max(busyAtOnce, int(WorkerPool::instance()->busyProcessIds().size()));
        });
        run.start(2);
        QVERIFY(ended.wait(60'000));
        QCOMPARE(run.outcome(0), RowOutcome::Done);
        QCOMPARE(run.taskSegments(0), 2);
        QCOMPARE(busyAtOnce, 2);
        int last = 0;
        for (const QList<QVariant> &event : progress) {
            QCOMPARE(event.at(0).toInt(), 0);
            QVERIFY(event.at(1).toInt() >= last);
            last = event.at(1).toInt();
        }
        QVERIFY(last > 50); // both segments count, and neither counts its lead-in twice
        QCOMPARE(filesIn(folder), QStringList { u"long.mp3"_s });
        const SourceFacts facts = readSourceFacts(run.finalOutput(0));
        QVERIFY(std::abs(facts.audioDurationUs - 60'000'000) < 60'000);
    }

    // One pass when segments are switched off, and when a container claims hours around a few
    // seconds of sound (a damaged video's times): the sound's own length decides.
    void runsInOnePass_data()
    {
        QTest::addColumn<bool>("switchedOff");
        QTest::addColumn<qint64>("containerUs");
        QTest::newRow("switched off") << true << qint64(-1);
        QTest::newRow("container claims hours") << false << 10 * 3600 * 1'000'000LL;
    }

    void runsInOnePass()
    {
        QFETCH(bool, switchedOff);
        QFETCH(qint64, containerUs);
        ConversionRun run;
        prepare(run, freshFolder(QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-')),
            false, [containerUs](SourceFacts &facts) {
                if (containerUs > 0) {
                    facts.durationUs = containerUs;
                    facts.audioDurationUs = 5'000'000;
                }
            });
        run.setSegmentation(!switchedOff);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        run.start(2);
        QVERIFY(ended.wait(60'000));
        QCOMPARE(run.outcome(0), RowOutcome::Done);
        QCOMPARE(run.taskSegments(0), 1);
    }

    void crashedSegmentFailsTheRow()
    {
        const QString folder = freshFolder(u"crash"_s);
        ConversionRun run;
        prepare(run, folder, true);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        bool killed = false;
        connect(&run, &ConversionRun::rowProgress, this, [&] {
            const QList<qint64> busy = WorkerPool::instance()->busyProcessIds();
            if (!killed && busy.size() == 2) {
                killed = true;
                ::kill(pid_t(busy.last()), SIGKILL);
            }
        });
        run.start(2);
        QVERIFY(ended.wait(60'000));
        QVERIFY(killed);
        QCOMPARE(run.outcome(0), RowOutcome::Failed);
        QCOMPARE(run.failures().size(), 1);
        QCOMPARE(run.failures().first().message, WorkerCrashMessage);
        QCOMPARE(filesIn(folder), QStringList());
        QTRY_COMPARE(WorkerPool::instance()->busyProcessIds().size(), 0);
    }

    void stopLeavesNothing()
    {
        const QString folder = freshFolder(u"stop"_s);
        ConversionRun run;
        prepare(run, folder, true);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        connect(&run, &ConversionRun::rowProgress, &run, &ConversionRun::stop);
        run.start(2);
        QVERIFY(ended.wait(60'000));
        QCOMPARE(run.outcome(0), RowOutcome::Cancelled);
        QCOMPARE(filesIn(folder), QStringList());
        QCOMPARE(WorkerPool::instance()->busyProcessIds().size(), 0);
    }

    void pauseHoldsEverySegment()
    {
        const QString folder = freshFolder(u"pause"_s);
        ConversionRun run;
        prepare(run, folder);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        QSignalSpy progress(&run, &ConversionRun::rowProgress);
        connect(&run, &ConversionRun::rowProgress, this, [&] {
            if (progress.size() == 1)
                run.pause();
        });
        run.start(2);
        QTRY_COMPARE(run.State(), RunState::Paused);
        const qsizetype before = progress.size();
        QTest::qWait(700);
        QCOMPARE(progress.size(), before);
        run.resume();
        QVERIFY(ended.wait(60'000));
        QCOMPARE(run.outcome(0), RowOutcome::Done);
        QCOMPARE(filesIn(folder), QStringList { u"long.mp3"_s });
    }

    void fullDiskFailsTheRowAndStopsTheRun()
    {
        const QString mountPoint = freshFolder(u"small"_s);
        QProcess mount;
        mount.start(
            u"mount"_s, { u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size=256k"_s, u"tmpfs"_s, mountPoint });
        if (!mount.waitForFinished(10000) || mount.exitStatus() != QProcess::NormalExit
            || mount.exitCode() != 0)
            QSKIP("mounting a small tmpfs to fill is not permitted here");
        auto unmount = qScopeGuard([&] { QProcess::execute(u"umount"_s, { mountPoint }); });
        ConversionRun run;
        prepare(run, mountPoint);
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        run.start(2);
        QVERIFY(ended.wait(60'000));
        QCOMPARE(run.outcome(0), RowOutcome::Failed);
        QCOMPARE(run.failures().first().message, NoSpaceMessage);
        QCOMPARE(run.stopReason(), RunStopReason::DiskFull);
        QCOMPARE(filesIn(mountPoint), QStringList());
    }

private:
    QString freshFolder(const QString &name)
    {
        const QString folder = m_dir.filePath(name);
        QDir().mkpath(folder);
        return folder;
    }

    // One row of the input to MP3 through workers; adjust changes what its probe found.
    void prepare(ConversionRun &run, const QString &folder, bool longer = false,
        const std::function<void(SourceFacts &)> &adjust = {})
    {
        const QString input = longer ? m_longerInput : m_input;
        run.setEngineChoice(EngineChoice::Worker);
        run.setMinimumSegmentSeconds(3);
        run.begin(folder);
        TaskPlan plan;
        plan.extension = u"mp3"_s;
        plan.source = readSourceFacts(input);
        if (adjust)
            adjust(plan.source);
        plan.encoding = mp3Plan();
        QVERIFY(!run.addRow(0, input, plan).isEmpty());
    }

    QTemporaryDir m_dir;
    QString m_input;
    QString m_longerInput;
};

QTEST_GUILESS_MAIN(SegmentedRunTest)
#include "segmented_run_test.moc"
