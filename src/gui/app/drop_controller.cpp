#include "gui/app/drop_controller.h"

#include "core/app/drop_scan.h"
#include "core/media/import_rules.h"
#include "gui/app/drop_wait_dialog.h"

#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

namespace sonivert {

DropController::DropController(
    std::function<bool()> canAcceptDrops, FilesHandler onFiles, QObject *parent)
    : QObject(parent)
    , m_canAcceptDrops(std::move(canAcceptDrops))
    , m_onFiles(std::move(onFiles))
    , m_extensionList(supportedExtensionsText())
    , m_scanner(new DropScanner(this))
{
    connect(m_scanner, &DropScanner::itemStarted, this, [this](const QString &item) {
        if (m_dialog)
            m_dialog->showItem(item);
    });
    connect(m_scanner, &DropScanner::progress, this, [this](const QString &file, int total) {
        if (m_dialog)
            m_dialog->showProgress(file, total);
    });
    connect(m_scanner, &DropScanner::finished, this, &DropController::finish);
}

DropController::~DropController()
{
    delete m_dialog;
}

void DropController::watch(QWidget *mainWindow)
{
    mainWindow->installEventFilter(this);
}

bool DropController::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
        return handleDragEnter(static_cast<QDragEnterEvent *>(event));
    case QEvent::DragMove:
        return handleDragMove(static_cast<QDragMoveEvent *>(event));
    case QEvent::Drop:
        return handleDrop(static_cast<QDropEvent *>(event), qobject_cast<QWidget *>(watched));
    default:
        return QObject::eventFilter(watched, event);
    }
}

bool DropController::isBusy() const
{
    return m_scanner->isRunning();
}

QStringList DropController::localPaths(const QMimeData *mimeData)
{
    QStringList paths;
    if (!mimeData || !mimeData->hasUrls())
        return paths;
    for (const QUrl &url : mimeData->urls()) {
        if (!url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (!path.isEmpty())
            paths.append(QDir::cleanPath(path));
    }
    return paths;
}

bool DropController::wants(QDropEvent *event) const
{
    if (isBusy() || (m_canAcceptDrops && !m_canAcceptDrops()))
        return false;
    // A file browser that sees a move taken deletes the source: only ever take a copy.
    if (!(event->possibleActions() & Qt::CopyAction))
        return false;
    return !localPaths(event->mimeData()).isEmpty();
}

bool DropController::handleDragEnter(QDragEnterEvent *event)
{
    return handleDragMove(event);
}

bool DropController::handleDragMove(QDragMoveEvent *event)
{
    if (!wants(event)) {
        event->ignore();
        return false;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    return true;
}

bool DropController::handleDrop(QDropEvent *event, QWidget *mainWindow)
{
    if (!wants(event)) {
        event->ignore();
        return false;
    }
    const QStringList dropped = localPaths(event->mimeData());
    event->setDropAction(Qt::CopyAction);
    event->accept();

    if (m_aboutToScan)
        m_aboutToScan();
    m_mainWindow = mainWindow;
    if (mainWindow)
        mainWindow->setEnabled(false);
    m_dialog = new DropWaitDialog(mainWindow);
    m_dialog->show();
    // The scan runs on a worker thread; its results come back through the event loop, so the
    // drop itself finishes at once and the file browser is not kept waiting.
    m_scanner->start(dropped);
    return true;
}

void DropController::finish(const QStringList &found)
{
    const DropPartition partition = partitionDroppedFiles(found, m_extensionList);
    if (m_dialog) {
        m_dialog->hide();
        m_dialog->deleteLater();
    }
    if (m_mainWindow)
        m_mainWindow->setEnabled(true);
    if (m_onFiles)
        m_onFiles(partition.accepted, partition.refused);
}

} // namespace sonivert
