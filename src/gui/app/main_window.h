#pragma once

#include "core/convert/conversion_run.h"
#include "core/media/failure_report.h"
#include "gui/app/file_list_controller.h"
#include "gui/app/getting_started_tip.h"
#include "gui/app/output_panel.h"
#include "gui/convert/conversion_panel.h"
#include "gui/media/file_list_area.h"
#include "gui/media/info_panel.h"

#include <QMainWindow>
#include <QStringList>
#include <QTimer>
#include <array>
#include <functional>

class QPushButton;

namespace sonivert {

class ConversionRun;
class FileListModel;
class FileViewMain;
class RunOptions;
class TipPopup;

// Indices of the Cmd_FileListView button array.
enum ListButton : int {
    BtnAddFiles = 0,
    BtnRemove = 1,
    BtnClearList = 2,
    BtnConvert = 3,
    BtnStop = 4,
    BtnOpenFolder = 5,
    BtnSetting = 6,
    BtnBrowseFolder = 7,
    BtnTrim = 8,
};

enum class ControlsMode : int {
    Normal = 0,
    Converting = 1,
    ListState = 2,
};

// frmMain: hosts the file list, the list commands, the output choice, the conversion group and
// the information panel. Rules live in core models; this class binds them to widgets.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    struct Identity
    {
        QString companyName;
        QString productName;
        QString settingsKey;
    };

    explicit MainWindow(const Identity &identity, QWidget *parent = nullptr);
    ~MainWindow() override;

    // The load sequence; arguments are the command-line files, opened in one import.
    void load(const QStringList &arguments);

    // While a diagnosis sweep runs, Convert stays disabled whatever the mode.
    void SetControlsState(ControlsMode mode, bool flag);
    int GetConvertButtonState() const { return m_convert->buttonState(); }
    void SetConvertButtonState(int state) { m_convert->showButtonState(state); }

    // What the close query and unload do with a running conversion; the engine fills these in.
    struct RunHooks
    {
        std::function<void()> toggleConvert; // the Convert command: pauses or resumes a run
        std::function<void()> stopEngine; // StopTasks + ClearTasks, waiting for the children
    };
    void setRunHooks(RunHooks hooks) { m_runHooks = std::move(hooks); }

    // The settings dialog's choice controls follow the window's control state as a whole.
    void setFormatChoicesEnabler(std::function<void(bool)> enabler)
    {
        m_output->setFormatChoicesEnabler(std::move(enabler));
    }

    QPushButton *listButton(int index) const { return m_cmd[size_t(index)]; }
    TipPopup *tipPopup() const { return m_startTip->popup(); }
    bool isUnloaded() const { return m_unloaded; }

    // Opens a file named on the command line or handed over by a second start. Nothing happens
    // while a conversion runs. While the window is not free (start-up not finished, a modal
    // dialog up, the open dialog of Add Files, a drop being scanned, an import running), the text
    // waits its turn and is opened once the window is free again.
    void OpenFileFromText(const QString &text) { m_files->openFilesFromTexts({ text }); }
    // Several files at once (a file manager's selection) go into one import, in order.
    void openFilesFromTexts(const QStringList &texts) { m_files->openFilesFromTexts(texts); }

    // Imports files; with no paths the person picks them in the open dialog.
    void ImportFiles(const QStringList &paths) { m_files->importFiles(paths); }
    void ImportDroppedFiles(const QStringList &accepted, const QStringList &refused)
    {
        m_files->importDroppedFiles(accepted, refused);
    }

    FileListModel *fileList() const { return m_files->list(); }
    FileViewMain *fileView() const { return m_listArea->fileView(); }
    FailureReport &failureReport() { return m_report; }
    // The output folder and the thread options the next run starts with.
    RunOptions *runOptions() const { return m_options; }
    int CurrentItemIndex() const { return m_info->currentRow(); }
    void Show_InputFileInfo(int row) { m_info->showRow(row); }

    void removeCommand() { m_files->removeCommand(); }
    void clearListCommand() { m_files->clearListCommand(); }

    // The conversion: Convert (also Pause and Resume) and Stop, as the buttons do them.
    void convertCommand() { m_convert->convertCommand(); }
    void stopCommand() { m_convert->stopCommand(); }
    void StartTesting() { m_convert->startTestRun(); }
    void setTaskPlanner(TaskPlanner planner) { m_convert->setTaskPlanner(std::move(planner)); }
    void setRowPlanner(std::function<QList<TaskPlan>(int row)> planner)
    {
        m_convert->setRowPlanner(std::move(planner));
    }
    // The run the window drives; its engine can be replaced (tests drive it with fake jobs).
    ConversionRun *conversionRun() const { return m_convert->run(); }

signals:
    // An import has ended and its report (if any) is up.
    void importFinished();
    // Every ffmpeg line of every task, as "#task.level line".
    void engineLog(const QString &line);
    // A run has ended (completed, stopped or abandoned before it began).
    void runFinished();

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    void buildLayout();
    QWidget *buildSidePanel();
    QWidget *buildConvertArea();
    void setUpFileList();
    void setUpConversion();

    bool closeQuery();
    void unload();
    void onStartUpTimer();
    // The format, preset, changes, folder, thread options and geometry, as the next start offers
    // them.
    void watchChoices();
    void rememberChoices();

    Identity m_identity;
    QStringList m_arguments;
    bool m_unloaded = false;
    RunHooks m_runHooks;
    FailureReport m_report;

    std::array<QPushButton *, 9> m_cmd {};
    QPushButton *m_diagnose = nullptr;
    FileListArea *m_listArea = nullptr;
    FileListController *m_files = nullptr;
    InfoPanel *m_info = nullptr;
    RunOptions *m_options = nullptr;
    OutputPanel *m_output = nullptr;
    ConversionPanel *m_convert = nullptr;
    GettingStartedTip *m_startTip = nullptr;
    QTimer m_timerStartUp;
    QTimer m_rememberTimer;
    bool m_watchingChoices = false;
};

} // namespace sonivert
