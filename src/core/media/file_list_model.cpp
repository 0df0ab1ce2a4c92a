#include "core/media/file_list_model.h"

#include "core/media/audio_tracks.h"
#include "core/media/time_text.h"

#include <algorithm>
#include <cmath>

namespace sonivert {

namespace {

const MediaItem &emptyItem()
{
    static const MediaItem item;
    return item;
}

} // namespace

QString fileCountText(int rows)
{
    return QStringLiteral(" %1 %2").arg(rows).arg(
        rows < 2 ? QStringLiteral("file") : QStringLiteral("files"));
}

int footerTotalSeconds(const QStringList &srcDurations)
{
    int64_t total = 0;
    for (const QString &text : srcDurations) {
        const QString trimmed = text.trimmed();
        if (trimmed.isEmpty())
            continue;
        bool ok = false;
        const double seconds = trimmed.toDouble(&ok);
        if (!ok || !std::isfinite(seconds))
            continue;
        total += int64_t(std::nearbyint(seconds));
    }
    return int(std::clamp<int64_t>(total, 0, INT32_MAX));
}

int progressFillWidth(int cellWidth, int percent)
{
    const int p = std::clamp(percent, 0, 100);
    return int(std::floor(double(p) / 100.0 * double(cellWidth + 2)));
}

FileListModel::FileListModel(QObject *parent)
    : QAbstractTableModel(parent)
    , m_footerCount(fileCountText(0))
    , m_footerDuration(FormatSeconds(0, false))
{
}

int FileListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

int FileListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : MediaFieldCount;
}

QVariant FileListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !valid(index.row()) || index.column() >= MediaFieldCount)
        return QVariant();
    const MediaItem &item = m_items[size_t(index.row())];
    const int column = index.column();

    switch (role) {
    case Qt::DisplayRole:
        if (column == Field::StateIcon)
            return QString();
        if (column == Field::Duration && !item.durationCaption.isEmpty())
            return item.durationCaption;
        if (column == Field::Name) {
            const QString track = chosenTrackText(item);
            return track.isEmpty()
                ? item.text(column)
                : item.text(column) + QStringLiteral("  [") + track + QLatin1Char(']');
        }
        return item.text(column);
    case FieldValueRole:
        return item.get(column);
    case Qt::ToolTipRole:
        if (column == Field::Duration && !item.durationToolTip.isEmpty())
            return item.durationToolTip;
        if (column == Field::Name && !chosenTrackText(item).isEmpty() && !item.allAudioTracks)
            return audioTrackLabel(item.source.audioTracks.at(item.source.audioTrack));
        return QVariant();
    case Qt::TextAlignmentRole:
        if (column >= Field::Duration && column <= Field::State)
            return QVariant::fromValue(Qt::Alignment(Qt::AlignCenter));
        return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
    case IconIdRole:
        if (column == Field::StateIcon)
            return item.stateIcon;
        if (column == Field::Duration)
            return item.durationIcon;
        return 0;
    case ProgressRole:
        return column == Field::State ? item.progress : -1;
    case TextColourRole:
        return column == Field::State ? item.stateTextColour : StateTextBlack;
    case RowStateRole:
        return int(item.state);
    default:
        return QVariant();
    }
}

QVariant FileListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= MediaFieldCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (role == Qt::DisplayRole) {
        if (section == Field::StateIcon)
            return QString();
        if (section == Field::State)
            return m_stateCaption;
        return fieldKey(section);
    }
    if (role == Qt::TextAlignmentRole) {
        if (section >= Field::Duration && section <= Field::State)
            return QVariant::fromValue(Qt::Alignment(Qt::AlignCenter));
        return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
    }
    return QVariant();
}

int FileListModel::AddMediaItem()
{
    return appendMediaItem(MediaItem());
}

int FileListModel::appendMediaItem(const MediaItem &item)
{
    const int row = count();
    beginInsertRows(QModelIndex(), row, row);
    m_items.push_back(item);
    endInsertRows();
    return row;
}

const MediaItem &FileListModel::item(int row) const
{
    return valid(row) ? m_items[size_t(row)] : emptyItem();
}

QVariant FileListModel::GetField(int row, int index) const
{
    return valid(row) ? m_items[size_t(row)].get(index) : QVariant();
}

QString FileListModel::getFieldText(int row, int index) const
{
    return valid(row) ? m_items[size_t(row)].text(index) : QString();
}

int FileListModel::getFieldInt(int row, int index) const
{
    return valid(row) ? m_items[size_t(row)].integer(index) : 0;
}

bool FileListModel::SetField(int row, int index, const QVariant &value)
{
    if (!valid(row))
        return false;
    MediaItem &item = m_items[size_t(row)];
    if (!item.set(index, value))
        return false;
    if (index == Field::SrcDuration)
        item.srcDurationTag = item.text(index);
    emitRowChanged(row, index, index);
    return true;
}

QString FileListModel::srcDurationTag(int row) const
{
    return valid(row) ? m_items[size_t(row)].srcDurationTag : QString();
}

void FileListModel::setDurationDisplay(
    int row, const QString &caption, const QString &toolTip, int icon)
{
    if (!valid(row))
        return;
    MediaItem &item = m_items[size_t(row)];
    item.durationCaption = caption;
    item.durationToolTip = toolTip;
    item.durationIcon = icon;
    emitRowChanged(row, Field::Duration, Field::Duration);
}

bool FileListModel::chooseAudioTrack(int row, int number)
{
    if (!valid(row))
        return false;
    MediaItem &item = m_items[size_t(row)];
    const bool chosen
        = number == AllAudioTracks ? selectAllAudioTracks(item) : selectAudioTrack(item, number);
    if (chosen)
        emitRowChanged(row, 0, MediaFieldCount - 1);
    return chosen;
}

void FileListModel::setTrimmed(int row, bool trimmed)
{
    if (valid(row))
        m_items[size_t(row)].trimmed = trimmed;
}

void FileListModel::SetRowState(int row, bool showState, int state)
{
    if (state < int(RowState::InProgress) || state > int(RowState::Cancelled))
        return;
    SetRowState(row, showState, RowState(state));
}

void FileListModel::SetRowState(int row, bool showState, RowState state)
{
    if (!valid(row))
        return;
    MediaItem &item = m_items[size_t(row)];
    if (!showState) {
        item.stateIcon = ListIcon::None;
        emitRowChanged(row, Field::StateIcon, Field::StateIcon);
        return;
    }

    item.state = state;
    // One counter for all rows, so only one row animates at a time.
    if (state == RowState::InProgress) {
        if (m_animationCounter == 0 || m_animationCounter == 10)
            m_animationCounter = 1;
        item.stateIcon = m_animationCounter;
        ++m_animationCounter;
        emitRowChanged(row, Field::StateIcon, Field::State);
        return;
    }
    m_animationCounter = 1;

    QString text;
    switch (state) {
    case RowState::Ready:
        item.stateIcon = ListIcon::Ready;
        item.stateTextColour = StateTextBlack;
        item.set(Field::ErrMsg, QString());
        break;
    case RowState::Done:
        item.stateIcon = ListIcon::Done;
        text = QStringLiteral("Done");
        item.stateTextColour = StateTextBlack;
        item.set(Field::ErrMsg, QString());
        break;
    case RowState::Failed:
        item.stateIcon = ListIcon::Failed;
        text = QStringLiteral("Unsuccessful!");
        item.stateTextColour = StateTextRed;
        break;
    case RowState::Cancelled:
        item.stateIcon = ListIcon::Cancelled;
        text = QStringLiteral("Canceled!");
        item.stateTextColour = StateTextRed;
        item.set(Field::ErrMsg, QString());
        break;
    case RowState::InProgress:
        break;
    }
    item.set(Field::State, text);
    item.progress = -1;
    emitRowChanged(row, Field::StateIcon, Field::ErrMsg);
}

RowState FileListModel::getRowState(int row) const
{
    return valid(row) ? m_items[size_t(row)].state : RowState::Ready;
}

void FileListModel::SetRowProgress(int row, int column, int percent)
{
    if (column == -1 || !valid(row))
        return;
    MediaItem &item = m_items[size_t(row)];
    item.progress = std::clamp(percent, 0, 100);
    item.set(Field::State, QStringLiteral("%1%").arg(item.progress));
    emitRowChanged(row, Field::State, Field::State);
}

int FileListModel::getRowProgress(int row) const
{
    return valid(row) ? m_items[size_t(row)].progress : -1;
}

void FileListModel::RemoveSelectedItems(const QList<int> &rows)
{
    if (m_items.empty())
        return;
    QList<int> sorted;
    for (int row : rows) {
        if (valid(row))
            sorted.append(row);
    }
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    // From the bottom up, joining neighbours, so each removal leaves the rest in place.
    qsizetype i = sorted.size() - 1;
    while (i >= 0) {
        const int last = sorted[i];
        int first = last;
        while (i > 0 && sorted[i - 1] == first - 1) {
            --i;
            first = sorted[i];
        }
        --i;
        beginRemoveRows(QModelIndex(), first, last);
        m_items.erase(m_items.begin() + first, m_items.begin() + last + 1);
        endRemoveRows();
    }
}

void FileListModel::ClearMediaItems()
{
    if (m_items.empty())
        return;
    beginResetModel();
    m_items.clear();
    m_items.shrink_to_fit();
    endResetModel();
}

void FileListModel::UpdateListFooter()
{
    QStringList durations;
    durations.reserve(count());
    for (const MediaItem &item : m_items)
        durations.append(item.text(Field::SrcDuration));
    m_footerCount = fileCountText(count());
    m_footerDuration = FormatSeconds(footerTotalSeconds(durations), false);
    emit footerChanged(m_footerCount, m_footerDuration);
}

void FileListModel::setStateColumnCaption(const QString &caption)
{
    if (caption == m_stateCaption)
        return;
    m_stateCaption = caption;
    emit headerDataChanged(Qt::Horizontal, Field::State, Field::State);
}

void FileListModel::emitRowChanged(int row, int firstColumn, int lastColumn)
{
    emit dataChanged(index(row, firstColumn), index(row, lastColumn));
}

} // namespace sonivert
