#include "gui/convert/conversion_panel.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/run_options.h"
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
#include "gui/app/output_panel.h"
#include "gui/app/tip_popup.h"
#include "gui/convert/preparation_dialog.h"
#include "gui/convert/report_dialog.h"
#include "gui/convert/total_bar.h"
#include "gui/media/file_view_main.h"
#include "gui/ui/icon_store.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QPushButton>

namespace sonivert {

namespace {

struct ConvertButtonLook
{
    const char *caption;
    int width;
    int image;
};

// Run states 0 idle, 1 converting, 2 paused.
constexpr ConvertButtonLook ConvertLooks[] = {
    { "Convert &Now", 192, 5 },
    { "&Pause", 128, 7 },
    { "&Resume", 128, 24 },
};

} // namespace

ConversionPanel::ConversionPanel(
    MainWindow &window, const Controls &controls, const QString &settingsKey)
    : m_window(window)
    , m_controls(controls)
    , m_settingsKey(settingsKey)
{
    setObjectName(QStringLiteral("GroupBox_ConvertStop"));
    buildBar();

    m_run = new ConversionRun(this);
    connect(m_run, &ConversionRun::stateChanged, this,
        [this](RunState state) { m_window.SetConvertButtonState(int(state)); });
    connect(m_run, &ConversionRun::rowProgress, this, &ConversionPanel::onRowProgress);
    connect(m_run, &ConversionRun::totalProgress, this, &ConversionPanel::onTotalProgress);
    connect(m_run, &ConversionRun::rowEnded, this, &ConversionPanel::onRowEnded);
    connect(m_run, &ConversionRun::runEnded, this, &ConversionPanel::onRunEnded);
    connect(m_run, &ConversionRun::logLine, this, &ConversionPanel::engineLog);
    connect(m_controls.convert, &QPushButton::clicked, this, &ConversionPanel::convertCommand);
    connect(m_controls.stop, &QPushButton::clicked, this, &ConversionPanel::stopCommand);

    // Findable by name from the window; a member leaves its parent before the parent goes.
    m_elapsedTimer.setParent(this);
    m_elapsedTimer.setObjectName(QStringLiteral("Timer_ConversionElapsed"));
    m_elapsedTimer.setInterval(1000);
    connect(&m_elapsedTimer, &QTimer::timeout, this, &ConversionPanel::onElapsedTick);

    // Each row is planned from the output settings as they are when the run is queued.
    m_planner = [this](int row) {
        return planRowTasks(m_window.fileList()->item(row), appOutputSettings());
    };
}

ConversionPanel::~ConversionPanel()
{
    // The run may still report while the base classes tear it down; nothing may reach a
    // half-destroyed panel.
    for (QObject *child : findChildren<QObject *>())
        disconnect(child, nullptr, this, nullptr);
}

void ConversionPanel::buildBar()
{
    auto *row = new QHBoxLayout(this);
    m_totalBar = new TotalBar;
    m_controls.convert->setMinimumHeight(44);
    m_controls.stop->setMinimumHeight(44);
    m_controls.stop->setFixedWidth(110);
    m_controls.convert->setIconSize(QSize(28, 28));
    row->addWidget(m_totalBar, 1);
    row->addSpacing(8);
    row->addWidget(m_controls.convert);
    row->addWidget(m_controls.stop);
}

int ConversionPanel::buttonState() const
{
    // A run being planned already counts as converting: nothing may join or change the list.
    if (m_preparing)
        return 1;
    return int(m_run->State());
}

void ConversionPanel::showButtonState(int state)
{
    if (state < 0 || state > 2)
        state = 0;
    const ConvertButtonLook &look = ConvertLooks[state];
    QPushButton *button = m_controls.convert;
    button->setText(QString::fromLatin1(look.caption));
    button->setFixedWidth(look.width);
    button->setIcon(QIcon(IconStore::get(look.image)));
}

void ConversionPanel::convertCommand()
{
    if (!m_controls.convert->isEnabled())
        return;
    m_window.tipPopup()->closeTip();
    switch (m_run->State()) {
    case RunState::Converting:
        m_run->pause();
        m_elapsedTimer.stop();
        return;
    case RunState::Paused:
        m_run->resume();
        if (!m_elapsedFrozen)
            m_elapsedTimer.start();
        return;
    case RunState::Idle:
        startRun();
    }
}

void ConversionPanel::startRun()
{
    FileListModel *list = m_window.fileList();
    if (list->count() == 0 || !m_planner || m_preparing)
        return;
    flags().stoppedByUser = false;
    m_window.setAcceptDrops(false);
    if (!m_controls.output->useFolder()) {
        m_window.setAcceptDrops(true);
        return;
    }

    m_preparing = true;
    m_window.SetConvertButtonState(1);
    m_run->begin(m_controls.options->outputFolder());
    m_failureDetails.clear();
    m_elapsedFrozen = false;
    m_window.Show_InputFileInfo(0);
    for (int row = 0; row < list->count(); ++row) {
        list->SetRowState(row, true, RowState::Ready);
    }

    const bool queued = prepareRun();
    m_preparing = false;

    m_totalBar->restart();
    m_window.fileView()->scrollToTop();

    if (queued) {
        m_window.SetControlsState(ControlsMode::Converting, false);
        m_run->setStallTimeoutSeconds(m_controls.options->stallSeconds());
        m_run->setSegmentation(m_controls.options->segments());
        m_run->start(m_controls.options->threadCount());
        if (m_run->State() != RunState::Idle)
            m_elapsedTimer.start();
    } else {
        m_run->abandon();
        m_window.SetConvertButtonState(0);
        m_window.SetControlsState(ControlsMode::Normal, true);
        m_totalBar->hide();
        emit runFinished();
    }
    m_window.setAcceptDrops(true);
}

// Plans every row into the run; false when the person cancelled or a row could not be queued.
bool ConversionPanel::prepareRun()
{
    m_abortPreparation = false;
    FileListModel *list = m_window.fileList();
    const int rows = list->count();
    PreparationDialog wait(&m_window);
    m_window.setEnabled(false);
    wait.setEnabled(true);
    wait.setRowCount(rows);
    wait.show();
    QApplication::processEvents();

    for (int row = 0; row < rows && !m_abortPreparation; ++row) {
        const QString input
            = list->getFieldText(row, Field::FilePath) + list->getFieldText(row, Field::Name);
        RowChoices choices;
        choices.cover = m_controls.options->cover();
        // A diagnosis tries formats, one output each.
        choices.splitChapters = m_controls.options->splitChapters() && !flags().diagnosisRunning;
        QString output;
        for (const TaskPlan &plan : withRowChoices(m_planner(row), input, choices)) {
            const QString added = m_run->addRow(row, input, plan);
            output = output.isEmpty() ? added : output;
            if (added.isEmpty()) {
                output.clear();
                break;
            }
        }
        if (output.isEmpty()) {
            wait.finish();
            m_window.setEnabled(true);
            // A diagnosis step writes the refusal in its line and the sweep goes on.
            QString reason = m_run->LastErrorText();
            if (!flags().diagnosisRunning)
                ShowMessage(reason.replace(QStringLiteral(": "), QStringLiteral("\n\n")),
                    MsgWarning, QStringLiteral("Attention!"), &m_window);
            m_abortPreparation = true;
            break;
        }
        list->SetField(row, Field::ConvertedFileName, output);
        wait.showRow(row, rows);
        QApplication::processEvents();
        if (wait.cancelRequested())
            m_abortPreparation = true;
    }
    wait.finish();
    m_window.setEnabled(true);
    return !m_abortPreparation;
}

void ConversionPanel::startTestRun()
{
    if (m_run->State() == RunState::Idle)
        startRun();
}

void ConversionPanel::stopCommand()
{
    if (!m_controls.stop->isEnabled())
        return;
    m_window.tipPopup()->closeTip();
    if (m_run->State() == RunState::Idle) {
        // Nothing runs, so no row is the current one: every row reads as cancelled.
        FileListModel *list = m_window.fileList();
        flags().stoppedByUser = true;
        for (int row = 0; row < list->count(); ++row)
            list->SetRowState(row, true, RowState::Cancelled);
        m_elapsedTimer.stop();
        list->setStateColumnCaption(QString());
        showFirstSelectedRow();
        return;
    }
    m_controls.convert->setEnabled(false);
    m_controls.stop->setEnabled(false);
    flags().stoppedByUser = true;
    m_run->stop();
}

void ConversionPanel::showFirstSelectedRow()
{
    const QList<int> selected = m_window.fileView()->selectedRows();
    m_window.Show_InputFileInfo(selected.isEmpty() ? -1 : selected.first());
    m_window.fileView()->setFocus();
}

void ConversionPanel::onRowProgress(int row, int percent)
{
    if (flags().EditWindowOpen || flags().isUnloading || m_run->State() == RunState::Idle)
        return;
    m_window.fileList()->SetRowProgress(row, 4, std::max(percent, 0));
    m_window.fileList()->SetRowState(row, true, RowState::InProgress);
    m_totalBar->taskMoved(percent);
}

void ConversionPanel::onTotalProgress(int percent)
{
    if (flags().EditWindowOpen || flags().isUnloading)
        return;
    m_totalBar->showTotal(percent);
}

void ConversionPanel::onRowEnded(int row, RowOutcome outcome, const QString &message)
{
    if (flags().EditWindowOpen || flags().isUnloading)
        return;
    FileListModel *list = m_window.fileList();
    switch (outcome) {
    case RowOutcome::Done:
        list->SetField(row, Field::ConvertedFileName, m_run->finalOutput(row));
        list->SetRowState(row, true, RowState::Done);
        m_window.fileView()->scrollTo(list->index(row, 1), QAbstractItemView::PositionAtTop);
        if (row + 1 < list->count() && m_run->State() != RunState::Idle)
            selectAndShow(row + 1);
        break;
    case RowOutcome::Failed:
        list->SetField(row, Field::ErrMsg, message);
        m_failureDetails.insert(row, m_run->taskDetails(row));
        list->SetRowState(row, true, RowState::Failed);
        // After a failure the elapsed time is no longer shown for the rest of the run.
        m_elapsedFrozen = true;
        m_elapsedTimer.stop();
        list->setStateColumnCaption(QString());
        selectAndShow(0);
        break;
    case RowOutcome::Cancelled:
        list->SetRowState(row, true, RowState::Cancelled);
        break;
    case RowOutcome::Waiting:
    case RowOutcome::Converting:
        break;
    }
}

void ConversionPanel::onRunEnded(RunStopReason reason)
{
    if (flags().EditWindowOpen || flags().isUnloading)
        return;
    m_elapsedTimer.stop();
    m_window.fileList()->setStateColumnCaption(QString());
    if (reason == RunStopReason::UserStop || reason == RunStopReason::DiskFull
        || reason == RunStopReason::FormatParameters) {
        flags().stoppedByUser = true;
        m_controls.convert->setEnabled(true);
        m_controls.stop->setEnabled(true);
        m_totalBar->clear();
        m_window.SetControlsState(ControlsMode::Normal, true);
    }
    completeRun();
    if (reason == RunStopReason::UserStop) {
        showFirstSelectedRow();
        return;
    }
    // A diagnosis sweep tries rejected settings on purpose and lists the message itself.
    const QString explanation = stopExplanation(reason, m_controls.options->outputFolder());
    if (!explanation.isEmpty()
        && !(reason == RunStopReason::FormatParameters && flags().diagnosisRunning))
        ShowMessage(explanation, MsgWarning, QStringLiteral("Attention!"), &m_window);
}

void ConversionPanel::onElapsedTick()
{
    m_window.fileList()->setStateColumnCaption(
        QStringLiteral("Elapsed: ") + FormatSeconds(m_run->elapsedSeconds(), false));
    m_totalBar->tick();
}

void ConversionPanel::completeRun()
{
    m_window.SetConvertButtonState(0);
    m_totalBar->finish();
    m_window.SetControlsState(ControlsMode::Normal, true);
    m_window.setAcceptDrops(true);
    emit runFinished();
    if (flags().diagnosisRunning)
        return;

    reportFailures();
    if (flags().stoppedByUser || !m_reportedTasks.isEmpty())
        return;
    selectAndShow(0);
    tellCompletion();
}

void ConversionPanel::reportFailures()
{
    FileListModel *list = m_window.fileList();
    FailureReport &report = m_window.failureReport();
    report.ClearFailureReport();
    m_reportedTasks.clear();
    for (int row = 0; row < list->count(); ++row) {
        if (list->getRowState(row) == RowState::Failed) {
            // An encrypted file that opens is only found out when its sound will not decode.
            const QString message = list->getFieldText(row, Field::ErrMsg).trimmed();
            const QString input
                = list->getFieldText(row, Field::FilePath) + list->getFieldText(row, Field::Name);
            report.AddFailureReport(list->getFieldText(row, Field::Name).trimmed(), message,
                saysInvalidData(message) && containerShowsEncryption(input));
            m_reportedTasks.append(row);
        }
    }
    if (m_reportedTasks.isEmpty())
        return;
    showFailureReportDialog(&m_window, report, QStringLiteral("Conversion Reports"),
        QStringLiteral("Can not convert these files!"), m_settingsKey,
        [this](int entry) { return m_failureDetails.value(m_reportedTasks.value(entry, -1)); });
}

// Shown over a window in its normal state, or one restored from the taskbar for it; a maximised
// or full-screen window is left alone.
void ConversionPanel::tellCompletion()
{
    const Qt::WindowStates state = m_window.windowState() & ~Qt::WindowActive;
    bool tell = state == Qt::WindowNoState;
    if (state & Qt::WindowMinimized) {
        m_window.showNormal();
        tell = true;
    }
    if (tell) {
        CompletionDialog done(m_controls.options->outputFolder(), &m_window);
        done.exec();
    }
}

void ConversionPanel::selectAndShow(int row)
{
    if (row < 0 || row >= m_window.fileList()->count())
        return;
    m_window.fileView()->selectAndReveal(row);
    m_window.Show_InputFileInfo(row);
    m_window.fileView()->setFocus();
}

} // namespace sonivert
