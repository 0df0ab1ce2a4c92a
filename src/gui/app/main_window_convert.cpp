// The conversion side of the main window: preparing a run, following the engine's events, Stop,
// the elapsed time and the end of the run.
#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/conversion_run.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/formats/output_settings.h"
#include "core/media/encryption_evidence.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "core/media/time_text.h"
#include "gui/app/completion_dialog.h"
#include "gui/app/main_window.h"
#include "gui/app/messages.h"
#include "gui/app/tip_popup.h"
#include "gui/convert/preparation_dialog.h"
#include "gui/convert/report_dialog.h"
#include "gui/media/file_view_main.h"

#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace sonivert {

void MainWindow::setUpConversion()
{
    m_run = new ConversionRun(this);
    connect(m_run, &ConversionRun::stateChanged, this,
        [this](RunState state) { SetConvertButtonState(int(state)); });
    connect(m_run, &ConversionRun::rowProgress, this, &MainWindow::onRowProgress);
    connect(m_run, &ConversionRun::totalProgress, this, &MainWindow::onTotalProgress);
    connect(m_run, &ConversionRun::rowEnded, this, &MainWindow::onRowEnded);
    connect(m_run, &ConversionRun::runEnded, this, &MainWindow::onRunEnded);
    connect(m_run, &ConversionRun::logLine, this, &MainWindow::engineLog);
    connect(m_cmd[BtnConvert], &QPushButton::clicked, this, &MainWindow::convertCommand);
    connect(m_cmd[BtnStop], &QPushButton::clicked, this, &MainWindow::stopCommand);
    connect(&m_timerConversionElapsed, &QTimer::timeout, this, &MainWindow::onElapsedTick);

    // Each row is planned from the output settings as they are when the run is queued.
    m_planner = [this](int row) {
        return PlanTask(m_list->Item(row), AppOutputSettings());
    };
    m_runHooks.toggleConvert = [this] {
        convertCommand();
    };
    m_runHooks.stopEngine = [this] {
        m_run->Abandon();
    };
}

void MainWindow::convertCommand()
{
    if (!m_cmd[BtnConvert]->isEnabled())
        return;
    m_tip->closeTip();
    switch (m_run->State()) {
    case RunState::Converting:
        m_run->Pause();
        m_timerConversionElapsed.stop();
        return;
    case RunState::Paused:
        m_run->Resume();
        if (!m_elapsedFrozen)
            m_timerConversionElapsed.start();
        return;
    case RunState::Idle:
        startRun();
    }
}

void MainWindow::startRun()
{
    if (m_list->Count() == 0 || !m_planner || m_preparing)
        return;
    Flags().stoppedByUser = false;
    setAcceptDrops(false);

    QString folder = m_outputPath->text();
    QString why;
    const bool usable = CheckOutputFolder(folder, &why);
    // An empty box has been given the documents folder, usable or not.
    m_outputPath->setText(usable ? WithTrailingSeparator(folder) : folder);
    if (!usable) {
        m_outputFolderProblem->setText(why);
        m_outputFolderProblem->show();
        m_outputPath->selectAll();
        m_outputPath->setFocus();
        setAcceptDrops(true);
        return;
    }

    m_preparing = true;
    SetConvertButtonState(1);
    m_run->Begin(m_outputPath->text());
    m_failureDetails.clear();
    m_elapsedFrozen = false;
    Show_InputFileInfo(0);
    for (int row = 0; row < m_list->Count(); ++row) {
        m_list->SetRowState(row, true, RowState::Ready);
    }

    const bool queued = prepareRun();
    m_preparing = false;

    m_totalBar->setRange(0, 100);
    m_totalBar->setValue(0);
    m_totalBar->setFormat(QString());
    setTotalBarStyle(1);
    m_totalBar->show();
    m_fileView->scrollToTop();

    if (queued) {
        SetControlsState(ControlsMode::Converting, false);
        m_stallTicks = 0;
        m_run->Start(ThreadCountFor(m_threadMode->isChecked(), m_threadCount->text()));
        if (m_run->State() != RunState::Idle)
            m_timerConversionElapsed.start();
    } else {
        m_run->Abandon();
        SetConvertButtonState(0);
        SetControlsState(ControlsMode::Normal, true);
        m_totalBar->hide();
        emit runFinished();
    }
    setAcceptDrops(true);
}

// Plans every row into the run; false when the person cancelled or a row could not be queued.
bool MainWindow::prepareRun()
{
    m_abortPreparation = false;
    const int rows = m_list->Count();
    PreparationDialog wait(this);
    setEnabled(false);
    wait.setEnabled(true);
    wait.setRowCount(rows);
    wait.show();
    QApplication::processEvents();

    for (int row = 0; row < rows && !m_abortPreparation; ++row) {
        const QString input
            = m_list->GetFieldText(row, Field::FilePath) + m_list->GetFieldText(row, Field::Name);
        const QString output = m_run->AddRow(row, input, m_planner(row));
        if (output.isEmpty()) {
            wait.finish();
            setEnabled(true);
            QString reason = m_run->LastErrorText();
            ShowMessage(reason.replace(QStringLiteral(": "), QStringLiteral("\n\n")), MsgWarning,
                QStringLiteral("Attention!"), this);
            m_abortPreparation = true;
            break;
        }
        m_list->SetField(row, Field::ConvertedFileName, output);
        wait.showRow(row, rows);
        QApplication::processEvents();
        if (wait.cancelRequested())
            m_abortPreparation = true;
    }
    wait.finish();
    setEnabled(true);
    return !m_abortPreparation;
}

void MainWindow::stopCommand()
{
    if (!m_cmd[BtnStop]->isEnabled())
        return;
    m_tip->closeTip();
    if (m_run->State() == RunState::Idle) {
        // Nothing runs, so no row is the current one: every row reads as cancelled.
        Flags().stoppedByUser = true;
        for (int row = 0; row < m_list->Count(); ++row)
            m_list->SetRowState(row, true, RowState::Cancelled);
        m_timerConversionElapsed.stop();
        m_list->SetStateColumnCaption(QString());
        showFirstSelectedRow();
        return;
    }
    m_cmd[BtnConvert]->setEnabled(false);
    m_cmd[BtnStop]->setEnabled(false);
    Flags().stoppedByUser = true;
    m_run->Stop();
}

void MainWindow::showFirstSelectedRow()
{
    const QList<int> selected = m_fileView->SelectedRows();
    Show_InputFileInfo(selected.isEmpty() ? -1 : selected.first());
    m_fileView->setFocus();
}

void MainWindow::onRowProgress(int row, int percent)
{
    if (Flags().EditWindowOpen || Flags().isUnloading || m_run->State() == RunState::Idle)
        return;
    m_stallTicks = 1;
    m_list->SetRowProgress(row, 4, std::max(percent, 0));
    m_list->SetRowState(row, true, RowState::InProgress);
    if (percent >= 0 && percent < 100)
        setTotalBarStyle(1);
}

void MainWindow::onTotalProgress(int percent)
{
    if (Flags().EditWindowOpen || Flags().isUnloading)
        return;
    m_savedTotal = percent;
    if (m_totalBarStyle == 1) {
        m_totalBar->setValue(percent);
        m_totalBar->setFormat(TotalBarText(percent, 1));
    }
}

void MainWindow::onRowEnded(int row, RowOutcome outcome, const QString &message)
{
    if (Flags().EditWindowOpen || Flags().isUnloading)
        return;
    switch (outcome) {
    case RowOutcome::Done:
        m_list->SetField(row, Field::ConvertedFileName, m_run->FinalOutput(row));
        m_list->SetRowState(row, true, RowState::Done);
        m_fileView->scrollTo(m_list->index(row, 1), QAbstractItemView::PositionAtTop);
        if (row + 1 < m_list->Count() && m_run->State() != RunState::Idle)
            selectAndShow(row + 1);
        break;
    case RowOutcome::Failed:
        m_list->SetField(row, Field::ErrMsg, message);
        m_failureDetails.insert(row, m_run->TaskDetails(row));
        m_list->SetRowState(row, true, RowState::Failed);
        // After a failure the elapsed time is no longer shown for the rest of the run.
        m_elapsedFrozen = true;
        m_timerConversionElapsed.stop();
        m_list->SetStateColumnCaption(QString());
        selectAndShow(0);
        break;
    case RowOutcome::Cancelled:
        m_list->SetRowState(row, true, RowState::Cancelled);
        break;
    case RowOutcome::Waiting:
    case RowOutcome::Converting:
        break;
    }
}

void MainWindow::onRunEnded(RunStopReason reason)
{
    if (Flags().EditWindowOpen || Flags().isUnloading)
        return;
    m_timerConversionElapsed.stop();
    m_list->SetStateColumnCaption(QString());
    if (reason == RunStopReason::UserStop || reason == RunStopReason::DiskFull
        || reason == RunStopReason::FormatParameters) {
        Flags().stoppedByUser = true;
        m_cmd[BtnConvert]->setEnabled(true);
        m_cmd[BtnStop]->setEnabled(true);
        m_totalBar->setValue(0);
        m_totalBar->setFormat(QString());
        setTotalBarStyle(1);
        SetControlsState(ControlsMode::Normal, true);
    }
    completeRun();
    if (reason == RunStopReason::UserStop) {
        showFirstSelectedRow();
        return;
    }
    // A diagnosis sweep tries rejected settings on purpose and lists the message itself.
    const QString explanation = StopExplanation(reason, m_outputPath->text());
    if (!explanation.isEmpty()
        && !(reason == RunStopReason::FormatParameters && Flags().diagnosisRunning))
        ShowMessage(explanation, MsgWarning, QStringLiteral("Attention!"), this);
}

void MainWindow::onElapsedTick()
{
    m_list->SetStateColumnCaption(
        QStringLiteral("Elapsed: ") + FormatSeconds(m_run->ElapsedSeconds(), false));
    if (m_stallTicks >= 1) {
        ++m_stallTicks;
        if (m_stallTicks < 3 && m_totalBarStyle != 1)
            setTotalBarStyle(1);
        if (m_stallTicks >= 3 && m_totalBarStyle != 2)
            setTotalBarStyle(2);
    }
}

void MainWindow::setTotalBarStyle(int style)
{
    if (style == m_totalBarStyle)
        return;
    m_totalBarStyle = style;
    if (style == 2) {
        m_totalBar->setRange(0, 0);
        m_totalBar->setFormat(QStringLiteral("Processing..."));
        m_totalBarCaption->show();
    } else {
        m_totalBarCaption->hide();
        m_totalBar->setRange(0, 100);
        m_totalBar->setValue(m_savedTotal);
        m_totalBar->setFormat(m_savedTotal > 0 ? TotalBarText(m_savedTotal, 1) : QString());
    }
}

void MainWindow::completeRun()
{
    SetConvertButtonState(0);
    setTotalBarStyle(1);
    m_totalBar->hide();
    m_savedTotal = 0;
    SetControlsState(ControlsMode::Normal, true);
    setAcceptDrops(true);
    emit runFinished();
    if (Flags().diagnosisRunning)
        return;

    m_report.ClearFailureReport();
    m_reportedTasks.clear();
    for (int row = 0; row < m_list->Count(); ++row) {
        if (m_list->GetRowState(row) == RowState::Failed) {
            // An encrypted file that opens is only found out when its sound will not decode.
            const QString message = m_list->GetFieldText(row, Field::ErrMsg).trimmed();
            const QString input = m_list->GetFieldText(row, Field::FilePath)
                + m_list->GetFieldText(row, Field::Name);
            m_report.AddFailureReport(m_list->GetFieldText(row, Field::Name).trimmed(), message,
                SaysInvalidData(message) && ContainerShowsEncryption(input));
            m_reportedTasks.append(row);
        }
    }
    const bool failures = !m_reportedTasks.isEmpty();
    if (failures) {
        ShowFailureReportDialog(this, m_report, QStringLiteral("Conversion Reports"),
            QStringLiteral("Can not convert these files!"), m_identity.settingsKey,
            [this](int entry) { return m_failureDetails.value(m_reportedTasks.value(entry, -1)); });
    }

    if (Flags().stoppedByUser || failures)
        return;
    selectAndShow(0);
    // Shown over a window in its normal state, or one restored from the taskbar for it; a
    // maximised or full-screen window is left alone.
    const Qt::WindowStates state = windowState() & ~Qt::WindowActive;
    bool tell = state == Qt::WindowNoState;
    if (state & Qt::WindowMinimized) {
        showNormal();
        tell = true;
    }
    if (tell) {
        CompletionDialog done(m_outputPath->text(), this);
        done.exec();
    }
}

void MainWindow::selectAndShow(int row)
{
    if (row < 0 || row >= m_list->Count())
        return;
    m_fileView->SelectRow(row);
    Show_InputFileInfo(row);
    m_fileView->setFocus();
}

} // namespace sonivert
