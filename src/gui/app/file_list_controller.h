#pragma once

#include "gui/app/command_lock.h"
#include "gui/ui/list_icons.h"

#include <QList>
#include <QObject>
#include <QStringList>

class QMenu;
class QPoint;
class QWidget;

namespace sonivert {

class DropController;
class FileListModel;
class ImportJob;
class InfoPanel;
class MainWindow;
struct ImportOutcome;

// The file list of the main window and what changes it: imports from Add Files, drops and files
// handed over by a second start, the list commands and the list's context menu.
class FileListController : public QObject
{
    Q_OBJECT
public:
    // lockedByImport: the commands that are out of use while an import runs.
    FileListController(MainWindow &window, InfoPanel &info, QList<QWidget *> lockedByImport,
        const QString &settingsKey);

    FileListModel *list() const { return m_list; }
    DropController *drops() const { return m_drops; }

    // The list icons of the skin and the folder Add Files starts in.
    void load();

    void importFiles(const QStringList &chosen);
    void importDroppedFiles(const QStringList &accepted, const QStringList &refused);

    // A text waits while the window is not free (see MainWindow::OpenFileFromText).
    void openFilesFromTexts(const QStringList &texts);
    void queueFirst(const QStringList &texts) { m_pendingTexts.prepend(texts); }
    void finishStartUp();
    void scheduleNextPendingText();

    void removeCommand();
    void clearListCommand();

signals:
    // An import has ended and its report (if any) is up.
    void importFinished();

private:
    void onImportFinished(const ImportOutcome &outcome);
    void openNextPendingText();
    bool freeForHandOver() const;
    void lockCommandsForImport();
    void settleListState();
    void buildListMenu();
    void showListMenu(const QPoint &pos);
    void fillTrackMenu();
    void trimCommand();
    void openFileLocation();

    MainWindow &m_window;
    InfoPanel &m_info;
    QList<QWidget *> m_lockedByImport;
    QString m_settingsKey;
    FileListModel *m_list = nullptr;
    ListIcons m_listIcons;
    DropController *m_drops = nullptr;
    ImportJob *m_import = nullptr;
    CommandLock m_importLock; // commands are out of use while an import runs
    bool m_choosingFiles = false; // the open dialog of Add Files is up
    QMenu *m_listMenu = nullptr;
    QMenu *m_trackMenu = nullptr; // the audio tracks of a row of several
    QString m_inputFolder;
    QList<QStringList> m_pendingTexts; // one entry per start or hand-over
    bool m_startUpDone = false;
};

} // namespace sonivert
