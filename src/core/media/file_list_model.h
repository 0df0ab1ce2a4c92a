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
    int appendMediaItem(const MediaItem &item);
    int count() const { return int(m_items.size()); }
    const MediaItem &item(int row) const;

    QVariant GetField(int row, int index) const;
    QString getFieldText(int row, int index) const;
    int getFieldInt(int row, int index) const;
    // Field 5 sets its tag too. False for a row or field out of range.
    bool SetField(int row, int index, const QVariant &value);
    QString srcDurationTag(int row) const;

    // The trim editor's marks on the duration cell: caption (empty shows the value), tooltip
    // and icon (ListIcon::Trimmed, or None).
    void setDurationDisplay(int row, const QString &caption, const QString &toolTip, int icon);
    // Whether the trim fields hold a range the person chose rather than the probed whole file.
    void setTrimmed(int row, bool trimmed);
    // The row converts audio track `number` (from 1), or with AllAudioTracks each of its tracks
    // into a file of its own; the row's audio fields describe the chosen track and its name
    // shows the choice. False for a row or a track that does not exist.
    bool chooseAudioTrack(int row, int number);
    static constexpr int AllAudioTracks = 0;

    // Row index -1 does nothing. showState false only clears the state icon.
    void SetRowState(int row, bool showState, RowState state);
    void SetRowState(int row, bool showState, int state);
    RowState getRowState(int row) const;
    // Column -1 or row -1 does nothing; the bar always lives in column 4.
    void SetRowProgress(int row, int column, int percent);
    int getRowProgress(int row) const;
    // The next in-progress animation frame (1..9) as kept by the shared counter.
    int animationCounter() const { return m_animationCounter; }

    // Delete the given rows (any order, duplicates and out-of-range rows ignored) / all rows.
    // Nothing happens on an empty list. Call UpdateListFooter afterwards.
    void RemoveSelectedItems(const QList<int> &rows);
    void ClearMediaItems();

    void UpdateListFooter();
    QString footerCountText() const { return m_footerCount; } // " 0 file", " 2 files"
    QString footerDurationText() const { return m_footerDuration; } // "01:02:03"

    // The header of column 4, where a conversion shows its elapsed time.
    void setStateColumnCaption(const QString &caption);
    QString stateColumnCaption() const { return m_stateCaption; }

signals:
    void footerChanged(const QString &countText, const QString &durationText);

private:
    bool valid(int row) const { return row >= 0 && row < count(); }
    void emitRowChanged(int row, int firstColumn, int lastColumn);

    // A deque: a long list grows without copying every row into a buffer twice its size.
    std::deque<MediaItem> m_items;
    int m_animationCounter = 0;
    QString m_footerCount;
    QString m_footerDuration;
    QString m_stateCaption;
};

// The footer texts for a number of rows and their field-5 texts.
QString fileCountText(int rows);
// Sum of the field-5 texts rounded half to even; blank or unreadable texts are skipped.
int footerTotalSeconds(const QStringList &srcDurations);

// Width of the progress fill for a cell of the given width: floor(p / 100 * (width + 2)).
int progressFillWidth(int cellWidth, int percent);

} // namespace sonivert
