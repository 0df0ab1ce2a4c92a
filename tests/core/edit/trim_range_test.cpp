#include "core/edit/trim_range.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"

#include <QSignalSpy>
#include <QTest>

using namespace sonivert;

namespace {

TimeHalves us(int64_t microseconds)
{
    return TimeHalves::fromMicroseconds(microseconds);
}

constexpr int64_t Second = 1000000;

// A row as probing leaves it, for a file of the given length, with its whole range selected.
int addRow(FileListModel &list, int64_t duration, const QString &durationText)
{
    const int row = list.AddMediaItem();
    const TimeHalves d = us(duration);
    list.SetField(row, Field::Name, QStringLiteral("clip.mp4"));
    list.SetField(row, Field::Duration, durationText);
    list.SetField(
        row, Field::SrcDuration, QString::number(double(duration) / double(Second), 'f', 2));
    list.SetField(row, Field::TrimStartLow, QStringLiteral("0"));
    list.SetField(row, Field::TrimStartHigh, QStringLiteral("0"));
    list.SetField(row, Field::TrimEndLow, halfText(d.low));
    list.SetField(row, Field::TrimEndHigh, halfText(d.high));
    list.SetField(row, Field::FileDurationLow, halfText(d.low));
    list.SetField(row, Field::FileDurationHigh, halfText(d.high));
    return row;
}

} // namespace

class TrimRangeTest : public QObject
{
    Q_OBJECT

private slots:
    void labelsBeforeTheFirstPlacement()
    {
        TrimRange range;
        QCOMPARE(range.TrimGap(), 100);
        QCOMPARE(range.startText(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(range.endText(), QStringLiteral("End Time : 00:00:00"));
        QCOMPARE(range.selectedCaption(), QStringLiteral("00:00:00"));
    }

    void activationPlacesTheWholeFile()
    {
        TrimRange range;
        range.setBarMaximum(500);
        range.setTrimDirty(true);
        QVERIFY(range.activate(us(10 * Second), us(0), us(10 * Second)));
        QVERIFY(range.activated());
        QVERIFY(!range.TrimDirty());
        QCOMPARE(range.TrimGap(), 50);
        QCOMPARE(range.TimePerPixel(), 2.0); // 1000 hundredths of a second over 500 pixels
        QCOMPARE(range.startPixel(), 0);
        QCOMPARE(range.endPixel(), 500);
        QCOMPARE(range.startText(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(range.endText(), QStringLiteral("End Time : 00:00:10"));
        QCOMPARE(range.selectedCaption(), QStringLiteral("00:00:10"));
        QCOMPARE(range.selectedTag(), QStringLiteral("10.00"));
    }

    void activationKeepsTheStoredTimes()
    {
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(10 * Second), us(2500000), us(7250000)));
        QCOMPARE(range.startPixel(), 125);
        QCOMPARE(range.endPixel(), 362); // 362.5 floors
        QCOMPARE(range.start(), us(2500000));
        QCOMPARE(range.end(), us(7250000));
        QCOMPARE(range.startText(), QStringLiteral("Start Time : 00:00:02")); // 2.5 to even
        QCOMPARE(range.endText(), QStringLiteral("End Time : 00:00:07"));
        QCOMPARE(range.selectedTag(), QStringLiteral("4.75"));
        QCOMPARE(range.selectedCaption(), QStringLiteral("00:00:05"));
    }

    void activationWaitsForADurationOfWholeSeconds()
    {
        TrimRange range;
        range.setBarMaximum(500);
        // 0.5 s rounds to 0 (halves to even): no gap can be computed, nothing is placed.
        QVERIFY(!range.activate(us(Second / 2), us(0), us(Second / 2)));
        QVERIFY(!range.activated());
        QCOMPARE(range.TrimGap(), 100);
        QCOMPARE(range.endPixel(), 0);
        QCOMPARE(range.end(), us(0));
        QVERIFY(!range.activate(us(0), us(0), us(0)));

        QVERIFY(range.activate(us(1500000), us(0), us(1500000)));
        QCOMPARE(range.TrimGap(), 250);
    }

    void aStartDraggedIntoTheGapPushesTheEnd()
    {
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(10 * Second), us(0), us(8 * Second)));
        QCOMPARE(range.endPixel(), 400);
        QSignalSpy seeks(&range, &TrimRange::seekRequested);

        range.SetTrimPoints(470, TrimRange::Unchanged, false, true, true);
        QCOMPARE(range.endPixel(), 500);
        QCOMPARE(range.end(), us(10 * Second));
        QCOMPARE(range.startPixel(), 450);
        QCOMPARE(range.start(), us(9 * Second));
        QCOMPARE(seeks.count(), 1);
        QCOMPARE(seeks.at(0).at(0).toInt(), 450);
        QCOMPARE(range.selectedTag(), QStringLiteral("1.00"));

        // Without pushing, the start stops one gap short of the end.
        range.SetTrimPoints(100, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(-1, 300, false, true, false);
        range.SetTrimPoints(280, TrimRange::Unchanged, false, false, false);
        QCOMPARE(range.startPixel(), 250);
        QCOMPARE(range.endPixel(), 300);
        QCOMPARE(range.start(), us(5 * Second));
        QCOMPARE(seeks.count(), 1);
    }

    void anEndDraggedIntoTheGapPushesTheStart()
    {
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(10 * Second), us(6 * Second), us(10 * Second)));
        QCOMPARE(range.startPixel(), 300);

        range.SetTrimPoints(TrimRange::Unchanged, 320, false, true, false);
        QCOMPARE(range.startPixel(), 0);
        QCOMPARE(range.start(), us(0));
        QCOMPARE(range.endPixel(), 320);
        QCOMPARE(range.end(), us(6400000));

        // Short of the gap the end stands at the gap and takes that pixel's time.
        range.SetTrimPoints(300, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 20, false, true, false);
        QCOMPARE(range.startPixel(), 0);
        QCOMPARE(range.endPixel(), 50);
        QCOMPARE(range.end(), us(Second));

        // Without pushing, the end stays one gap after the start.
        range.SetTrimPoints(200, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 210, false, false, false);
        QCOMPARE(range.startPixel(), 200);
        QCOMPARE(range.endPixel(), 250);
    }

    void anHourOnFiveHundredPixelsLetsThePointsMeet()
    {
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(3600 * Second), us(0), us(3600 * Second)));
        QCOMPARE(range.TrimGap(), 0);
        range.SetTrimPoints(100, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 100, false, true, false);
        QCOMPARE(range.startPixel(), 100);
        QCOMPARE(range.endPixel(), 100);
        QCOMPARE(range.start(), range.end());
        QCOMPARE(range.selectedCaption(), QStringLiteral("00:00:00"));
    }

    void resetReturnsToTheWholeFileAndKeepsTheMark()
    {
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(10 * Second), us(2 * Second), us(4 * Second)));
        range.reset();
        QCOMPARE(range.start(), us(0));
        QCOMPARE(range.end(), us(10 * Second));
        QCOMPARE(range.startPixel(), 0);
        QCOMPARE(range.endPixel(), 500);
        QVERIFY(!range.TrimDirty());

        range.setTrimDirty(true);
        range.reset();
        QVERIFY(range.TrimDirty());
    }

    void saveWritesTheRow()
    {
        FileListModel list;
        addRow(list, 5 * Second, QStringLiteral("00:00:05"));
        const int row = addRow(list, 40 * Second, QStringLiteral("00:00:40"));
        list.UpdateListFooter();
        QCOMPARE(list.footerDurationText(), QStringLiteral("00:00:45"));

        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activateFromRow(list, row));
        QCOMPARE(range.endPixel(), 500);
        QVERIFY(range.activate(us(40 * Second), us(10 * Second), us(40250000)));
        range.setTrimDirty(true);
        range.SaveTrim(list, row);

        QCOMPARE(list.getFieldText(row, Field::TrimStartLow), QStringLiteral("10000000"));
        QCOMPARE(list.getFieldText(row, Field::TrimStartHigh), QStringLiteral("0"));
        QCOMPARE(list.getFieldText(row, Field::TrimEndLow), QStringLiteral("40250000"));
        QCOMPARE(list.getFieldText(row, Field::TrimEndHigh), QStringLiteral("0"));
        QCOMPARE(list.getFieldText(row, Field::SrcDuration), QStringLiteral("30.25"));
        QCOMPARE(list.srcDurationTag(row), QStringLiteral("30.25"));
        QCOMPARE(list.getFieldText(row, Field::Duration), QStringLiteral("00:00:40"));
        const MediaItem &item = list.item(row);
        QCOMPARE(item.durationCaption, QStringLiteral("  00:00:30"));
        QCOMPARE(item.durationToolTip, QStringLiteral("Trimmed from (00:00:40)"));
        QCOMPARE(item.durationIcon, int(ListIcon::Trimmed));
        QCOMPARE(list.footerDurationText(), QStringLiteral("00:00:35"));
        QVERIFY(!range.TrimDirty());
        QCOMPARE(list.data(list.index(row, Field::Duration), Qt::DisplayRole).toString(),
            QStringLiteral("  00:00:30"));

        // Reading the saved row back gives the same range.
        TrimRange reopened;
        reopened.setBarMaximum(500);
        QVERIFY(reopened.activateFromRow(list, row));
        QCOMPARE(reopened.start(), us(10 * Second));
        QCOMPARE(reopened.end(), us(40250000));
    }

    // The converter cuts only a range the person chose; saving the whole file is no trim.
    void onlyAChosenRangeCountsAsTrimmed()
    {
        FileListModel list;
        const int row = addRow(list, 40 * Second, QStringLiteral("00:00:40"));
        QVERIFY(!list.item(row).trimmed);
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activateFromRow(list, row));
        range.SaveTrim(list, row);
        QVERIFY(!list.item(row).trimmed);

        QVERIFY(range.activate(us(40 * Second), us(0), us(30 * Second)));
        range.SaveTrim(list, row);
        QVERIFY(list.item(row).trimmed);
        range.reset();
        range.SaveTrim(list, row);
        QVERIFY(!list.item(row).trimmed);
        QVERIFY(range.activate(us(40 * Second), us(5 * Second), us(40 * Second)));
        range.SaveTrim(list, row);
        QVERIFY(list.item(row).trimmed);
    }

    void saveOfEqualPointsStartsAtZero()
    {
        FileListModel list;
        const int row = addRow(list, 3600 * Second, QStringLiteral("01:00:00"));
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(3600 * Second), us(3000 * Second), us(3000 * Second)));
        QCOMPARE(range.selectedTag(), QStringLiteral("0.00"));
        range.SaveTrim(list, row);
        QCOMPARE(list.getFieldText(row, Field::TrimStartLow), QStringLiteral("0"));
        QCOMPARE(list.getFieldText(row, Field::TrimStartHigh), QStringLiteral("0"));
        // 3,000,000,000 us: the low half is written as its signed reading.
        QCOMPARE(list.getFieldText(row, Field::TrimEndLow), QStringLiteral("-1294967296"));
        QCOMPARE(list.getFieldText(row, Field::TrimEndHigh), QStringLiteral("0"));
        QCOMPARE(list.getFieldText(row, Field::SrcDuration), QStringLiteral("3000.00"));
        QCOMPARE(list.item(row).durationCaption, QStringLiteral("  00:50:00"));
    }

    void saveIgnoresARowThatIsGone()
    {
        FileListModel list;
        TrimRange range;
        range.setBarMaximum(500);
        QVERIFY(range.activate(us(10 * Second), us(0), us(10 * Second)));
        range.SaveTrim(list, 0);
        range.SaveTrim(list, -1);
        QCOMPARE(list.count(), 0);
        QVERIFY(!range.activateFromRow(list, 0));
    }
};

QTEST_GUILESS_MAIN(TrimRangeTest)
#include "trim_range_test.moc"
