#include "gui/app/file_list_controller.h"

#include "core/app/app_flags.h"
#include "core/app/command_line.h"
#include "core/app/folders.h"
#include "core/convert/ffmpeg_program.h"
#include "core/media/audio_tracks.h"
#include "core/media/file_list_model.h"
#include "core/media/import_job.h"
#include "core/media/import_rules.h"
#include "gui/app/drop_controller.h"
#include "gui/app/main_window.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/app/tip_popup.h"
#include "gui/convert/report_dialog.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/media/file_view_main.h"
#include "gui/media/import_runner.h"
#include "gui/media/info_panel.h"
#include "gui/ui/skin.h"

#include <QApplication>
#include <QFileDialog>
#include <QMenu>
#include <QPushButton>
#include <QTimer>

namespace sonivert {

FileListController::FileListController(MainWindow &window, InfoPanel &info,
    QList<QWidget *> lockedByImport, const QString &settingsKey)
    : QObject(&window)
    , m_window(window)
    , m_info(info)
    , m_lockedByImport(std::move(lockedByImport))
    , m_settingsKey(settingsKey)
{
    m_list = new FileListModel(this);
    m_info.setFileList(m_list);
    FileViewMain *view = m_window.fileView();
    view->setFileList(m_list);
    view->setIconProvider([this](int id) { return QIcon(m_listIcons.icon(id)); });
    connect(view, &FileViewMain::singleRowSelected, this, [this](int row) {
        if (m_window.GetConvertButtonState() == 0)
            m_window.Show_InputFileInfo(row);
    });
    connect(view, &FileViewMain::removeRequested, this, &FileListController::removeCommand);
    connect(view, &FileViewMain::clearRequested, this, &FileListController::clearListCommand);
    connect(view, &QWidget::customContextMenuRequested, this, &FileListController::showListMenu);
    buildListMenu();

    m_drops
        = new DropController([this] { return m_window.GetConvertButtonState() == 0 && !m_import; },
            [this](const QStringList &accepted, const QStringList &refused) {
                importDroppedFiles(accepted, refused);
            },
            this);
    m_drops->setAboutToScan([this] { m_window.tipPopup()->closeTip(); });
    m_drops->watch(&m_window);

    connect(
        m_window.listButton(BtnAddFiles), &QPushButton::clicked, this, [this] { importFiles({}); });
    connect(m_window.listButton(BtnRemove), &QPushButton::clicked, this,
        &FileListController::removeCommand);
    connect(m_window.listButton(BtnClearList), &QPushButton::clicked, this,
        &FileListController::clearListCommand);
    connect(m_window.listButton(BtnTrim), &QPushButton::clicked, this,
        &FileListController::trimCommand);
}

void FileListController::buildListMenu()
{
    m_listMenu = new QMenu(&m_window);
    m_listMenu->setObjectName(QStringLiteral("mnuFileLists"));
    const auto entry = [this](int index, const QString &caption, auto *receiver, auto slot) {
        QAction *action = m_listMenu->addAction(caption, receiver, slot);
        action->setObjectName(QStringLiteral("mnuFileList_%1").arg(index));
    };
    entry(1, QStringLiteral("Open file location"), this, &FileListController::openFileLocation);
    m_listMenu->addSeparator();
    entry(3, QStringLiteral("Trim"), this, &FileListController::trimCommand);
    m_trackMenu = m_listMenu->addMenu(QStringLiteral("Audio Track"));
    m_trackMenu->setObjectName(QStringLiteral("mnuFileList_AudioTrack"));
    m_listMenu->addSeparator();
    entry(5, QStringLiteral("Remove"), this, &FileListController::removeCommand);
    entry(6, QStringLiteral("Clear List"), this, &FileListController::clearListCommand);
    m_listMenu->addSeparator();
    entry(8, QStringLiteral("Properties"), &m_info, &InfoPanel::showProperties);
}

void FileListController::load()
{
    m_listIcons.load(skinImageFolder() + kListIconsFile);
    m_inputFolder = folders().inputPath;
}

void FileListController::importFiles(const QStringList &chosen)
{
    if (m_import || m_choosingFiles)
        return;
    QStringList paths = chosen;
    if (paths.isEmpty()) {
        m_choosingFiles = true;
        paths = QFileDialog::getOpenFileNames(&m_window, QStringLiteral("Add Files"), m_inputFolder,
            importDialogFilters().join(QStringLiteral(";;")));
        m_choosingFiles = false;
        if (paths.isEmpty() || m_import) {
            scheduleNextPendingText();
            return;
        }
    }
    m_inputFolder = rememberInputFolder(paths.first(), m_settingsKey);
    if (findFfmpegProgram().isEmpty()) {
        ShowMessage(missingFfmpegMessage(), MsgCritical, QString(), &m_window);
        return;
    }
    m_import = startImport(&m_window, m_list, &m_window.failureReport(), paths);
    connect(m_import, &ImportJob::finished, this, &FileListController::onImportFinished);
    lockCommandsForImport();
}

void FileListController::importDroppedFiles(const QStringList &accepted, const QStringList &refused)
{
    if (m_import || (accepted.isEmpty() && refused.isEmpty()))
        return;
    if (!accepted.isEmpty() && findFfmpegProgram().isEmpty()) {
        ShowMessage(missingFfmpegMessage(), MsgCritical, QString(), &m_window);
        return;
    }
    m_import = startDroppedImport(&m_window, m_list, &m_window.failureReport(), accepted, refused);
    connect(m_import, &ImportJob::finished, this, &FileListController::onImportFinished);
    lockCommandsForImport();
}

// A one-file import runs behind the window without a wait dialog: nothing may start meanwhile
// (a conversion of a half-filled list, a second import, a removal of the row being added).
void FileListController::lockCommandsForImport()
{
    m_importLock.lock(m_lockedByImport);
}

void FileListController::onImportFinished(const ImportOutcome &)
{
    m_import = nullptr;
    m_importLock.release();
    settleListState();
    showFailureReportDialog(&m_window, m_window.failureReport(), QStringLiteral("Failed"),
        QStringLiteral("Failed to import files!"), m_settingsKey);
    emit importFinished();
    QTimer::singleShot(0, this, &FileListController::openNextPendingText);
}

// After an import or a refused file: the list commands follow whether the list has rows.
void FileListController::settleListState()
{
    if (m_list->count() > 0) {
        m_window.SetControlsState(ControlsMode::Normal, true);
        m_window.fileView()->selectAndReveal(0);
        m_window.fileView()->setFocus();
    } else {
        m_window.SetControlsState(ControlsMode::ListState, false);
    }
}

void FileListController::openFilesFromTexts(const QStringList &texts)
{
    if (texts.isEmpty() || m_window.GetConvertButtonState() != 0)
        return;
    if (!freeForHandOver()) {
        m_pendingTexts.append(texts);
        return;
    }
    QStringList supported;
    for (const QString &text : texts) {
        const QString path = pathFromCommandText(text);
        if (isSupportedFile(path))
            supported.append(path);
    }
    // Among several files the unsupported ones are left out silently, as in a drop.
    if (!supported.isEmpty()) {
        importFiles(supported);
    } else {
        ShowMessage(QStringLiteral("Plase check if the file format supported and listed in our "
                                   "website.\n\nThank you."),
            MsgWarning, QStringLiteral("Can not open file"), &m_window);
        settleListState();
    }
}

void FileListController::finishStartUp()
{
    m_startUpDone = true;
    openNextPendingText();
}

bool FileListController::freeForHandOver() const
{
    return m_startUpDone && !m_window.isUnloaded() && !flags().isUnloading && !m_import
        && !m_choosingFiles && !m_drops->isBusy() && m_window.isEnabled()
        && !QApplication::activeModalWidget();
}

void FileListController::openNextPendingText()
{
    while (!m_pendingTexts.isEmpty() && freeForHandOver())
        openFilesFromTexts(m_pendingTexts.takeFirst());
}

void FileListController::scheduleNextPendingText()
{
    if (!m_pendingTexts.isEmpty())
        QTimer::singleShot(0, this, &FileListController::openNextPendingText);
}

void FileListController::removeCommand()
{
    if (!m_window.listButton(BtnRemove)->isEnabled())
        return;
    m_list->RemoveSelectedItems(m_window.fileView()->selectedRows());
    m_list->UpdateListFooter();
    m_info.clear();
    if (m_list->count() == 0)
        m_window.SetControlsState(ControlsMode::ListState, false);
}

void FileListController::clearListCommand()
{
    if (!m_window.listButton(BtnClearList)->isEnabled())
        return;
    m_list->ClearMediaItems();
    m_list->UpdateListFooter();
    m_info.clear();
    m_window.SetControlsState(ControlsMode::ListState, false);
}

void FileListController::trimCommand()
{
    const QList<int> rows = m_window.fileView()->selectedRows();
    if (rows.size() != 1 || m_window.GetConvertButtonState() != 0)
        return;
    m_info.setCurrentRow(rows.first());
    openTrimEditor(&m_window, m_list, rows.first());
}

void FileListController::openFileLocation()
{
    const QList<int> rows = m_window.fileView()->selectedRows();
    if (rows.isEmpty())
        return;
    const int row = rows.first();
    OpenOutputFolder(
        &m_window, m_list->getFieldText(row, 6) + m_list->getFieldText(row, 1), true, false);
}

// The tracks of the one selected row, when it has several: each by its language, title, codec
// and channels, then all of them at once; the row's choice is checked.
void FileListController::fillTrackMenu()
{
    m_trackMenu->clear();
    const QList<int> rows = m_window.fileView()->selectedRows();
    const bool several
        = rows.size() == 1 && m_list->item(rows.first()).source.audioTracks.size() > 1;
    m_trackMenu->menuAction()->setVisible(several);
    if (!several)
        return;
    const int row = rows.first();
    const MediaItem &item = m_list->item(row);
    const auto choose = [this, row](int number) {
        m_list->chooseAudioTrack(row, number);
        m_info.showRow(row);
    };
    for (const AudioTrack &track : item.source.audioTracks) {
        QAction *action = m_trackMenu->addAction(audioTrackLabel(track));
        action->setObjectName(QStringLiteral("mnuAudioTrack_%1").arg(track.number));
        action->setCheckable(true);
        action->setChecked(!item.allAudioTracks && item.source.audioTrack == track.number - 1);
        connect(
            action, &QAction::triggered, this, [choose, number = track.number] { choose(number); });
    }
    m_trackMenu->addSeparator();
    QAction *all = m_trackMenu->addAction(QStringLiteral("All tracks (a file each)"));
    all->setObjectName(QStringLiteral("mnuAudioTrack_All"));
    all->setCheckable(true);
    all->setChecked(item.allAudioTracks);
    connect(all, &QAction::triggered, this, [choose] { choose(FileListModel::AllAudioTracks); });
}

void FileListController::showListMenu(const QPoint &pos)
{
    const bool idle = m_window.GetConvertButtonState() == 0 && !m_import;
    fillTrackMenu();
    for (QAction *action : m_listMenu->actions())
        action->setEnabled(idle);
    m_listMenu->popup(m_window.fileView()->viewport()->mapToGlobal(pos));
}

} // namespace sonivert
