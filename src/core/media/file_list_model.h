#pragma once

#include "core/media/media_item.h"

#include <QAbstractTableModel>
#include <QList>
#include <deque>

namespace sonivert {

// The file list: one row per media item, one column per field (0 to 4 visible, 5 to 46 hidden
// by the view). Rows keep their insertion order; there is no sorting.
class FileListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Role {
        IconIdRole = Qt::UserRole + 1, // int: list icon id of column 0 or 2, 0 for none
        ProgressRole, // int: column 4's progress 0..100, or -1 when no bar is shown
        TextColourRole, // uint 0xRRGGBB of column 4's text
        FieldValueRole, // the stored value (column 2 shows its caption when it has one)
        RowStateRole, // int: the row's state
    };

    explicit FileListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(
        int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Appends a row with 47 empty fields and returns its index.
    int AddMediaItem();
    // Appends a complete item in one step (probing never leaves a partial row).
    int AppendMediaItem(const MediaItem &item);
    int Count() const { return int(items_.size()); }
    const MediaItem &Item(int row) const;

    QVariant GetField(int row, int index) const;
    QString GetFieldText(int row, int index) const;
    int GetFieldInt(int row, int index) const;
    // Field 5 sets its tag too. False for a row or field out of range.
    bool SetField(int row, int index, const QVariant &value);
    QString SrcDurationTag(int row) const;

    // The trim editor's marks on the duration cell: caption (empty shows the value), tooltip
    // and icon (ListIcon::Trimmed, or None).
    void SetDurationDisplay(int row, const QString &caption, const QString &toolTip, int icon);
    // Whether the trim fields hold a range the person chose rather than the probed whole file.
    void SetTrimmed(int row, bool trimmed);

    // Row index -1 does nothing. showState false only clears the state icon.
    void SetRowState(int row, bool showState, RowState state);
    void SetRowState(int row, bool showState, int state);
    RowState GetRowState(int row) const;
    // Column -1 or row -1 does nothing; the bar always lives in column 4.
    void SetRowProgress(int row, int column, int percent);
    int GetRowProgress(int row) const;
    // The next in-progress animation frame (1..9) as kept by the shared counter.
    int AnimationCounter() const { return animationCounter_; }

    // Delete the given rows (any order, duplicates and out-of-range rows ignored) / all rows.
    // Nothing happens on an empty list. Call UpdateListFooter afterwards.
    void RemoveSelectedItems(const QList<int> &rows);
    void ClearMediaItems();

    void UpdateListFooter();
    QString FooterCountText() const { return footerCount_; } // " 0 file", " 2 files"
    QString FooterDurationText() const { return footerDuration_; } // "01:02:03"

    // The header of column 4, where a conversion shows its elapsed time.
    void SetStateColumnCaption(const QString &caption);
    QString StateColumnCaption() const { return stateCaption_; }

signals:
    void footerChanged(const QString &countText, const QString &durationText);

private:
    bool valid(int row) const { return row >= 0 && row < Count(); }
    void emitRowChanged(int row, int firstColumn, int lastColumn);

    // A deque: a long list grows without copying every row into a buffer twice its size.
    std::deque<MediaItem> items_;
    int animationCounter_ = 0;
    QString footerCount_;
    QString footerDuration_;
    QString stateCaption_;
};

// The footer texts for a number of rows and their field-5 texts.
QString FileCountText(int rows);
// Sum of the field-5 texts rounded half to even; blank or unreadable texts are skipped.
int FooterTotalSeconds(const QStringList &srcDurations);

// Width of the progress fill for a cell of the given width: floor(p / 100 * (width + 2)).
int ProgressFillWidth(int cellWidth, int percent);

} // namespace sonivert
