#include "core/media/file_list_model.h"
#include "gui/media/file_view_main.h"

#include <QHeaderView>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>

using namespace sonivert;

class FileViewMainTest : public QObject
{
    Q_OBJECT

private:
    static QIcon solidIcon(const QColor &colour)
    {
        QPixmap pixmap(16, 16);
        pixmap.fill(colour);
        return QIcon(pixmap);
    }

    static void fill(FileListModel &list, int rows)
    {
        for (int i = 0; i < rows; ++i) {
            const int row = list.AddMediaItem();
            list.SetField(row, Field::Name, QStringLiteral("clip%1.mp4").arg(i));
            list.SetField(row, Field::SrcDuration, QStringLiteral("30.00"));
            list.SetRowState(row, true, RowState::Ready);
        }
        list.UpdateListFooter();
    }

private slots:
    void columnsAndFooter()
    {
        FileListModel list;
        FileViewMain view;
        view.setFileList(&list);
        view.resize(900, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        const int widths[] = { 22, 415, 100, 80, 150 };
        for (int column = 0; column < MediaFieldCount; ++column) {
            QCOMPARE(view.isColumnHidden(column), column >= VisibleFieldCount);
            if (column < VisibleFieldCount && column != Field::Name)
                QCOMPARE(view.columnWidth(column), widths[column]);
        }
        // The name takes the width the other columns leave, whatever the window's width.
        const auto filled = [&view] {
            int sum = 0;
            for (int column = 0; column < VisibleFieldCount; ++column)
                sum += view.columnWidth(column);
            return sum == view.viewport()->width();
        };
        QVERIFY(filled());
        QCOMPARE(view.footer()->countText(), QStringLiteral(" 0 file"));
        QCOMPARE(view.footer()->durationText(), QStringLiteral("00:00:00"));

        fill(list, 3);
        QCOMPARE(view.footer()->countText(), QStringLiteral(" 3 files"));
        QCOMPARE(view.footer()->durationText(), QStringLiteral("00:01:30"));

        // The footer sits under the rows, and its cells follow the header sections.
        const QRect viewport = view.viewport()->geometry();
        QCOMPARE(view.footer()->geometry().top(), viewport.bottom() + 1);
        QVERIFY(view.footer()->geometry().bottom() < view.height());
        QCOMPARE(
            view.footer()->cellRect(Field::Duration).left(), 22 + view.columnWidth(Field::Name));
        view.resize(700, 300);
        QTRY_VERIFY(filled());
        QCOMPARE(
            view.footer()->cellRect(Field::Duration).left(), 22 + view.columnWidth(Field::Name));
        QCOMPARE(view.footer()->cellRect(Field::Duration).width(), 100);
        QVERIFY(!view.footer()->cellRect(Field::FilePath).isValid());
    }

    void delegatePaintsIconsAndProgress()
    {
        FileListModel list;
        fill(list, 2);
        FileViewMain view;
        view.setFileList(&list);
        QList<int> asked;
        view.setIconProvider([&asked](int id) {
            asked << id;
            return solidIcon(id == ListIcon::Ready ? Qt::green : Qt::magenta);
        });
        view.resize(900, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        list.SetRowProgress(1, Field::State, 50);

        const QImage image = view.viewport()->grab().toImage();
        QVERIFY(asked.contains(int(ListIcon::Ready)));

        const QRect iconCell = view.visualRect(list.index(0, Field::StateIcon));
        QCOMPARE(image.pixelColor(iconCell.center()), QColor(Qt::green));

        const QRect bar = view.visualRect(list.index(1, Field::State));
        const int y = bar.center().y();
        // 50% of (150 + 2) pixels: filled up to 76, empty after.
        QCOMPARE(image.pixelColor(bar.left() + 3, y), QColor(0x00, 0x7a, 0xff));
        QCOMPARE(image.pixelColor(bar.left() + 70, y + 4), QColor(0x00, 0x7a, 0xff));
        QVERIFY(image.pixelColor(bar.left() + 100, y) != QColor(0x00, 0x7a, 0xff));

        // Done: no bar any more.
        list.SetRowState(1, true, RowState::Done);
        const QImage after = view.viewport()->grab().toImage();
        QVERIFY(after.pixelColor(bar.left() + 3, y) != QColor(0x00, 0x7a, 0xff));
    }

    void keysAndSelection()
    {
        FileListModel list;
        fill(list, 3);
        FileViewMain view;
        view.setFileList(&list);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy remove(&view, &FileViewMain::removeRequested);
        QSignalSpy clear(&view, &FileViewMain::clearRequested);
        QSignalSpy single(&view, &FileViewMain::singleRowSelected);

        view.selectAndReveal(1);
        QCOMPARE(single.count(), 1);
        QCOMPARE(single.last().at(0).toInt(), 1);
        view.selectionModel()->select(
            list.index(2, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        QCOMPARE(view.selectedRows(), (QList<int> { 1, 2 }));
        QCOMPARE(single.count(), 1);

        QTest::keyClick(&view, Qt::Key_Delete);
        QTest::keyClick(&view, Qt::Key_Delete, Qt::ShiftModifier);
        QTest::keyClick(&view, Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(remove.count(), 1);
        QCOMPARE(clear.count(), 1);

        list.RemoveSelectedItems(view.selectedRows());
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.getFieldText(0, Field::Name), QStringLiteral("clip0.mp4"));
    }
};

QTEST_MAIN(FileViewMainTest)
#include "file_view_main_test.moc"
