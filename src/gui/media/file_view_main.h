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

    void setIconProvider(ListIconProvider provider) { m_icons = std::move(provider); }
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
        const QModelIndex &index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;

private:
    ListIconProvider m_icons;
};

// The strip under the grid: the file count under "Name", the total duration under "Duration".
// Its cells follow the header's sections as they are resized or scrolled.
class ListFooter : public QWidget
{
    Q_OBJECT

public:
    explicit ListFooter(QTableView *view);

    void setTexts(const QString &countText, const QString &durationText);
    QString countText() const { return m_count; }
    QString durationText() const { return m_duration; }
    // Where a column's footer cell is drawn, in footer coordinates.
    QRect cellRect(int column) const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTableView *m_view;
    QString m_count;
    QString m_duration;
};

// The file list: a grid over the file list model with the five visible columns, the state
// delegate and the footer. Delete removes the selected rows, Shift+Delete clears the list (both
// only as requests); the context menu comes through customContextMenuRequested.
class FileViewMain : public QTableView
{
    Q_OBJECT

public:
    explicit FileViewMain(QWidget *parent = nullptr);

    void setFileList(FileListModel *list);
    FileListModel *fileList() const { return m_list; }
    void setIconProvider(ListIconProvider provider);

    QList<int> selectedRows() const; // ascending
    void selectAndReveal(int row);
    ListFooter *footer() const { return m_footer; }

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

    FileListModel *m_list = nullptr;
    FileListDelegate *m_delegate;
    ListFooter *m_footer;
};

} // namespace sonivert
