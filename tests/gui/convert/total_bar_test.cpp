#include "gui/convert/total_bar.h"

#include <QLabel>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;

// The total bar on its own, tick by tick: no run, no timer.
class TotalBarTest : public QObject
{
    Q_OBJECT

    static QLabel *busyCaption(TotalBar &bar)
    {
        return bar.findChild<QLabel *>(u"lbl_TotalBusy"_s);
    }
    static bool isBusy(TotalBar &bar)
    {
        return bar.maximum() == 0 && !busyCaption(bar)->isHidden();
    }

private slots:
    // Busy only from the second second without a task moving, and only once a task has moved.
    void turnsBusyAfterTwoQuietTicks()
    {
        TotalBar bar;
        bar.restart();
        bar.tick();
        bar.tick();
        QVERIFY2(!isBusy(bar), "nothing has moved yet, so nothing has stalled");

        bar.taskMoved(10);
        bar.showTotal(7);
        bar.tick();
        QVERIFY(!isBusy(bar));
        bar.tick();
        QVERIFY(isBusy(bar));
        QCOMPARE(bar.format(), u"Processing..."_s);
    }

    // The percent that arrived while busy is what the bar shows once a task moves again; a task
    // that reports 100 % or cannot tell does not end the busy look.
    void keepsThePercentWhileBusy()
    {
        TotalBar bar;
        bar.restart();
        bar.taskMoved(0);
        bar.tick();
        bar.tick();
        QVERIFY(isBusy(bar));
        bar.showTotal(42);
        QCOMPARE(bar.maximum(), 0);

        bar.taskMoved(100);
        bar.taskMoved(-1);
        QVERIFY(isBusy(bar));
        bar.taskMoved(50);
        QVERIFY(!isBusy(bar));
        QCOMPARE(bar.value(), 42);
        QCOMPARE(bar.format(), u"42%"_s);
    }

    // Stopped: empty but shown; finished: hidden, and the next run starts from nothing.
    void clearsAndFinishes()
    {
        TotalBar bar;
        bar.restart();
        QVERIFY(!bar.isHidden());
        bar.showTotal(30);
        bar.clear();
        QCOMPARE(bar.value(), 0);
        QCOMPARE(bar.format(), QString());
        QVERIFY(!bar.isHidden());

        // Stopped while busy: empty as well.
        bar.taskMoved(5);
        bar.showTotal(30);
        bar.tick();
        bar.tick();
        QVERIFY(isBusy(bar));
        bar.clear();
        QVERIFY(!isBusy(bar));
        QCOMPARE(bar.value(), 0);
        QCOMPARE(bar.format(), QString());

        bar.finish();
        QVERIFY(bar.isHidden());
        bar.restart();
        bar.taskMoved(5);
        bar.tick();
        bar.tick();
        QVERIFY(isBusy(bar));
        bar.taskMoved(6);
        QCOMPARE(bar.value(), 0);
        QCOMPARE(bar.format(), QString());
    }
};

QTEST_MAIN(TotalBarTest)
#include "total_bar_test.moc"
