#include "core/edit/trim_range.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"

#include <QSignalSpy>
#include <QTest>

using namespace sonivert;

namespace {

TimeHalves Us(int64_t microseconds)
{
    return TimeHalves::FromMicroseconds(microseconds);
}

constexpr int64_t Second = 1000000;

// A row as probing leaves it, for a file of the given length, with its whole range selected.
int addRow(FileListModel &list, int64_t duration, const QString &durationText)
{
    const int row = list.AddMediaItem();
    const TimeHalves d = Us(duration);
    list.SetField(row, Field::Name, QStringLiteral("clip.mp4"));
    list.SetField(row, Field::Duration, durationText);
    list.SetField(
        row, Field::SrcDuration, QString::number(double(duration) / double(Second), 'f', 2));
    list.SetField(row, Field::TrimStartLow, QStringLiteral("0"));
    list.SetField(row, Field::TrimStartHigh, QStringLiteral("0"));
    list.SetField(row, Field::TrimEndLow, HalfText(d.low));
    list.SetField(row, Field::TrimEndHigh, HalfText(d.high));
    list.SetField(row, Field::FileDurationLow, HalfText(d.low));
    list.SetField(row, Field::FileDurationHigh, HalfText(d.high));
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
        QCOMPARE(range.StartText(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(range.EndText(), QStringLiteral("End Time : 00:00:00"));
        QCOMPARE(range.SelectedCaption(), QStringLiteral("00:00:00"));
    }

    void activationPlacesTheWholeFile()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        range.SetTrimDirty(true);
        QVERIFY(range.Activate(Us(10 * Second), Us(0), Us(10 * Second)));
        QVERIFY(range.Activated());
        QVERIFY(!range.TrimDirty());
        QCOMPARE(range.TrimGap(), 50);
        QCOMPARE(range.TimePerPixel(), 2.0); // 1000 hundredths of a second over 500 pixels
        QCOMPARE(range.StartPixel(), 0);
        QCOMPARE(range.EndPixel(), 500);
        QCOMPARE(range.StartText(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(range.EndText(), QStringLiteral("End Time : 00:00:10"));
        QCOMPARE(range.SelectedCaption(), QStringLiteral("00:00:10"));
        QCOMPARE(range.SelectedTag(), QStringLiteral("10.00"));
    }

    void activationKeepsTheStoredTimes()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(10 * Second), Us(2500000), Us(7250000)));
        QCOMPARE(range.StartPixel(), 125);
        QCOMPARE(range.EndPixel(), 362); // 362.5 floors
        QCOMPARE(range.Start(), Us(2500000));
        QCOMPARE(range.End(), Us(7250000));
        QCOMPARE(range.StartText(), QStringLiteral("Start Time : 00:00:02")); // 2.5 to even
        QCOMPARE(range.EndText(), QStringLiteral("End Time : 00:00:07"));
        QCOMPARE(range.SelectedTag(), QStringLiteral("4.75"));
        QCOMPARE(range.SelectedCaption(), QStringLiteral("00:00:05"));
    }

    void activationWaitsForADurationOfWholeSeconds()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        // 0.5 s rounds to 0 (halves to even): no gap can be computed, nothing is placed.
        QVERIFY(!range.Activate(Us(Second / 2), Us(0), Us(Second / 2)));
        QVERIFY(!range.Activated());
        QCOMPARE(range.TrimGap(), 100);
        QCOMPARE(range.EndPixel(), 0);
        QCOMPARE(range.End(), Us(0));
        QVERIFY(!range.Activate(Us(0), Us(0), Us(0)));

        QVERIFY(range.Activate(Us(1500000), Us(0), Us(1500000)));
        QCOMPARE(range.TrimGap(), 250);
    }

    void aStartDraggedIntoTheGapPushesTheEnd()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(10 * Second), Us(0), Us(8 * Second)));
        QCOMPARE(range.EndPixel(), 400);
        QSignalSpy seeks(&range, &TrimRange::seekRequested);

        range.SetTrimPoints(470, TrimRange::Unchanged, false, true, true);
        QCOMPARE(range.EndPixel(), 500);
        QCOMPARE(range.End(), Us(10 * Second));
        QCOMPARE(range.StartPixel(), 450);
        QCOMPARE(range.Start(), Us(9 * Second));
        QCOMPARE(seeks.count(), 1);
        QCOMPARE(seeks.at(0).at(0).toInt(), 450);
        QCOMPARE(range.SelectedTag(), QStringLiteral("1.00"));

        // Without pushing, the start stops one gap short of the end.
        range.SetTrimPoints(100, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(-1, 300, false, true, false);
        range.SetTrimPoints(280, TrimRange::Unchanged, false, false, false);
        QCOMPARE(range.StartPixel(), 250);
        QCOMPARE(range.EndPixel(), 300);
        QCOMPARE(range.Start(), Us(5 * Second));
        QCOMPARE(seeks.count(), 1);
    }

    void anEndDraggedIntoTheGapPushesTheStart()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(10 * Second), Us(6 * Second), Us(10 * Second)));
        QCOMPARE(range.StartPixel(), 300);

        range.SetTrimPoints(TrimRange::Unchanged, 320, false, true, false);
        QCOMPARE(range.StartPixel(), 0);
        QCOMPARE(range.Start(), Us(0));
        QCOMPARE(range.EndPixel(), 320);
        QCOMPARE(range.End(), Us(6400000));

        // Short of the gap the end stands at the gap and takes that pixel's time.
        range.SetTrimPoints(300, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 20, false, true, false);
        QCOMPARE(range.StartPixel(), 0);
        QCOMPARE(range.EndPixel(), 50);
        QCOMPARE(range.End(), Us(Second));

        // Without pushing, the end stays one gap after the start.
        range.SetTrimPoints(200, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 210, false, false, false);
        QCOMPARE(range.StartPixel(), 200);
        QCOMPARE(range.EndPixel(), 250);
    }

    void anHourOnFiveHundredPixelsLetsThePointsMeet()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(3600 * Second), Us(0), Us(3600 * Second)));
        QCOMPARE(range.TrimGap(), 0);
        range.SetTrimPoints(100, TrimRange::Unchanged, false, true, false);
        range.SetTrimPoints(TrimRange::Unchanged, 100, false, true, false);
        QCOMPARE(range.StartPixel(), 100);
        QCOMPARE(range.EndPixel(), 100);
        QCOMPARE(range.Start(), range.End());
        QCOMPARE(range.SelectedCaption(), QStringLiteral("00:00:00"));
    }

    void resetReturnsToTheWholeFileAndKeepsTheMark()
    {
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(10 * Second), Us(2 * Second), Us(4 * Second)));
        range.Reset();
        QCOMPARE(range.Start(), Us(0));
        QCOMPARE(range.End(), Us(10 * Second));
        QCOMPARE(range.StartPixel(), 0);
        QCOMPARE(range.EndPixel(), 500);
        QVERIFY(!range.TrimDirty());

        range.SetTrimDirty(true);
        range.Reset();
        QVERIFY(range.TrimDirty());
    }

    void saveWritesTheRow()
    {
        FileListModel list;
        addRow(list, 5 * Second, QStringLiteral("00:00:05"));
        const int row = addRow(list, 40 * Second, QStringLiteral("00:00:40"));
        list.UpdateListFooter();
        QCOMPARE(list.FooterDurationText(), QStringLiteral("00:00:45"));

        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.ActivateFromRow(list, row));
        QCOMPARE(range.EndPixel(), 500);
        QVERIFY(range.Activate(Us(40 * Second), Us(10 * Second), Us(40250000)));
        range.SetTrimDirty(true);
        range.SaveTrim(list, row);

        QCOMPARE(list.GetFieldText(row, Field::TrimStartLow), QStringLiteral("10000000"));
        QCOMPARE(list.GetFieldText(row, Field::TrimStartHigh), QStringLiteral("0"));
        QCOMPARE(list.GetFieldText(row, Field::TrimEndLow), QStringLiteral("40250000"));
        QCOMPARE(list.GetFieldText(row, Field::TrimEndHigh), QStringLiteral("0"));
        QCOMPARE(list.GetFieldText(row, Field::SrcDuration), QStringLiteral("30.25"));
        QCOMPARE(list.SrcDurationTag(row), QStringLiteral("30.25"));
        QCOMPARE(list.GetFieldText(row, Field::Duration), QStringLiteral("00:00:40"));
        const MediaItem &item = list.Item(row);
        QCOMPARE(item.durationCaption, QStringLiteral("  00:00:30"));
        QCOMPARE(item.durationToolTip, QStringLiteral("Trimmed from (00:00:40)"));
        QCOMPARE(item.durationIcon, int(ListIcon::Trimmed));
        QCOMPARE(list.FooterDurationText(), QStringLiteral("00:00:35"));
        QVERIFY(!range.TrimDirty());
        QCOMPARE(list.data(list.index(row, Field::Duration), Qt::DisplayRole).toString(),
            QStringLiteral("  00:00:30"));

        // Reading the saved row back gives the same range.
        TrimRange reopened;
        reopened.SetBarMaximum(500);
        QVERIFY(reopened.ActivateFromRow(list, row));
        QCOMPARE(reopened.Start(), Us(10 * Second));
        QCOMPARE(reopened.End(), Us(40250000));
    }

    // The converter cuts only a range the person chose; saving the whole file is no trim.
    void onlyAChosenRangeCountsAsTrimmed()
    {
        FileListModel list;
        const int row = addRow(list, 40 * Second, QStringLiteral("00:00:40"));
        QVERIFY(!list.Item(row).trimmed);
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.ActivateFromRow(list, row));
        range.SaveTrim(list, row);
        QVERIFY(!list.Item(row).trimmed);

        QVERIFY(range.Activate(Us(40 * Second), Us(0), Us(30 * Second)));
        range.SaveTrim(list, row);
        QVERIFY(list.Item(row).trimmed);
        range.Reset();
        range.SaveTrim(list, row);
        QVERIFY(!list.Item(row).trimmed);
        QVERIFY(range.Activate(Us(40 * Second), Us(5 * Second), Us(40 * Second)));
        range.SaveTrim(list, row);
        QVERIFY(list.Item(row).trimmed);
    }

    void saveOfEqualPointsStartsAtZero()
    {
        FileListModel list;
        const int row = addRow(list, 3600 * Second, QStringLiteral("01:00:00"));
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(3600 * Second), Us(3000 * Second), Us(3000 * Second)));
        QCOMPARE(range.SelectedTag(), QStringLiteral("0.00"));
        range.SaveTrim(list, row);
        QCOMPARE(list.GetFieldText(row, Field::TrimStartLow), QStringLiteral("0"));
        QCOMPARE(list.GetFieldText(row, Field::TrimStartHigh), QStringLiteral("0"));
        // 3,000,000,000 us: the low half is written as its signed reading.
        QCOMPARE(list.GetFieldText(row, Field::TrimEndLow), QStringLiteral("-1294967296"));
        QCOMPARE(list.GetFieldText(row, Field::TrimEndHigh), QStringLiteral("0"));
        QCOMPARE(list.GetFieldText(row, Field::SrcDuration), QStringLiteral("3000.00"));
        QCOMPARE(list.Item(row).durationCaption, QStringLiteral("  00:50:00"));
    }

    void saveIgnoresARowThatIsGone()
    {
        FileListModel list;
        TrimRange range;
        range.SetBarMaximum(500);
        QVERIFY(range.Activate(Us(10 * Second), Us(0), Us(10 * Second)));
        range.SaveTrim(list, 0);
        range.SaveTrim(list, -1);
        QCOMPARE(list.Count(), 0);
        QVERIFY(!range.ActivateFromRow(list, 0));
    }
};

QTEST_GUILESS_MAIN(TrimRangeTest)
#include "trim_range_test.moc"
