#include "core/convert/run_progress.h"

#include <QTest>

using namespace sonivert;

class RunProgressTest : public QObject
{
    Q_OBJECT

private slots:
    void totalBarTextCases_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("tasks");
        QTest::addColumn<QString>("text");
        QTest::newRow("one task at 5%") << 5 << 1 << "05%";
        QTest::newRow("second of four at 60%") << 160 << 4 << "40%";
        QTest::newRow("truncates") << 199 << 2 << "99%";
        QTest::newRow("whole") << 400 << 4 << "100%";
        QTest::newRow("negative") << -3 << 1 << "00%";
        QTest::newRow("no tasks") << 0 << 0 << "00%";
    }
    void totalBarTextCases()
    {
        QFETCH(int, value);
        QFETCH(int, tasks);
        QFETCH(QString, text);
        QCOMPARE(totalBarText(value, tasks), text);
    }

    void taskPercentCases()
    {
        QCOMPARE(taskPercent(0, 10000000), 0);
        QCOMPARE(taskPercent(4999999, 10000000), 49);
        QCOMPARE(taskPercent(10000000, 10000000), 100);
        QCOMPARE(taskPercent(12000000, 10000000), 120);
        QCOMPARE(taskPercent(5, 0), -1);
        QCOMPARE(taskPercent(5, -1), -1);
    }

    void onlyThreeMessagesStopTheRun()
    {
        QCOMPARE(classifyTaskMessage(
                     QStringLiteral("av_interleaved_write_frame(): No space left on device")),
            RunStopReason::DiskFull);
        QCOMPARE(classifyTaskMessage(QStringLiteral("transcode_init() error: Invalid argument / "
                                                    "Invalid data found when processing input")),
            RunStopReason::FormatParameters);
        QCOMPARE(
            classifyTaskMessage(QStringLiteral("av_interleaved_write_frame(): Invalid argument "
                                               "/ Invalid data found when processing input")),
            RunStopReason::FormatParameters);
        // Exact comparison: a look-alike or a different letter case is an ordinary failure.
        QCOMPARE(classifyTaskMessage(
                     QStringLiteral("av_interleaved_write_frame(): no space left on device")),
            RunStopReason::None);
        QCOMPARE(classifyTaskMessage(
                     QStringLiteral("/v/a.mp4: Invalid data found when processing input")),
            RunStopReason::None);
    }

    void threadCount_data()
    {
        QTest::addColumn<bool>("mode");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::newRow("thread mode off") << false << "4" << 0;
        QTest::newRow("four") << true << "4" << 4;
        QTest::newRow("not a number") << true << "many" << 1;
        QTest::newRow("empty") << true << "" << 1;
        QTest::newRow("zero") << true << "0" << 1;
        QTest::newRow("negative") << true << "-2" << 1;
        QTest::newRow("half to even") << true << "2.5" << 2;
        QTest::newRow("blanks") << true << " 3 " << 3;
    }
    void threadCount()
    {
        QFETCH(bool, mode);
        QFETCH(QString, text);
        QFETCH(int, count);
        QCOMPARE(threadCountFor(mode, text), count);
    }
};

QTEST_GUILESS_MAIN(RunProgressTest)
#include "run_progress_test.moc"
