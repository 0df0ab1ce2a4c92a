#pragma once

#include "core/diagnose/sweep.h"

#include <QPointer>
#include <QWidget>
#include <array>

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace sonivert {

class MainWindow;

// Indices of the Cmd_Test button array.
enum TestButton : int {
    TestAudioSettings = 0,
    TestPresets = 1,
    TestClear = 2,
    TestVideoCodecs = 3,
};

// frmDiagnose: converts the file list once per combination of output settings and lists the
// outcomes. A sweep waits for each run of the main window in a nested event loop, so the windows
// stay usable while the list converts step by step.
class DiagnoseWindow : public QWidget
{
    Q_OBJECT

public:
    explicit DiagnoseWindow(MainWindow *mainWindow);
    ~DiagnoseWindow() override;

    // The Cmd_Test click handler; a sweep returns only when it has ended.
    void testCommand(int index);
    // Ends a running sweep once its current step has been read.
    void requestStop();
    bool isSweeping() const { return m_sweeping; }

    // Appends an engine line to txtLog while Chk_EngLog is checked.
    void appendEngineLog(const QString &line);
    // Appends the option string of the main window's selected row to Text1.
    void appendOptionString();

    QPushButton *testButton(int index) const { return m_test[std::size_t(index)]; }

signals:
    void sweepEnded(const SweepSummary &summary);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    class StepRunner;

    void buildLayout();
    void updateCommands();
    void writeResult(const SweepResult &result);
    void showSummary(const SweepSummary &summary);

    QPointer<MainWindow> m_main;
    std::array<QPushButton *, 4> m_test {};
    QPushButton *m_stop = nullptr;
    QCheckBox *m_failedOnly = nullptr;
    QPlainTextEdit *m_results = nullptr;
    QCheckBox *m_engineLogOn = nullptr;
    QPlainTextEdit *m_engineLog = nullptr;
    QPushButton *m_clearLog = nullptr;
    QPushButton *m_optionButton = nullptr;
    QPlainTextEdit *m_options = nullptr;
    QLabel *m_status = nullptr;
    bool m_sweeping = false;
    bool m_stopRequested = false;
    bool m_closePending = false;
};

// The engine log keeps this many lines; older ones are dropped as new ones arrive.
inline constexpr int EngineLogLineLimit = 5000;

// Shows the one diagnosis window beside the main window, creating it when needed.
DiagnoseWindow *openDiagnoseWindow(MainWindow *mainWindow);

} // namespace sonivert
