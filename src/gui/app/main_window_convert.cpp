// The conversion side of the main window: preparing a run, following the engine's events, Stop,
// the elapsed time and the end of the run.
#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/encoder.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/formats/output_settings.h"
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
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace sonivert {

void MainWindow::setUpConversion()
{
    m_encoder = new Encoder(this);
    connect(m_encoder, &Encoder::progress, this, &MainWindow::onProgress);
    connect(m_encoder, &Encoder::taskEnd, this, &MainWindow::onTaskEnd);
    connect(m_encoder, &Encoder::logLine, this, &MainWindow::engineLog);
    connect(m_encoder, &Encoder::outputFileRenamed, this, [this](int task, const QString &path) {
        if (!m_intermediateOutputs.contains(task))
            m_list->SetField(task, Field::ConvertedFileName, path);
    });
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
        m_encoder->StopTasks(true);
        m_encoder->ClearTasks();
    };
}

void MainWindow::convertCommand()
{
    if (!m_cmd[BtnConvert]->isEnabled())
        return;
    m_tip->closeTip();
    switch (GetConvertButtonState()) {
    case 1:
        SetConvertButtonState(2);
        m_encoder->PauseTasks();
        m_timerConversionElapsed.stop();
        return;
    case 2:
        SetConvertButtonState(1);
        m_encoder->ResumeTasks();
        m_timerConversionElapsed.start();
        return;
    default:
        startRun();
    }
}

void MainWindow::startRun()
{
    if (m_list->Count() == 0 || !m_planner)
        return;
    Flags().stoppedByUser = false;
    setAcceptDrops(false);

    QString folder = m_outputPath->text();
    if (!CheckOutputFolder(folder)) {
        m_outputPath->selectAll();
        m_outputPath->setFocus();
        setAcceptDrops(true);
        return;
    }
    m_outputPath->setText(WithTrailingSeparator(folder));

    SetConvertButtonState(1);
    m_encoder->StopTasks(false);
    m_encoder->ClearTasks();
    m_runNames.Clear();
    m_intermediateOutputs.clear();
    m_failureDetails.clear();
    Show_InputFileInfo(0);
    for (int row = 0; row < m_list->Count(); ++row) {
        m_list->SetRowState(row, true, RowState::Ready);
    }

    const bool queued = prepareRun();

    m_completedBase = 0;
    m_totalBar->setRange(0, m_encoder->TaskCount() * 100);
    m_totalBar->setValue(0);
    m_totalBar->setFormat(QString());
    setTotalBarStyle(1);
    m_totalBar->show();
    m_fileView->scrollToTop();

    if (queued) {
        SetControlsState(ControlsMode::Converting, false);
        m_encoder->StartTasks(ThreadCountFor(m_threadMode->isChecked(), m_threadCount->text()));
        m_elapsedSeconds = 0;
        m_timerConversionElapsed.start();
    } else {
        m_encoder->ClearTasks();
        m_runNames.Clear();
        SetConvertButtonState(0);
        SetControlsState(ControlsMode::Normal, true);
        m_totalBar->hide();
        emit runFinished();
    }
    setAcceptDrops(true);
}

// Queues every row with the engine; false when the person cancelled or a row could not be queued.
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

    const QString folder = m_outputPath->text();
    for (int row = 0; row < rows && !m_abortPreparation; ++row) {
        const QString input
            = m_list->GetFieldText(row, Field::FilePath) + m_list->GetFieldText(row, Field::Name);
        const TaskPlan plan = m_planner(row);
        const QString output = m_runNames.Claim(
            ChangeExtension(folder + m_list->GetFieldText(row, Field::Name), plan.extension));
        m_list->SetField(row, Field::ConvertedFileName, output);
        const QString encoderOutput = EncoderOutputFileName(output, m_runNames);
        if (encoderOutput != output)
            m_intermediateOutputs.insert(row);

        const int task = m_encoder->AddInputFile(input, plan.inputOptions);
        if (task < 0) {
            wait.finish();
            setEnabled(true);
            QString reason = m_encoder->LastErrorText();
            ShowMessage(reason.replace(QStringLiteral(": "), QStringLiteral("\n\n")), MsgWarning,
                QStringLiteral("Attention!"), this);
            m_abortPreparation = true;
            break;
        }
        if (m_encoder->AddOutputFile(task, encoderOutput, plan.outputOptions, plan.cut) < 0) {
            m_encoder->RemoveInputFile(task);
            wait.finish();
            setEnabled(true);
            ShowMessage(m_encoder->LastErrorText(), MsgCritical, QString(), this);
            m_abortPreparation = true;
            break;
        }
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
    if (!m_cmd[BtnStop]->isEnabled() || GetConvertButtonState() == 0)
        return;
    m_tip->closeTip();
    m_cmd[BtnConvert]->setEnabled(false);
    m_cmd[BtnStop]->setEnabled(false);
    m_encoder->StopTasks(true);
    QApplication::processEvents();
    m_cmd[BtnConvert]->setEnabled(true);
    m_cmd[BtnStop]->setEnabled(true);
    SetConvertButtonState(0);
    m_totalBar->setValue(0);
    m_totalBar->setFormat(QString());
    setTotalBarStyle(1);
    SetControlsState(ControlsMode::Normal, true);
    m_currentTask = -1;
    m_encoder->ClearTasks();
    Flags().stoppedByUser = true;
    // Whatever had not finished is cancelled; done and failed rows keep their outcome.
    for (int row = 0; row < m_list->Count(); ++row) {
        const RowState state = m_list->GetRowState(row);
        if (state != RowState::Done && state != RowState::Failed)
            m_list->SetRowState(row, true, RowState::Cancelled);
    }
    m_timerConversionElapsed.stop();
    m_list->SetStateColumnCaption(QString());
    completeRun();
}

void MainWindow::onProgress(int task, qint64 positionUs, qint64 totalUs)
{
    if (Flags().EditWindowOpen || Flags().isUnloading || GetConvertButtonState() == 0)
        return;
    m_stallTicks = 1;
    const int percent = TaskPercent(positionUs, totalUs);
    if (percent < 0) {
        m_list->SetRowProgress(task, 4, 0);
    } else if (percent < 100) {
        setTotalBarStyle(1);
        const int value = percent + m_completedBase;
        m_totalBar->setValue(qMin(value, m_totalBar->maximum()));
        m_totalBar->setFormat(TotalBarText(value, m_encoder->TaskCount()));
        m_list->SetRowProgress(task, 4, percent);
    } else {
        m_list->SetRowProgress(task, 4, 99);
    }
    m_list->SetRowState(task, true, RowState::InProgress);
    if (task != -1)
        m_currentTask = task;
}

void MainWindow::onTaskEnd(int task, bool success, bool failure, const QString &message)
{
    if (Flags().EditWindowOpen || Flags().isUnloading)
        return;
    if (task < 0) {
        m_currentTask = -1;
        completeRun();
        return;
    }
    if (success) {
        m_completedBase += 100;
        m_list->SetRowState(task, true, RowState::Done);
        m_fileView->scrollTo(m_list->index(task, 1), QAbstractItemView::PositionAtTop);
        finishIntermediateOutput(task);
        if (task + 1 < m_list->Count())
            selectAndShow(task + 1);
        return;
    }
    if (!failure)
        return;
    m_list->SetField(task, Field::ErrMsg, message);
    m_failureDetails.insert(task, TaskDetails(task));
    m_timerConversionElapsed.stop();
    m_list->SetStateColumnCaption(QString());
    switch (ClassifyTaskMessage(message)) {
    case RunStopReason::DiskFull:
        m_list->SetRowState(task, true, RowState::Failed);
        stopCommand();
        ShowMessage(QStringLiteral("Not enough disk space for output file!\n\"")
                + m_outputPath->text() + QLatin1Char('"'),
            MsgWarning, QStringLiteral("Attention!"), this);
        break;
    case RunStopReason::FormatParameters:
        m_list->SetRowState(task, true, RowState::Failed);
        stopCommand();
        // A diagnosis sweep tries such settings on purpose and lists the message itself.
        if (!Flags().diagnosisRunning) {
            ShowMessage(QStringLiteral("Please change the format parameters or use one of the "
                                       "preset profiles."),
                MsgWarning, QStringLiteral("Attention!"), this);
        }
        break;
    case RunStopReason::None:
        m_list->SetRowState(task, true, RowState::Failed);
        if (GetConvertButtonState() != 0)
            m_timerConversionElapsed.start();
        break;
    }
    selectAndShow(0);
}

// An M4B or M4R output was encoded as M4A; it takes its own name only now that it is whole.
void MainWindow::finishIntermediateOutput(int task)
{
    if (!m_intermediateOutputs.contains(task))
        return;
    m_intermediateOutputs.remove(task);
    const QString intermediate = m_encoder->TaskInfo(task).finalOutput;
    const QString wanted = m_list->GetFieldText(task, Field::ConvertedFileName);
    const MoveResult moved = MoveWithoutReplacing(intermediate, wanted, &m_runNames);
    if (!moved.ok) {
        QFile::remove(intermediate);
        m_list->SetRowState(task, true, RowState::Failed);
        m_list->SetField(task, Field::ErrMsg, moved.message);
        return;
    }
    m_list->SetField(task, Field::ConvertedFileName, moved.path);
}

void MainWindow::onElapsedTick()
{
    ++m_elapsedSeconds;
    m_list->SetStateColumnCaption(
        QStringLiteral("Elapsed: ") + FormatSeconds(m_elapsedSeconds, false));
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
        m_totalBar->setProperty("savedMaximum", m_totalBar->maximum());
        m_totalBar->setProperty("savedValue", m_totalBar->value());
        m_totalBar->setFormat(QStringLiteral("Processing..."));
        m_totalBar->setRange(0, 0);
    } else {
        m_totalBar->setRange(0, m_totalBar->property("savedMaximum").toInt());
        m_totalBar->setValue(m_totalBar->property("savedValue").toInt());
    }
}

void MainWindow::completeRun()
{
    m_encoder->ClearTasks();
    m_runNames.Clear();
    SetConvertButtonState(0);
    setTotalBarStyle(1);
    m_totalBar->hide();
    SetControlsState(ControlsMode::Normal, true);
    setAcceptDrops(true);
    emit runFinished();
    if (Flags().diagnosisRunning)
        return;

    m_report.ClearFailureReport();
    m_reportedTasks.clear();
    for (int row = 0; row < m_list->Count(); ++row) {
        if (m_list->GetRowState(row) == RowState::Failed) {
            m_report.AddFailureReport(m_list->GetFieldText(row, Field::Name).trimmed(),
                m_list->GetFieldText(row, Field::ErrMsg).trimmed());
            m_reportedTasks.append(row);
        }
    }
    const bool failures = !m_reportedTasks.isEmpty();
    if (failures) {
        ShowFailureReportDialog(this, m_report, QStringLiteral("Conversion Reports"),
            QStringLiteral("Can not convert these files!"), m_identity.settingsKey,
            [this](int entry) { return m_failureDetails.value(m_reportedTasks.value(entry, -1)); });
    }
    m_timerConversionElapsed.stop();
    m_list->SetStateColumnCaption(QString());

    if (Flags().stoppedByUser || failures)
        return;
    selectAndShow(0);
    if (isMinimized())
        showNormal();
    if (windowState() == Qt::WindowNoState || isMaximized()) {
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

QString MainWindow::TaskDetails(int row) const
{
    if (row < 0)
        return QString();
    const EncoderTaskInfo info = m_encoder->TaskInfo(row);
    if (info.commandLine.isEmpty())
        return QString();
    return CommandLineText(info.commandLine) + QStringLiteral("\n\n")
        + info.stderrTail.join(QLatin1Char('\n'));
}

} // namespace sonivert
