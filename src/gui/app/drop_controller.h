#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>

class QDragEnterEvent;
class QDragMoveEvent;
class QDropEvent;
class QMimeData;
class QWidget;

namespace sonivert {

class DropScanner;
class DropWaitDialog;

// Turns files and folders dropped on the main window into the lists the import wants. It watches
// the window's drag and drop events; while the drop is scanned the window is disabled and
// frmWaitDragDrop shows the progress.
class DropController : public QObject
{
    Q_OBJECT
public:
    // accepted: supported files, the last found first. refused: what the drop brought when
    // nothing in it was supported (empty otherwise). Called once per drop, after the wait window
    // has gone and the main window is enabled again.
    using FilesHandler
        = std::function<void(const QStringList &accepted, const QStringList &refused)>;

    // canAcceptDrops says whether the run state allows a drop (it is 0).
    DropController(
        std::function<bool()> canAcceptDrops, FilesHandler onFiles, QObject *parent = nullptr);
    ~DropController() override;

    // The supported extensions, "|mp4|avi|"; the import's own list unless set.
    void setExtensionList(const QString &extensionList) { m_extensionList = extensionList; }
    // Runs just before the scan starts (the start-up tip closes then).
    void setAboutToScan(std::function<void()> hook) { m_aboutToScan = std::move(hook); }

    // Takes the drag and drop events of the window from now on.
    void watch(QWidget *mainWindow);
    bool handleDragEnter(QDragEnterEvent *event);
    bool handleDragMove(QDragMoveEvent *event);
    // Returns true when the drop was taken; the files arrive later through onFiles.
    bool handleDrop(QDropEvent *event, QWidget *mainWindow);

    bool isBusy() const;

    // The local files and folders of a text/uri-list, in drop order; anything else is left out.
    static QStringList localPaths(const QMimeData *mimeData);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool wants(QDropEvent *event) const;
    void finish(const QStringList &found);

    std::function<bool()> m_canAcceptDrops;
    FilesHandler m_onFiles;
    std::function<void()> m_aboutToScan;
    QString m_extensionList;
    DropScanner *m_scanner = nullptr;
    QPointer<DropWaitDialog> m_dialog;
    QPointer<QWidget> m_mainWindow;
};

} // namespace sonivert
