#pragma once

#include <QIcon>
#include <QStyledItemDelegate>
#include <QTableView>
#include <functional>

namespace sonivert {

class FileListModel;

// Turns a list icon id (1 to 14) into a picture; the skin's list icon strip provides it.
using ListIconProvider = std::function<QIcon(int id)>;

// Paints the state icons, the trimmed mark and, in the state cell, the progress bar with its
// percentage (outer frame #ebebeb, fill #007AFF, bold white text).
class FileListDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit FileListDelegate(QObject *parent = nullptr);

    void SetIconProvider(ListIconProvider provider) { icons_ = std::move(provider); }
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
        const QModelIndex &index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;

private:
    ListIconProvider icons_;
};

// The strip under the grid: the file count under "Name", the total duration under "Duration".
// Its cells follow the header's sections as they are resized or scrolled.
class ListFooter : public QWidget
{
    Q_OBJECT

public:
    explicit ListFooter(QTableView *view);

    void SetTexts(const QString &countText, const QString &durationText);
    QString CountText() const { return count_; }
    QString DurationText() const { return duration_; }
    // Where a column's footer cell is drawn, in footer coordinates.
    QRect CellRect(int column) const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTableView *view_;
    QString count_;
    QString duration_;
};

// The file list: a grid over the file list model with the five visible columns, the state
// delegate and the footer. Delete removes the selected rows, Shift+Delete clears the list (both
// only as requests); the context menu comes through customContextMenuRequested.
class FileViewMain : public QTableView
{
    Q_OBJECT

public:
    explicit FileViewMain(QWidget *parent = nullptr);

    void SetFileList(FileListModel *list);
    FileListModel *FileList() const { return list_; }
    void SetIconProvider(ListIconProvider provider);

    QList<int> SelectedRows() const; // ascending
    void SelectRow(int row);
    ListFooter *Footer() const { return footer_; }

signals:
    // Exactly one row is selected now.
    void singleRowSelected(int row);
    void removeRequested();
    void clearRequested();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void updateGeometries() override;
    void selectionChanged(
        const QItemSelection &selected, const QItemSelection &deselected) override;

private:
    void applyColumns();

    FileListModel *list_ = nullptr;
    FileListDelegate *delegate_;
    ListFooter *footer_;
};

} // namespace sonivert
