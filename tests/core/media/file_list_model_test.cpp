#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"

#include <QSignalSpy>
#include <QTest>

using namespace sonivert;

class FileListModelTest : public QObject
{
    Q_OBJECT

private:
    static int addRow(FileListModel &list, const QString &name, const QString &seconds)
    {
        const int row = list.AddMediaItem();
        list.SetField(row, Field::Name, name);
        list.SetField(row, Field::SrcDuration, seconds);
        return row;
    }

private slots:
    void recordHasFortySevenTypedFields()
    {
        QCOMPARE(fieldKey(0), QStringLiteral(" "));
        QCOMPARE(fieldKey(4), QString());
        QCOMPARE(fieldKey(Field::SrcDuration), QStringLiteral("SrcDuration"));
        QCOMPARE(fieldKey(Field::TrimStartLow), QStringLiteral("Trim StartLow"));
        QCOMPARE(fieldKey(Field::ErrMsg), QStringLiteral("ErrMsg"));
        QCOMPARE(fieldKey(MediaFieldCount), QString());
        for (int i = 0; i < MediaFieldCount; ++i) {
            if (i != Field::State)
                QCOMPARE(fieldIndexOfKey(fieldKey(i)), i);
        }
        QCOMPARE(fieldIndexOfKey(QString()), -1);

        const MediaItem item;
        QCOMPARE(item.get(Field::FileYear).typeId(), int(QMetaType::Int));
        QCOMPARE(item.get(Field::SubtitleStream).typeId(), int(QMetaType::Bool));
        QCOMPARE(item.get(Field::TrimEndLow).typeId(), int(QMetaType::QString));
        QCOMPARE(item.get(Field::VideoLanguage), QVariant(QString()));
    }

    void setFieldConvertsToTheFieldType()
    {
        MediaItem item;
        QVERIFY(item.set(Field::VideoWidth, QStringLiteral("1920")));
        QCOMPARE(item.get(Field::VideoWidth), QVariant(1920));
        QVERIFY(item.set(Field::VideoWidth, QStringLiteral("wide")));
        QCOMPARE(item.integer(Field::VideoWidth), 0);
        QVERIFY(item.set(Field::AudioStream, QStringLiteral("True")));
        QVERIFY(item.boolean(Field::AudioStream));
        QVERIFY(item.set(Field::Filters, 42));
        QCOMPARE(item.get(Field::Filters), QVariant(QStringLiteral("42")));
        QVERIFY(!item.set(MediaFieldCount, 1));
        QVERIFY(!item.set(-1, 1));
    }

    void timeHalvesAsSignedText()
    {
        QCOMPARE(halfText(int32_t(uint32_t(3000000000u))), QStringLiteral("-1294967296"));
        QCOMPARE(joinHalfTexts(QStringLiteral("-1294967296"), QStringLiteral("0")),
            int64_t(3000000000LL));
        QCOMPARE(joinHalfTexts(QStringLiteral("0"), QStringLiteral("1")), int64_t(1) << 32);
        QCOMPARE(joinHalfTexts(QStringLiteral("junk"), QString()), int64_t(0));
    }

    void srcDurationSetsItsTag()
    {
        FileListModel list;
        const int row = addRow(list, QStringLiteral("a.mp4"), QStringLiteral("12.50"));
        QCOMPARE(list.srcDurationTag(row), QStringLiteral("12.50"));
        QVERIFY(!list.SetField(5, Field::Name, QStringLiteral("x")));
        QVERIFY(!list.SetField(-1, Field::Name, QStringLiteral("x")));
        QCOMPARE(list.GetField(-1, Field::Name), QVariant());
    }

    void footerCountsAndRoundsHalvesToEven()
    {
        FileListModel list;
        QSignalSpy spy(&list, &FileListModel::footerChanged);
        QCOMPARE(list.footerCountText(), QStringLiteral(" 0 file"));
        QCOMPARE(list.footerDurationText(), QStringLiteral("00:00:00"));

        addRow(list, QStringLiteral("a.mp4"), QStringLiteral("59.50"));
        list.UpdateListFooter();
        QCOMPARE(list.footerCountText(), QStringLiteral(" 1 file"));
        QCOMPARE(list.footerDurationText(), QStringLiteral("00:01:00"));

        addRow(list, QStringLiteral("b.mp4"), QStringLiteral("58.50"));
        addRow(list, QStringLiteral("c.mp4"), QStringLiteral("  "));
        addRow(list, QStringLiteral("d.mp4"), QStringLiteral("n/a"));
        addRow(list, QStringLiteral("e.mp4"), QStringLiteral("3605"));
        list.UpdateListFooter();
        QCOMPARE(list.footerCountText(), QStringLiteral(" 5 files"));
        // 60 + 58 + 3605 seconds.
        QCOMPARE(list.footerDurationText(), QStringLiteral("01:02:03"));
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.last().at(0).toString(), QStringLiteral(" 5 files"));

        QCOMPARE(footerTotalSeconds(
                     { QStringLiteral("0.5"), QStringLiteral("1.5"), QStringLiteral("2.5") }),
            4);
    }

    void rowStatesSetIconTextColourAndMessage()
    {
        FileListModel list;
        const int row = addRow(list, QStringLiteral("a.mp4"), QStringLiteral("1.00"));
        const QModelIndex stateCell = list.index(row, Field::State);
        const QModelIndex iconCell = list.index(row, Field::StateIcon);

        list.SetField(row, Field::ErrMsg, QStringLiteral("boom"));
        list.SetRowState(row, true, RowState::Failed);
        QCOMPARE(list.data(iconCell, FileListModel::IconIdRole).toInt(), int(ListIcon::Failed));
        QCOMPARE(list.data(stateCell).toString(), QStringLiteral("Unsuccessful!"));
        QCOMPARE(list.data(stateCell, FileListModel::TextColourRole).toUInt(), StateTextRed);
        QCOMPARE(list.getFieldText(row, Field::ErrMsg), QStringLiteral("boom"));

        list.SetRowState(row, true, RowState::Ready);
        QCOMPARE(list.data(iconCell, FileListModel::IconIdRole).toInt(), int(ListIcon::Ready));
        QCOMPARE(list.data(stateCell).toString(), QString());
        QCOMPARE(list.data(stateCell, FileListModel::TextColourRole).toUInt(), StateTextBlack);
        QCOMPARE(list.getFieldText(row, Field::ErrMsg), QString());

        list.SetRowState(row, true, RowState::Done);
        QCOMPARE(list.data(stateCell).toString(), QStringLiteral("Done"));
        QCOMPARE(list.data(iconCell, FileListModel::IconIdRole).toInt(), int(ListIcon::Done));

        list.SetRowState(row, true, 4);
        QCOMPARE(list.data(stateCell).toString(), QStringLiteral("Canceled!"));
        QCOMPARE(list.data(stateCell, FileListModel::TextColourRole).toUInt(), StateTextRed);
        QCOMPARE(list.getRowState(row), RowState::Cancelled);

        list.SetRowState(row, false, RowState::Done);
        QCOMPARE(list.data(iconCell, FileListModel::IconIdRole).toInt(), int(ListIcon::None));
        QCOMPARE(list.data(stateCell).toString(), QStringLiteral("Canceled!"));

        // Row -1 and out-of-range states change nothing.
        list.SetRowState(-1, true, RowState::Done);
        list.SetRowState(row, true, 7);
        QCOMPARE(list.getRowState(row), RowState::Cancelled);
    }

    void animationCounterIsSharedByAllRows()
    {
        FileListModel list;
        const int a = addRow(list, QStringLiteral("a.mp4"), QString());
        const int b = addRow(list, QStringLiteral("b.mp4"), QString());
        QList<int> frames;
        for (int i = 0; i < 10; ++i) {
            list.SetRowState(a, true, RowState::InProgress);
            frames << list.data(list.index(a, 0), FileListModel::IconIdRole).toInt();
        }
        QCOMPARE(frames, (QList<int> { 1, 2, 3, 4, 5, 6, 7, 8, 9, 1 }));
        list.SetRowState(b, true, RowState::InProgress);
        QCOMPARE(list.data(list.index(b, 0), FileListModel::IconIdRole).toInt(), 2);
        list.SetRowState(b, true, RowState::Done);
        list.SetRowState(a, true, RowState::InProgress);
        QCOMPARE(list.data(list.index(a, 0), FileListModel::IconIdRole).toInt(), 1);
    }

    void progressShowsInTheStateCellUntilTheRowEnds()
    {
        FileListModel list;
        const int row = addRow(list, QStringLiteral("a.mp4"), QString());
        const QModelIndex stateCell = list.index(row, Field::State);
        QCOMPARE(list.data(stateCell, FileListModel::ProgressRole).toInt(), -1);
        list.SetRowProgress(row, Field::State, 42);
        QCOMPARE(list.data(stateCell, FileListModel::ProgressRole).toInt(), 42);
        list.SetRowState(row, true, RowState::InProgress);
        QCOMPARE(list.getRowProgress(row), 42);
        list.SetRowProgress(row, -1, 80);
        list.SetRowProgress(-1, Field::State, 80);
        QCOMPARE(list.getRowProgress(row), 42);
        list.SetRowState(row, true, RowState::Done);
        QCOMPARE(list.getRowProgress(row), -1);
        QCOMPARE(list.data(stateCell).toString(), QStringLiteral("Done"));

        QCOMPARE(progressFillWidth(148, 0), 0);
        QCOMPARE(progressFillWidth(148, 100), 150);
        QCOMPARE(progressFillWidth(148, 50), 75);
        QCOMPARE(progressFillWidth(99, 33), 33); // floor(0.33 * 101)
    }

    void durationCellShowsTheTrimMarks()
    {
        FileListModel list;
        const int row = addRow(list, QStringLiteral("a.mp4"), QStringLiteral("60.00"));
        list.SetField(row, Field::Duration, QStringLiteral("00:01:00"));
        list.setDurationDisplay(row, QStringLiteral("  00:00:30"),
            QStringLiteral("Trimmed from (00:01:00)"), ListIcon::Trimmed);
        const QModelIndex cell = list.index(row, Field::Duration);
        QCOMPARE(list.data(cell).toString(), QStringLiteral("  00:00:30"));
        QCOMPARE(
            list.data(cell, FileListModel::FieldValueRole).toString(), QStringLiteral("00:01:00"));
        QCOMPARE(
            list.data(cell, Qt::ToolTipRole).toString(), QStringLiteral("Trimmed from (00:01:00)"));
        QCOMPARE(list.data(cell, FileListModel::IconIdRole).toInt(), int(ListIcon::Trimmed));
    }

    void removeAndClear()
    {
        FileListModel list;
        for (int i = 0; i < 6; ++i)
            addRow(list, QStringLiteral("%1.mp4").arg(i), QStringLiteral("1"));
        list.RemoveSelectedItems({ 4, 1, 2, 2, 99, -1 });
        QCOMPARE(list.count(), 3);
        QCOMPARE(list.getFieldText(0, Field::Name), QStringLiteral("0.mp4"));
        QCOMPARE(list.getFieldText(1, Field::Name), QStringLiteral("3.mp4"));
        QCOMPARE(list.getFieldText(2, Field::Name), QStringLiteral("5.mp4"));
        list.UpdateListFooter();
        QCOMPARE(list.footerCountText(), QStringLiteral(" 3 files"));

        QSignalSpy reset(&list, &QAbstractItemModel::modelReset);
        list.ClearMediaItems();
        QCOMPARE(list.count(), 0);
        list.ClearMediaItems(); // nothing to do on an empty list
        list.RemoveSelectedItems({ 0 });
        QCOMPARE(reset.count(), 1);
    }

    void headerShowsKeysAndTheElapsedCaption()
    {
        FileListModel list;
        QCOMPARE(list.columnCount(), MediaFieldCount);
        QCOMPARE(list.headerData(Field::Name, Qt::Horizontal).toString(), QStringLiteral("Name"));
        QCOMPARE(list.headerData(Field::StateIcon, Qt::Horizontal).toString(), QString());
        QCOMPARE(list.headerData(Field::Name, Qt::Horizontal, Qt::TextAlignmentRole)
                     .value<Qt::Alignment>(),
            Qt::AlignLeft | Qt::AlignVCenter);
        QCOMPARE(list.headerData(Field::Format, Qt::Horizontal, Qt::TextAlignmentRole)
                     .value<Qt::Alignment>(),
            Qt::Alignment(Qt::AlignCenter));
        QSignalSpy spy(&list, &QAbstractItemModel::headerDataChanged);
        list.setStateColumnCaption(QStringLiteral("00:00:05"));
        QCOMPARE(
            list.headerData(Field::State, Qt::Horizontal).toString(), QStringLiteral("00:00:05"));
        QCOMPARE(spy.count(), 1);
    }

    void failureReportRecognisesCopyProtection()
    {
        FailureReport report;
        QVERIFY(!ShowFailureReport(report, QStringLiteral("Failed"), QStringLiteral("x")).show);

        report.AddFailureReport(QStringLiteral("a.mp4"), QStringLiteral("File not found!"));
        FailureReportDisplay display = ShowFailureReport(
            report, QStringLiteral("Failed"), QStringLiteral("Failed to import files!"));
        QVERIFY(display.show);
        QVERIFY(!display.copyProtected);
        QCOMPARE(display.title, QStringLiteral("Failed"));
        QCOMPARE(display.message, QStringLiteral("Failed to import files!"));
        QCOMPARE(display.messagePointSize, 12);
        QCOMPARE(display.imageId, 9);

        // Invalid data counts as copy protection only when the container shows encryption.
        report.AddFailureReport(QStringLiteral("x.mp4"),
            QStringLiteral("/media/x.mp4: Invalid data found when processing input"));
        QVERIFY(!ShowFailureReport(report, QStringLiteral("Failed"), QStringLiteral("m"))
                     .copyProtected);
        report.AddFailureReport(QStringLiteral("y.mp4"),
            QStringLiteral("/media/y.mp4: Invalid data found when processing input"), true);
        display = ShowFailureReport(report, QStringLiteral("Failed"), QStringLiteral("m"));
        QVERIFY(display.copyProtected);
        QCOMPARE(display.title, QStringLiteral("DRM Protection"));
        QCOMPARE(display.message,
            QStringLiteral("These files are copy-protected and can not be converted."));
        QCOMPARE(display.messagePointSize, 10);
        QCOMPARE(display.imageId, 27);

        report.ClearFailureReport();
        QVERIFY(report.isEmpty());
    }
};

QTEST_GUILESS_MAIN(FileListModelTest)
#include "file_list_model_test.moc"
