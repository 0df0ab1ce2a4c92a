#include "gui/media/file_view_main.h"

#include "core/media/file_list_model.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

namespace sonivert {

namespace {

constexpr int footerHeight = 24;
const QColor barFrame(0xeb, 0xeb, 0xeb);
const QColor barFill(0x00, 0x7a, 0xff);

QFont listFont()
{
    QFont font = QApplication::font();
    font.setPointSize(10);
    font.setBold(false);
    font.setItalic(false);
    return font;
}

} // namespace

FileListDelegate::FileListDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

void FileListDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    const int id = index.data(FileListModel::IconIdRole).toInt();
    if (id > 0 && m_icons) {
        option->icon = m_icons(id);
        if (!option->icon.isNull())
            option->features |= QStyleOptionViewItem::HasDecoration;
    }
    if (index.column() == Field::StateIcon)
        option->decorationAlignment = Qt::AlignCenter;
    if (index.column() == Field::State) {
        const QRgb rgb = index.data(FileListModel::TextColourRole).toUInt();
        option->palette.setColor(QPalette::Text, QColor::fromRgb(rgb));
    }
}

void FileListDelegate::paint(
    QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const int percent = index.data(FileListModel::ProgressRole).toInt();
    if (index.column() != Field::State || percent < 0) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }

    // The cell's background and selection as usual, without its text.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

    const QRect cell = option.rect;
    const int height = cell.height() - 2;
    const QRect frame(cell.left(), cell.top() + 1, cell.width(), height);
    const int fillWidth = std::min(progressFillWidth(cell.width(), percent), cell.width());
    const QRect fill(frame.left(), frame.top(), fillWidth, height);

    painter->save();
    painter->setClipRect(cell);
    painter->setPen(barFrame);
    painter->drawRect(frame.adjusted(0, 0, -1, -1));
    painter->fillRect(fill, barFill);
    QFont bold = option.font;
    bold.setBold(true);
    painter->setFont(bold);
    painter->setPen(Qt::white);
    painter->drawText(fill, Qt::AlignCenter, QStringLiteral("%1%").arg(percent));
    painter->restore();
}

ListFooter::ListFooter(QTableView *view)
    : QWidget(view)
    , m_view(view)
{
    setObjectName(QStringLiteral("FileViewFooter"));
    setFont(listFont());
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Button);
    QHeaderView *header = view->horizontalHeader();
    connect(header, &QHeaderView::sectionResized, this, qOverload<>(&QWidget::update));
    connect(header, &QHeaderView::sectionMoved, this, qOverload<>(&QWidget::update));
    connect(view->horizontalScrollBar(), &QScrollBar::valueChanged, this,
        qOverload<>(&QWidget::update));
}

void ListFooter::setTexts(const QString &countText, const QString &durationText)
{
    m_count = countText;
    m_duration = durationText;
    update();
}

QRect ListFooter::cellRect(int column) const
{
    const QHeaderView *header = m_view->horizontalHeader();
    if (header->isSectionHidden(column))
        return QRect();
    // The viewport starts where the footer starts, so section positions carry over.
    return QRect(header->sectionViewportPosition(column), 0, header->sectionSize(column), height());
}

void ListFooter::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(0, 0, width(), 0);
    painter.setPen(palette().color(QPalette::ButtonText));
    const QRect name = cellRect(Field::Name);
    if (name.isValid())
        painter.drawText(name.adjusted(4, 0, -4, 0), Qt::AlignLeft | Qt::AlignVCenter, m_count);
    const QRect duration = cellRect(Field::Duration);
    if (duration.isValid())
        painter.drawText(duration, Qt::AlignCenter, m_duration);
}

FileViewMain::FileViewMain(QWidget *parent)
    : QTableView(parent)
    , m_delegate(new FileListDelegate(this))
    , m_footer(new ListFooter(this))
{
    setObjectName(QStringLiteral("FileViewMain"));
    setFont(listFont());
    horizontalHeader()->setFont(listFont());
    setItemDelegate(m_delegate);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setSortingEnabled(false);
    setDragEnabled(false);
    setShowGrid(false);
    setWordWrap(false);
    // Tab moves on to the next control, as everywhere else; the arrows move inside the list.
    setTabKeyNavigation(false);
    verticalHeader()->hide();
    horizontalHeader()->setSectionsMovable(false);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setStretchLastSection(false);
    horizontalHeader()->setMinimumSectionSize(16);
}

void FileViewMain::setFileList(FileListModel *list)
{
    if (m_list)
        disconnect(m_list, nullptr, m_footer, nullptr);
    m_list = list;
    setModel(list);
    applyColumns();
    if (!list)
        return;
    connect(list, &FileListModel::footerChanged, m_footer, &ListFooter::setTexts);
    m_footer->setTexts(list->footerCountText(), list->footerDurationText());
}

void FileViewMain::setIconProvider(ListIconProvider provider)
{
    m_delegate->setIconProvider(std::move(provider));
    viewport()->update();
}

void FileViewMain::applyColumns()
{
    if (!model())
        return;
    static constexpr int widths[] = { 22, 415, 100, 80, 150 };
    for (int column = 0; column < model()->columnCount(); ++column) {
        if (column < VisibleFieldCount) {
            setColumnHidden(column, false);
            setColumnWidth(column, widths[column]);
        } else {
            setColumnWidth(column, 150);
            setColumnHidden(column, true);
        }
    }
    // The name takes what the window's width leaves.
    horizontalHeader()->setSectionResizeMode(Field::Name, QHeaderView::Stretch);
}

QList<int> FileViewMain::selectedRows() const
{
    QList<int> rows;
    if (!selectionModel())
        return rows;
    for (const QModelIndex &index : selectionModel()->selectedRows())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void FileViewMain::selectAndReveal(int row)
{
    if (!model() || row < 0 || row >= model()->rowCount())
        return;
    selectRow(row);
    scrollTo(model()->index(row, Field::Name));
}

void FileViewMain::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Delete) {
        const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
        if (modifiers == Qt::NoModifier) {
            emit removeRequested();
            return;
        }
        if (modifiers == Qt::ShiftModifier) {
            emit clearRequested();
            return;
        }
    }
    QTableView::keyPressEvent(event);
}

void FileViewMain::updateGeometries()
{
    QTableView::updateGeometries();
    // The table sets the top and left margins for its headers; the footer takes the bottom.
    QMargins margins = viewportMargins();
    if (margins.bottom() != footerHeight) {
        margins.setBottom(footerHeight);
        setViewportMargins(margins);
    }
    const QRect area = viewport()->geometry();
    m_footer->setGeometry(area.left(), area.bottom() + 1, area.width(), footerHeight);
    m_footer->update();
}

void FileViewMain::selectionChanged(
    const QItemSelection &selected, const QItemSelection &deselected)
{
    QTableView::selectionChanged(selected, deselected);
    const QList<int> rows = selectedRows();
    if (rows.size() == 1)
        emit singleRowSelected(rows.first());
}

} // namespace sonivert
