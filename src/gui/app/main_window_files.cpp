// The file list side of the main window: imports, drops, list commands, the context menu and the
// information panel.
#include "core/app/app_flags.h"
#include "core/app/command_line.h"
#include "core/app/folders.h"
#include "core/convert/ffmpeg_program.h"
#include "core/formats/catalogue_table.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/import_job.h"
#include "core/media/import_rules.h"
#include "gui/app/drop_controller.h"
#include "gui/app/main_window.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/app/tip_popup.h"
#include "gui/convert/report_dialog.h"
#include "gui/diagnose/diagnose_window.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/formats/format_preset_binder.h"
#include "gui/formats/format_setting_dialog.h"
#include "gui/media/file_view_main.h"
#include "gui/media/frm_properties.h"
#include "gui/media/import_runner.h"
#include "gui/media/info_labels.h"
#include "gui/ui/skin.h"

#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <stdexcept>

namespace sonivert {

void MainWindow::setUpFileList()
{
    m_list = new FileListModel(this);
    m_fileView->SetFileList(m_list);
    m_fileView->SetIconProvider([this](int id) { return QIcon(m_listIcons.Icon(id)); });
    connect(m_fileView, &FileViewMain::singleRowSelected, this, [this](int row) {
        if (GetConvertButtonState() == 0)
            Show_InputFileInfo(row);
    });
    connect(m_fileView, &FileViewMain::removeRequested, this, &MainWindow::removeCommand);
    connect(m_fileView, &FileViewMain::clearRequested, this, &MainWindow::clearListCommand);
    connect(m_fileView, &QWidget::customContextMenuRequested, this, &MainWindow::showListMenu);

    m_listMenu = new QMenu(this);
    m_listMenu->setObjectName(QStringLiteral("mnuFileLists"));
    const auto entry = [this](int index, const QString &caption, auto slot) {
        QAction *action = m_listMenu->addAction(caption, this, slot);
        action->setObjectName(QStringLiteral("mnuFileList_%1").arg(index));
    };
    entry(1, QStringLiteral("Open file location"), &MainWindow::openFileLocation);
    m_listMenu->addSeparator();
    entry(3, QStringLiteral("Trim"), &MainWindow::trimCommand);
    m_listMenu->addSeparator();
    entry(5, QStringLiteral("Remove"), &MainWindow::removeCommand);
    entry(6, QStringLiteral("Clear List"), &MainWindow::clearListCommand);
    m_listMenu->addSeparator();
    entry(8, QStringLiteral("Properties"), &MainWindow::propertiesCommand);

    m_drops = new DropController([this] { return GetConvertButtonState() == 0 && !m_import; },
        [this](const QStringList &accepted, const QStringList &refused) {
            ImportDroppedFiles(accepted, refused);
        },
        this);
    m_drops->setAboutToScan([this] { m_tip->closeTip(); });

    connect(m_cmd[BtnAddFiles], &QPushButton::clicked, this, [this] { ImportFiles({}); });
    connect(m_cmd[BtnRemove], &QPushButton::clicked, this, &MainWindow::removeCommand);
    connect(m_cmd[BtnClearList], &QPushButton::clicked, this, &MainWindow::clearListCommand);
    connect(m_cmd[BtnTrim], &QPushButton::clicked, this, &MainWindow::trimCommand);
    connect(m_cmd[BtnSetting], &QPushButton::clicked, this, &MainWindow::settingsCommand);
    connect(m_moreInfo, &QPushButton::clicked, this, &MainWindow::propertiesCommand);
    connect(m_diagnose, &QPushButton::clicked, this, [this] { OpenDiagnoseWindow(this); });

    m_formatBinder
        = new FormatPresetBinder(m_outputFormat, m_outputPreset, AppOutputSettings(), this);
    setFormatChoicesEnabler([this](bool on) { FormatSettingWindow(this)->SetChoicesEnabled(on); });
}

void MainWindow::loadListAndCatalogue()
{
    m_listIcons.Load(SkinImageFolder() + kListIconsFile);
    m_inputFolder = Folders().inputPath;
    if (!LoadBuiltInCatalogue(AppCatalogue(), Folders().tempFolder))
        throw std::runtime_error("the format catalogue cannot be loaded");
}

void MainWindow::selectFirstFormat()
{
    m_formatBinder->FillFormatKeywordList();
    m_formatBinder->SelectFormatAt(0);
}

void MainWindow::ImportFiles(const QStringList &chosen)
{
    if (m_import || m_choosingFiles)
        return;
    QStringList paths = chosen;
    if (paths.isEmpty()) {
        m_choosingFiles = true;
        paths = QFileDialog::getOpenFileNames(this, QStringLiteral("Add Files"), m_inputFolder,
            ImportDialogFilters().join(QStringLiteral(";;")));
        m_choosingFiles = false;
        if (paths.isEmpty() || m_import) {
            scheduleNextPendingText();
            return;
        }
    }
    m_inputFolder = RememberInputFolder(paths.first(), m_identity.settingsKey);
    if (FindFfmpegProgram().isEmpty()) {
        ShowMessage(MissingFfmpegMessage(), MsgCritical, QString(), this);
        return;
    }
    m_import = StartImport(this, m_list, &m_report, paths);
    connect(m_import, &ImportJob::finished, this, &MainWindow::onImportFinished);
    lockCommandsForImport();
}

void MainWindow::ImportDroppedFiles(const QStringList &accepted, const QStringList &refused)
{
    if (m_import || (accepted.isEmpty() && refused.isEmpty()))
        return;
    if (!accepted.isEmpty() && FindFfmpegProgram().isEmpty()) {
        ShowMessage(MissingFfmpegMessage(), MsgCritical, QString(), this);
        return;
    }
    m_import = StartDroppedImport(this, m_list, &m_report, accepted, refused);
    connect(m_import, &ImportJob::finished, this, &MainWindow::onImportFinished);
    lockCommandsForImport();
}

// A one-file import runs behind the window without a wait dialog: nothing may start meanwhile
// (a conversion of a half-filled list, a second import, a removal of the row being added).
void MainWindow::lockCommandsForImport()
{
    QList<QWidget *> commands(m_cmd.begin(), m_cmd.end());
    commands << m_moreInfo << m_diagnose;
    m_importLock.Lock(commands);
}

void MainWindow::onImportFinished(const ImportOutcome &)
{
    m_import = nullptr;
    m_importLock.Release();
    settleListState();
    ShowFailureReportDialog(this, m_report, QStringLiteral("Failed"),
        QStringLiteral("Failed to import files!"), m_identity.settingsKey);
    emit importFinished();
    QTimer::singleShot(0, this, &MainWindow::openNextPendingText);
}

// After an import or a refused file: the list commands follow whether the list has rows.
void MainWindow::settleListState()
{
    if (m_list->Count() > 0) {
        SetControlsState(ControlsMode::Normal, true);
        m_fileView->SelectRow(0);
        m_fileView->setFocus();
    } else {
        SetControlsState(ControlsMode::ListState, false);
    }
}

void MainWindow::OpenFileFromText(const QString &text)
{
    if (GetConvertButtonState() != 0)
        return;
    if (!freeForHandOver()) {
        m_pendingTexts.append(text);
        return;
    }
    const QString path = PathFromCommandText(text);
    if (IsSupportedFile(path)) {
        ImportFiles({ path });
    } else {
        ShowMessage(QStringLiteral("Plase check if the file format supported and listed in our "
                                   "website.\n\nThank you."),
            MsgWarning, QStringLiteral("Can not open file"), this);
        settleListState();
    }
    m_arguments.clear();
}

bool MainWindow::freeForHandOver() const
{
    return m_startUpDone && !m_unloaded && !Flags().isUnloading && !m_import && !m_choosingFiles
        && !m_drops->isBusy() && isEnabled() && !QApplication::activeModalWidget();
}

void MainWindow::openNextPendingText()
{
    while (!m_pendingTexts.isEmpty() && freeForHandOver())
        OpenFileFromText(m_pendingTexts.takeFirst());
}

void MainWindow::scheduleNextPendingText()
{
    if (!m_pendingTexts.isEmpty())
        QTimer::singleShot(0, this, &MainWindow::openNextPendingText);
}

void MainWindow::Show_InputFileInfo(int row)
{
    if (row < 0 || row >= m_list->Count())
        return;
    m_currentItem = row;
    ShowInputFileInfo(QList<QLabel *>(m_infoValues.begin(), m_infoValues.end()), m_list->Item(row));
}

void MainWindow::clearInfoPanel()
{
    m_currentItem = -1;
    for (QLabel *label : m_infoValues)
        label->clear();
}

void MainWindow::removeCommand()
{
    if (!m_cmd[BtnRemove]->isEnabled())
        return;
    m_list->RemoveSelectedItems(m_fileView->SelectedRows());
    m_list->UpdateListFooter();
    clearInfoPanel();
    if (m_list->Count() == 0)
        SetControlsState(ControlsMode::ListState, false);
}

void MainWindow::clearListCommand()
{
    if (!m_cmd[BtnClearList]->isEnabled())
        return;
    m_list->ClearMediaItems();
    m_list->UpdateListFooter();
    clearInfoPanel();
    SetControlsState(ControlsMode::ListState, false);
}

void MainWindow::trimCommand()
{
    const QList<int> rows = m_fileView->SelectedRows();
    if (rows.size() != 1 || GetConvertButtonState() != 0)
        return;
    m_currentItem = rows.first();
    OpenTrimEditor(this, m_list, rows.first());
}

void MainWindow::propertiesCommand()
{
    if (m_currentItem < 0 || m_currentItem >= m_list->Count())
        return;
    frmProperties dialog(m_list->Item(m_currentItem), this);
    dialog.exec();
}

void MainWindow::settingsCommand()
{
    FormatSettingWindow(this)->exec();
}

void MainWindow::openFileLocation()
{
    const QList<int> rows = m_fileView->SelectedRows();
    if (rows.isEmpty())
        return;
    const int row = rows.first();
    OpenOutputFolder(
        this, m_list->GetFieldText(row, 6) + m_list->GetFieldText(row, 1), true, false);
}

void MainWindow::showListMenu(const QPoint &pos)
{
    const bool idle = GetConvertButtonState() == 0 && !m_import;
    for (QAction *action : m_listMenu->actions())
        action->setEnabled(idle);
    m_listMenu->popup(m_fileView->viewport()->mapToGlobal(pos));
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!m_drops->handleDragEnter(event))
        QMainWindow::dragEnterEvent(event);
}

void MainWindow::dragMoveEvent(QDragMoveEvent *event)
{
    if (!m_drops->handleDragMove(event))
        QMainWindow::dragMoveEvent(event);
}

void MainWindow::dropEvent(QDropEvent *event)
{
    if (!m_drops->handleDrop(event, this))
        QMainWindow::dropEvent(event);
}

} // namespace sonivert
