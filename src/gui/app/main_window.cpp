#include "gui/app/main_window.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/settings_store.h"
#include "core/formats/catalogue_table.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "gui/app/drop_controller.h"
#include "gui/app/file_list_controller.h"
#include "gui/app/messages.h"
#include "gui/app/output_panel.h"
#include "gui/app/tip_popup.h"
#include "gui/app/unloading_dialog.h"
#include "gui/convert/conversion_panel.h"
#include "gui/diagnose/diagnose_window.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/formats/format_setting_dialog.h"
#include "gui/media/file_view_main.h"
#include "gui/media/info_panel.h"
#include "gui/ui/skin.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QWindowStateChangeEvent>
#include <stdexcept>

namespace sonivert {

MainWindow::MainWindow(const Identity &identity, QWidget *parent)
    : QMainWindow(parent)
    , m_identity(identity)
{
    setObjectName(QStringLiteral("frmMain"));
    buildLayout();
    setUpFileList();
    setUpConversion();

    // Findable by name; a member leaves its parent before the parent goes.
    for (QTimer *timer : { &m_timerStartUp, &m_timerTags, &m_timerCheckMoveForm })
        timer->setParent(this);
    m_timerStartUp.setObjectName(QStringLiteral("Timer_StartUp"));
    m_timerStartUp.setInterval(300);
    m_timerStartUp.setSingleShot(true);
    m_timerTags.setObjectName(QStringLiteral("Timer_Tags"));
    m_timerTags.setInterval(200);
    m_timerTags.setSingleShot(true);
    m_timerCheckMoveForm.setObjectName(QStringLiteral("Timer_CheckMoveForm"));
    m_timerCheckMoveForm.setInterval(50);
    connect(&m_timerStartUp, &QTimer::timeout, this, &MainWindow::onStartUpTimer);
    connect(&m_timerTags, &QTimer::timeout, this, &MainWindow::onTagsTimer);
    connect(&m_timerCheckMoveForm, &QTimer::timeout, this, &MainWindow::onCheckMoveTimer);
    connect(m_tip, &TipPopup::stateChanged, this, &MainWindow::onTipStateChanged);
}

MainWindow::~MainWindow()
{
    // Children still send signals while the base classes tear them down (a focused box reports
    // editingFinished as it loses the focus); none of them may reach a half-destroyed window,
    // nor the file list's controller, which outlives the widgets it asks.
    for (QObject *child : findChildren<QObject *>()) {
        disconnect(child, nullptr, this, nullptr);
        disconnect(child, nullptr, m_files, nullptr);
    }
}

void MainWindow::setUpFileList()
{
    QList<QWidget *> lockedByImport(m_cmd.begin(), m_cmd.end());
    lockedByImport << m_info->moreButton() << m_diagnose;
    m_files = new FileListController(*this, *m_info, lockedByImport, m_identity.settingsKey);
    connect(m_files, &FileListController::importFinished, this, &MainWindow::importFinished);
    connect(m_cmd[BtnSetting], &QPushButton::clicked, this,
        [this] { FormatSettingWindow(this)->exec(); });
    connect(m_diagnose, &QPushButton::clicked, this, [this] { OpenDiagnoseWindow(this); });
    setFormatChoicesEnabler([this](bool on) { FormatSettingWindow(this)->SetChoicesEnabled(on); });
}

void MainWindow::setFormatChoicesEnabler(std::function<void(bool)> enabler)
{
    m_output->setFormatChoicesEnabler(std::move(enabler));
}

void MainWindow::Load(const QStringList &arguments)
{
    m_arguments = arguments;
    setWindowTitle(m_identity.companyName + QLatin1Char(' ') + m_identity.productName);
    LoadSettings(m_identity.settingsKey);
    m_output->setFolder(Folders().outputPath);
    LoadSkinAndImages(this, Folders().skinFolder);
    m_dropPicture->setPixmap(QPixmap(SkinImageFolder() + kDragDropFile));
    placeDropPicture();
    m_files->load();
    if (!LoadBuiltInCatalogue(AppCatalogue(), Folders().tempFolder))
        throw std::runtime_error("the format catalogue cannot be loaded");

    SetControlsState(ControlsMode::ListState, false);
    m_cmd[BtnAddFiles]->setEnabled(false);
    m_timerStartUp.start();

    m_output->selectFirstFormat();
    Flags().diagnosisRunning = false;
    setAcceptDrops(true);
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinTagInfo"), QString());
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinInfo"), QString());
    SetConvertButtonState(0);
    Flags().isUnloading = false;
}

void MainWindow::SetControlsState(ControlsMode mode, bool flag)
{
    const auto setOutputChoice = [this](bool enabled) {
        for (QPushButton *button : m_cmd)
            button->setEnabled(enabled);
        m_output->setChoicesEnabled(enabled);
    };

    switch (mode) {
    case ControlsMode::Normal:
        m_listFake->setVisible(!flag);
        m_fileView->setVisible(flag);
        setOutputChoice(flag);
        m_fileView->setEnabled(flag);
        break;
    case ControlsMode::Converting:
        m_listFake->hide();
        m_fileView->show();
        setOutputChoice(false);
        m_fileView->setEnabled(true);
        m_cmd[BtnConvert]->setEnabled(true);
        m_cmd[BtnStop]->setEnabled(true);
        break;
    case ControlsMode::ListState:
        m_listFake->setVisible(!flag);
        m_fileView->setVisible(flag);
        for (QPushButton *button : m_cmd)
            button->setEnabled(flag);
        for (int i : { BtnAddFiles, BtnOpenFolder, BtnSetting, BtnBrowseFolder })
            m_cmd[size_t(i)]->setEnabled(true);
        m_output->setFormatListEnabled(true);
        m_fileView->setEnabled(true);
        break;
    }
}

int MainWindow::GetConvertButtonState() const
{
    return m_convert->buttonState();
}

void MainWindow::SetConvertButtonState(int state)
{
    m_convert->showButtonState(state);
}

void MainWindow::setUpConversion()
{
    connect(m_convert, &ConversionPanel::engineLog, this, &MainWindow::engineLog);
    connect(m_convert, &ConversionPanel::runFinished, this, &MainWindow::runFinished);
    m_runHooks.toggleConvert = [this] {
        convertCommand();
    };
    m_runHooks.stopEngine = [this] {
        m_convert->run()->Abandon();
    };
}

void MainWindow::convertCommand()
{
    m_convert->convertCommand();
}

void MainWindow::stopCommand()
{
    m_convert->stopCommand();
}

void MainWindow::setTaskPlanner(TaskPlanner planner)
{
    m_convert->setTaskPlanner(std::move(planner));
}

ConversionRun *MainWindow::conversionRun() const
{
    return m_convert->run();
}

FileListModel *MainWindow::fileList() const
{
    return m_files->list();
}

int MainWindow::CurrentItemIndex() const
{
    return m_info->currentRow();
}

void MainWindow::Show_InputFileInfo(int row)
{
    m_info->showRow(row);
}

void MainWindow::OpenFileFromText(const QString &text)
{
    m_files->openFileFromText(text);
}

void MainWindow::ImportFiles(const QStringList &paths)
{
    m_files->importFiles(paths);
}

void MainWindow::ImportDroppedFiles(const QStringList &accepted, const QStringList &refused)
{
    m_files->importDroppedFiles(accepted, refused);
}

void MainWindow::removeCommand()
{
    m_files->removeCommand();
}

void MainWindow::clearListCommand()
{
    m_files->clearListCommand();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_unloaded || closeQuery()) {
        if (!m_unloaded)
            Unload();
        event->accept();
        return;
    }
    event->ignore();
}

bool MainWindow::closeQuery()
{
    if (GetConvertButtonState() == 0)
        return true;
    if (GetConvertButtonState() == 1 && m_runHooks.toggleConvert)
        m_runHooks.toggleConvert();
    const int answer = ShowMessage(
        QStringLiteral("Conversion is not completed!\nAre you sure you want to terminate it ?"),
        MsgQuestion, QString(), this);
    if (answer == ResultYes)
        return true;
    if (GetConvertButtonState() == 2 && m_runHooks.toggleConvert)
        m_runHooks.toggleConvert();
    return false;
}

void MainWindow::Unload()
{
    setAcceptDrops(false);
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinTagInfo"), QString());
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinInfo"), QString());
    Flags().isUnloading = true;

    if (m_runHooks.stopEngine) {
        UnloadingDialog notice(this);
        notice.show();
        QApplication::processEvents();
        m_runHooks.stopEngine();
        notice.hide();
    }
    hide();
    UnloadSkin();

    for (QTimer *timer : { &m_timerStartUp, &m_timerTags, &m_timerCheckMoveForm })
        timer->stop();
    m_convert->stopElapsedTimer();
    m_tip->closeTip();
    if (FrmEditVideo *editor = FrmEditVideo::Current())
        editor->StopTimers();
    // Every other window goes with the main one.
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (window != this)
            window->close();
    }
    m_unloaded = true;
    QCoreApplication::quit();
}

void MainWindow::onStartUpTimer()
{
    m_timerStartUp.stop();
    if (!m_arguments.isEmpty()) {
        m_files->queueFirst(m_arguments.first());
    } else {
        raise();
        activateWindow();
        m_timerTags.start();
    }
    m_cmd[BtnAddFiles]->setEnabled(true);
    m_files->finishStartUp();
}

void MainWindow::onTagsTimer()
{
    m_timerTags.stop();
    m_tipWindowPos = pos();
    m_timerCheckMoveForm.start();
    m_dropPicture->hide();
    m_tip->ShowGettingStartedTip(SkinImageFolder());
    m_cmd[BtnAddFiles]->setEnabled(true);
}

void MainWindow::onCheckMoveTimer()
{
    if (pos() != m_tipWindowPos && m_tip->state() == TipPopup::Showing)
        m_tip->closeTip();
    if (m_tip->state() == TipPopup::Closed)
        m_timerCheckMoveForm.stop();
}

void MainWindow::onTipStateChanged(int state)
{
    if (state == TipPopup::Closed)
        m_dropPicture->show();
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::WindowStateChange && isMinimized())
        m_tip->closeTip();
    QMainWindow::changeEvent(event);
}

bool MainWindow::event(QEvent *event)
{
    // A modal dialog has gone, or the window is enabled again: a file handed over meanwhile can
    // be opened now.
    if (m_files
        && (event->type() == QEvent::WindowUnblocked || event->type() == QEvent::EnabledChange))
        m_files->scheduleNextPendingText();
    return QMainWindow::event(event);
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_listFake && event->type() == QEvent::Resize)
        placeDropPicture();
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!m_files->drops()->handleDragEnter(event))
        QMainWindow::dragEnterEvent(event);
}

void MainWindow::dragMoveEvent(QDragMoveEvent *event)
{
    if (!m_files->drops()->handleDragMove(event))
        QMainWindow::dragMoveEvent(event);
}

void MainWindow::dropEvent(QDropEvent *event)
{
    if (!m_files->drops()->handleDrop(event, this))
        QMainWindow::dropEvent(event);
}

void MainWindow::placeDropPicture()
{
    m_dropPicture->adjustSize();
    m_dropPicture->move(
        m_listFake->width() / 2 - m_dropPicture->width() / 2, m_listFake->height() / 2);
}

} // namespace sonivert
