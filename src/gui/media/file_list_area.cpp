#include "gui/media/file_list_area.h"

#include "gui/media/file_view_main.h"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>

namespace sonivert {

FileListArea::FileListArea(QWidget *parent)
    : QWidget(parent)
{
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);

    m_empty = new QListWidget;
    m_empty->setObjectName(QStringLiteral("ListBox_Fake"));
    m_empty->setFocusPolicy(Qt::NoFocus);
    m_empty->setSelectionMode(QAbstractItemView::NoSelection);
    m_empty->installEventFilter(this);
    m_dropPicture = new QLabel(m_empty);
    m_dropPicture->setObjectName(QStringLiteral("Pic_DragDrop"));
    m_dropPicture->setAttribute(Qt::WA_TransparentForMouseEvents);

    m_view = new FileViewMain;
    m_view->setObjectName(QStringLiteral("FileViewMain"));
    m_view->setContextMenuPolicy(Qt::CustomContextMenu);
    m_view->hide();

    grid->addWidget(m_empty, 0, 0);
    grid->addWidget(m_view, 0, 0);
}

void FileListArea::setDropPicture(const QPixmap &picture)
{
    m_dropPicture->setPixmap(picture);
    placeDropPicture();
}

void FileListArea::setDropPictureShown(bool shown)
{
    m_dropPicture->setVisible(shown);
}

void FileListArea::showFileView(bool shown)
{
    m_empty->setVisible(!shown);
    m_view->setVisible(shown);
}

bool FileListArea::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_empty && event->type() == QEvent::Resize)
        placeDropPicture();
    return QWidget::eventFilter(watched, event);
}

void FileListArea::placeDropPicture()
{
    m_dropPicture->adjustSize();
    m_dropPicture->move(m_empty->width() / 2 - m_dropPicture->width() / 2, m_empty->height() / 2);
}

} // namespace sonivert
