#pragma once

#include "core/convert/conversion_run.h"
#include "core/convert/run_progress.h"

#include <QGroupBox>
#include <QHash>
#include <QList>
#include <QTimer>

class QPushButton;

namespace sonivert {

class MainWindow;
class OutputPanel;
class RunOptions;
class TotalBar;

// The convert group of the main window: the total bar beside Convert (Pause, Resume) and Stop,
// bound to the conversion run. It prepares a run, follows it and reports how it ended.
class ConversionPanel : public QGroupBox
{
    Q_OBJECT
public:
    // The window's controls a run reads or steers besides the panel's own.
    struct Controls
    {
        QPushButton *convert = nullptr;
        QPushButton *stop = nullptr;
        OutputPanel *output = nullptr; // checks the folder and says why it cannot be used
        RunOptions *options = nullptr;
    };

    ConversionPanel(MainWindow &window, const Controls &controls, const QString &settingsKey);
    ~ConversionPanel() override;

    ConversionRun *run() const { return m_run; }
    // One output per row, whatever the row's track choice.
    void setTaskPlanner(TaskPlanner planner)
    {
        m_planner = [planner = std::move(planner)](int row) {
            return QList<TaskPlan> { planner(row) };
        };
    }
    // The plans of each row's outputs.
    void setRowPlanner(std::function<QList<TaskPlan>(int row)> planner)
    {
        m_planner = std::move(planner);
    }

    // 0 idle, 1 converting (a run being planned counts), 2 paused.
    int buttonState() const;
    void showButtonState(int state);

    void convertCommand();
    // A diagnosis step's run: begins while Convert itself is disabled for the sweep.
    void startTestRun();
    void stopCommand();
    void stopElapsedTimer() { m_elapsedTimer.stop(); }

signals:
    // Every ffmpeg line of every task, as "#task.level line".
    void engineLog(const QString &line);
    // A run has ended (completed, stopped or abandoned before it began).
    void runFinished();

private:
    void buildBar();
    void startRun();
    bool prepareRun();
    void onRowProgress(int row, int percent);
    void onTotalProgress(int percent);
    void onRowEnded(int row, RowOutcome outcome, const QString &message);
    void onRunEnded(RunStopReason reason);
    void onElapsedTick();
    void completeRun();
    void reportFailures();
    void tellCompletion();
    void selectAndShow(int row);
    void showFirstSelectedRow();

    MainWindow &m_window;
    Controls m_controls;
    QString m_settingsKey;
    ConversionRun *m_run = nullptr;
    std::function<QList<TaskPlan>(int row)> m_planner; // the plans of a row's outputs
    QList<int> m_reportedTasks;
    QHash<int, QString> m_failureDetails; // per row, kept once its task has failed
    bool m_elapsedFrozen = false;
    bool m_preparing = false;
    bool m_abortPreparation = false;
    TotalBar *m_totalBar = nullptr;
    QTimer m_elapsedTimer;
};

} // namespace sonivert
