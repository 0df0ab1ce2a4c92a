#include "gui/app/main_window.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/app/settings_store.h"
#include "core/formats/catalogue_table.h"
#include "core/formats/output_settings.h"
#include "core/formats/remembered_output.h"
#include "core/media/file_list_model.h"
#include "gui/app/desktop_session.h"
#include "gui/app/drop_controller.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/app/tip_popup.h"
#include "gui/app/unloading_dialog.h"
#include "gui/diagnose/diagnose_window.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/formats/format_setting_dialog.h"
#include "gui/media/file_view_main.h"
#include "gui/ui/skin.h"

#include <QApplication>
#include <QCloseEvent>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QWindowStateChangeEvent>
#include <stdexcept>

namespace sonivert {

MainWindow::MainWindow(const Identity &identity, QWidget *parent)
    : QMainWindow(parent)
    , m_identity(identity)
{
    setObjectName(QStringLiteral("frmMain"));
    m_options = new RunOptions(m_identity.settingsKey, this);
    buildLayout();
    setUpFileList();
    setUpConversion();

    // Findable by name; a member leaves its parent before the parent goes.
    m_timerStartUp.setParent(this);
    m_timerStartUp.setObjectName(QStringLiteral("Timer_StartUp"));
    m_timerStartUp.setInterval(300);
    m_timerStartUp.setSingleShot(true);
    connect(&m_timerStartUp, &QTimer::timeout, this, &MainWindow::onStartUpTimer);

    // Choices reach the settings file shortly after they are made, so a crash, a kill or a
    // logout that never lets the window close still keeps them; a burst of changes (a drag of
    // the window's edge, typing a folder) is written once.
    m_rememberTimer.setParent(this);
    m_rememberTimer.setInterval(500);
    m_rememberTimer.setSingleShot(true);
    connect(&m_rememberTimer, &QTimer::timeout, this, &MainWindow::rememberChoices);

    // The buttons' own rules decide: a shortcut does what a click on the button would do.
    const auto clickWhenEnabled = [this](const QKeySequence &keys, int button) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, [this, button] {
            if (m_cmd[size_t(button)]->isEnabled())
                m_cmd[size_t(button)]->click();
        });
    };
    clickWhenEnabled(QKeySequence::Open, BtnAddFiles);
    clickWhenEnabled(QKeySequence(Qt::CTRL | Qt::Key_Return), BtnConvert);
    clickWhenEnabled(QKeySequence(Qt::CTRL | Qt::Key_Enter), BtnConvert);
}

MainWindow::~MainWindow()
{
    // Children still send signals while the base classes tear them down (a focused box reports
    // editingFinished as it loses the focus); none of them may reach a half-destroyed window,
    // nor the window's helpers, which outlive the widgets they ask.
    for (QObject *child : findChildren<QObject *>()) {
        for (QObject *receiver : std::initializer_list<QObject *> { this, m_files, m_startTip })
            disconnect(child, nullptr, receiver, nullptr);
    }
    disconnect(&appOutputSettings(), nullptr, this, nullptr);
    m_watchingChoices = false;
}

void MainWindow::setUpFileList()
{
    QList<QWidget *> lockedByImport(m_cmd.begin(), m_cmd.end());
    lockedByImport << m_info->moreButton() << m_diagnose;
    m_files = new FileListController(*this, *m_info, lockedByImport, m_identity.settingsKey);
    connect(m_files, &FileListController::importFinished, this, &MainWindow::importFinished);
    connect(m_cmd[BtnSetting], &QPushButton::clicked, this,
        [this] { formatSettingWindow(this)->exec(); });
    connect(m_diagnose, &QPushButton::clicked, this, [this] { openDiagnoseWindow(this); });
    setFormatChoicesEnabler([this](bool on) { formatSettingWindow(this)->setChoicesEnabled(on); });
}

void MainWindow::load(const QStringList &arguments)
{
    m_arguments = arguments;
    setWindowTitle(m_identity.companyName + QLatin1Char(' ') + m_identity.productName);
    LoadSettings(m_identity.settingsKey);
    m_options->setOutputFolder(folders().outputPath);
    LoadSkinAndImages(this, folders().skinFolder);
    m_listArea->setDropPicture(QPixmap(skinImageFolder() + kDragDropFile));
    m_files->load();
    if (!loadBuiltInCatalogue(appCatalogue(), folders().tempFolder))
        throw std::runtime_error("the format catalogue cannot be loaded");

    SetControlsState(ControlsMode::ListState, false);
    m_cmd[BtnAddFiles]->setEnabled(false);
    m_timerStartUp.start();

    m_output->selectRememberedFormat(m_identity.settingsKey);
    restoreGeometry(QByteArray::fromBase64(
        RegReadText(m_identity.settingsKey, QStringLiteral("WindowGeometry")).toLatin1()));
    flags().diagnosisRunning = false;
    setAcceptDrops(true);
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinTagInfo"), QString());
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinInfo"), QString());
    SetConvertButtonState(0);
    flags().isUnloading = false;
    watchChoices();
}

void MainWindow::watchChoices()
{
    const auto changed = [this] {
        if (m_watchingChoices && !m_unloaded)
            m_rememberTimer.start();
    };
    connect(m_options, &RunOptions::outputFolderChanged, this, changed);
    connect(m_options, &RunOptions::threadModeChanged, this, changed);
    connect(m_options, &RunOptions::threadCountTextChanged, this, changed);
    connect(m_options, &RunOptions::coverChanged, this, changed);
    connect(m_options, &RunOptions::splitChaptersChanged, this, changed);
    connect(m_options, &RunOptions::segmentsChanged, this, changed);
    connect(&appOutputSettings(), &OutputSettings::changed, this, changed);
    connect(&appOutputSettings(), &OutputSettings::mainPresetChanged, this, changed);
    m_watchingChoices = true;
}

void MainWindow::rememberChoices()
{
    m_rememberTimer.stop();
    // A diagnosis sweep tries settings nobody chose and puts the person's back when it ends.
    if (flags().diagnosisRunning) {
        m_rememberTimer.start();
        return;
    }
    // One update of the settings file: each one waits for the disk.
    SettingTexts texts = m_options->rememberedTexts() + outputSettingsTexts(appOutputSettings());
    texts.append(
        { QStringLiteral("WindowGeometry"), QString::fromLatin1(saveGeometry().toBase64()) });
    RegWriteTexts(m_identity.settingsKey, texts);
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
        m_listArea->showFileView(flag);
        setOutputChoice(flag);
        fileView()->setEnabled(flag);
        break;
    case ControlsMode::Converting:
        m_listArea->showFileView(true);
        setOutputChoice(false);
        fileView()->setEnabled(true);
        m_cmd[BtnConvert]->setEnabled(true);
        m_cmd[BtnStop]->setEnabled(true);
        break;
    case ControlsMode::ListState:
        m_listArea->showFileView(flag);
        for (QPushButton *button : m_cmd)
            button->setEnabled(flag);
        for (int i : { BtnAddFiles, BtnOpenFolder, BtnSetting, BtnBrowseFolder })
            m_cmd[size_t(i)]->setEnabled(true);
        m_output->setFormatListEnabled(true);
        fileView()->setEnabled(true);
        break;
    }
    if (flags().diagnosisRunning)
        m_cmd[BtnConvert]->setEnabled(false);
}

void MainWindow::setUpConversion()
{
    connect(m_convert, &ConversionPanel::engineLog, this, &MainWindow::engineLog);
    connect(m_convert, &ConversionPanel::runFinished, this, &MainWindow::runFinished);
    m_runHooks.toggleConvert = [this] {
        convertCommand();
    };
    m_runHooks.stopEngine = [this] {
        m_convert->run()->abandon();
    };

    auto *desktop = new DesktopSession(*m_convert->run(), DesktopSession::defaultBuses(), this);
    // A diagnosis sweep's many short runs are watched in its own window: none is announced.
    desktop->setWindowActive(
        [this] { return flags().diagnosisRunning || (isActiveWindow() && !isMinimized()); });
    desktop->setOpenFolder(
        [this](const QString &folder) { OpenOutputFolder(this, folder, false, false); });
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_unloaded || closeQuery()) {
        if (!m_unloaded)
            unload();
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

void MainWindow::unload()
{
    setAcceptDrops(false);
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinTagInfo"), QString());
    RegWriteText(m_identity.settingsKey, QStringLiteral("WinInfo"), QString());
    flags().isUnloading = true;
    rememberChoices();

    if (m_runHooks.stopEngine) {
        UnloadingDialog notice(this);
        notice.show();
        QApplication::processEvents();
        m_runHooks.stopEngine();
        notice.hide();
    }
    hide();
    unloadSkin();

    m_timerStartUp.stop();
    m_startTip->stopTimers();
    m_convert->stopElapsedTimer();
    tipPopup()->closeTip();
    if (FrmEditVideo *editor = FrmEditVideo::current())
        editor->stopTimers();
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
        m_files->queueFirst(m_arguments);
    } else {
        raise();
        activateWindow();
        m_startTip->start();
    }
    m_cmd[BtnAddFiles]->setEnabled(true);
    m_files->finishStartUp();
}

void MainWindow::moveEvent(QMoveEvent *event)
{
    if (m_watchingChoices && !m_unloaded)
        m_rememberTimer.start();
    QMainWindow::moveEvent(event);
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    if (m_watchingChoices && !m_unloaded)
        m_rememberTimer.start();
    QMainWindow::resizeEvent(event);
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::WindowStateChange && isMinimized())
        tipPopup()->closeTip();
    if (event->type() == QEvent::WindowStateChange && m_watchingChoices && !m_unloaded)
        m_rememberTimer.start();
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

} // namespace sonivert
