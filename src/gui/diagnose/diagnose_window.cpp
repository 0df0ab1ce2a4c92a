#include "gui/diagnose/diagnose_window.h"

#include "core/app/app_flags.h"
#include "core/app/run_options.h"
#include "core/convert/conversion_run.h"
#include "core/convert/option_builder.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/main_window.h"
#include "gui/formats/format_setting_dialog.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace sonivert {

namespace {

const QString EmptyListText = QStringLiteral("Put the problem file into the list to start a test.");
const QString CancelledBeforeStartText = QStringLiteral("Cancel was pressed before converting.");

void appendLine(QPlainTextEdit *box, const QString &line)
{
    box->moveCursor(QTextCursor::End);
    box->insertPlainText(line + QLatin1Char('\n'));
    box->moveCursor(QTextCursor::End);
}

} // namespace

// One step converts the whole list with the main window's Convert command and reads its first row
// when the run has ended. A run that could not begin is a result of its own: the line says why,
// and the sweep goes on with the next combination.
class DiagnoseWindow::StepRunner : public DiagnosisStepRunner
{
public:
    StepRunner(MainWindow *mainWindow, DiagnoseWindow *window)
        : m_main(mainWindow)
        , m_window(window)
    {
    }

    void beforeStep() override
    {
        // The last run ended inside an engine event; a click that came in meanwhile (Stop, the
        // close box) is handled now, while the main window takes clicks, rather than lost behind
        // the disabled window of the next run's preparation.
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        // A Convert clicked meanwhile started a run of the person's own; the step's Convert would
        // only pause it, so the step waits for it to end.
        if (m_main && m_main->GetConvertButtonState() != 0) {
            QEventLoop loop;
            QObject::connect(m_main, &MainWindow::runFinished, &loop, &QEventLoop::quit);
            QObject::connect(m_main, &QObject::destroyed, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }

    // Why the last step could not run at all, for the results.
    QString abandonReason() const { return m_abandonReason; }

    StepOutcome runStep() override
    {
        if (!m_main || !m_window || m_main->fileList()->count() == 0) {
            m_abandonReason = QStringLiteral("The file list is empty; nothing could be converted.");
            return { false, QString(), QString() };
        }
        ConversionRun *run = m_main->conversionRun();
        QEventLoop loop;
        bool ended = false;
        bool began = false;
        QObject::connect(m_main, &MainWindow::runFinished, &loop, [&] {
            ended = true;
            loop.quit();
        });
        QObject::connect(run, &ConversionRun::stateChanged, &loop,
            [&](RunState state) { began = began || state != RunState::Idle; });
        QObject::connect(m_main, &QObject::destroyed, &loop, &QEventLoop::quit);
        m_main->StartTesting();
        if (m_main && !ended && m_main->GetConvertButtonState() != 0)
            loop.exec();
        if (!m_main || !m_window) {
            m_abandonReason = QStringLiteral("The main window has closed.");
            return { false, QString(), QString() };
        }
        if (!ended)
            return { true, FailedStateText, unusableFolderMessage() };
        if (!began) {
            // Dropped in its preparation: a file the engine refused, or the person's Cancel.
            const QString refusal = run->LastErrorText();
            if (!refusal.isEmpty())
                return { true, FailedStateText, refusal };
            return { true, CancelledStateText, CancelledBeforeStartText };
        }

        FileListModel *list = m_main->fileList();
        StepOutcome outcome;
        outcome.state = list->getFieldText(0, Field::State).trimmed();
        outcome.message = list->getFieldText(0, Field::ErrMsg).trimmed();
        // Only the outcome matters; the files would pile up in the output folder. A row of
        // several outputs (every audio track) leaves each of them.
        for (int row = 0; row < list->count(); ++row) {
            for (const ConversionRun::RowOutput &part : run->outputs(row)) {
                if (part.outcome == RowOutcome::Done)
                    QFile::remove(part.output);
            }
        }
        return outcome;
    }

    bool stopRequested() const override
    {
        return !m_window || m_window->m_stopRequested || !m_main
            || m_main->fileList()->count() == 0;
    }

    bool sampleSizeShown(const OutputSettings &settings) const override
    {
        const QWidget *dialog = formatSettingWindow(m_main);
        const auto *sizes = dialog->findChild<QComboBox *>(QStringLiteral("Combo_OutputFile_8"));
        if (sizes && !sizes->isVisibleTo(dialog))
            return false;
        return DiagnosisStepRunner::sampleSizeShown(settings);
    }

private:
    // Convert gave up before planning anything: only the output folder check does that, and the
    // main window says why beside the folder box.
    QString unusableFolderMessage() const
    {
        const auto *why = m_main->findChild<QLabel *>(QStringLiteral("lbl_OutputFolderProblem"));
        return m_main->runOptions()->outputFolder() + QStringLiteral(": ")
            + (why && !why->text().isEmpty() ? why->text()
                                             : QStringLiteral("The output folder cannot be used."));
    }

    QPointer<MainWindow> m_main;
    QPointer<DiagnoseWindow> m_window;
    QString m_abandonReason;
};

DiagnoseWindow::DiagnoseWindow(MainWindow *mainWindow)
    : QWidget(mainWindow, Qt::Window)
    , m_main(mainWindow)
{
    setObjectName(QStringLiteral("frmDiagnose"));
    setWindowTitle(QStringLiteral("Diagnose"));
    buildLayout();

    connect(m_main, &MainWindow::engineLog, this, &DiagnoseWindow::appendEngineLog);
    // Stop on the main window ends the sweep too, once the stopped step has been read.
    connect(m_main->listButton(BtnStop), &QPushButton::clicked, this, [this] {
        if (m_sweeping)
            requestStop();
    });
    FileListModel *list = m_main->fileList();
    connect(list, &QAbstractItemModel::rowsInserted, this, &DiagnoseWindow::updateCommands);
    connect(list, &QAbstractItemModel::rowsRemoved, this, &DiagnoseWindow::updateCommands);
    connect(list, &QAbstractItemModel::modelReset, this, &DiagnoseWindow::updateCommands);
    updateCommands();
}

DiagnoseWindow::~DiagnoseWindow()
{
    if (m_sweeping)
        flags().diagnosisRunning = false;
}

void DiagnoseWindow::buildLayout()
{
    auto button = [this](const QString &caption, const QString &name) {
        auto *b = new QPushButton(caption, this);
        b->setObjectName(name);
        return b;
    };
    auto textBox = [this](const QString &name) {
        auto *box = new QPlainTextEdit(this);
        box->setObjectName(name);
        box->setReadOnly(true);
        box->setLineWrapMode(QPlainTextEdit::NoWrap);
        return box;
    };

    const std::array<QString, 4> captions
        = { QStringLiteral("Test Audio Settings"), QStringLiteral("Test Presets"),
              QStringLiteral("Clear"), QStringLiteral("Test Video Codecs") };
    for (int i = 0; i < 4; ++i) {
        m_test[std::size_t(i)]
            = button(captions[std::size_t(i)], QStringLiteral("Cmd_Test_%1").arg(i));
        connect(m_test[std::size_t(i)], &QPushButton::clicked, this, [this, i] { testCommand(i); });
    }
    m_stop = button(QStringLiteral("Stop"), QStringLiteral("Cmd_Stop"));
    connect(m_stop, &QPushButton::clicked, this, &DiagnoseWindow::requestStop);
    m_failedOnly = new QCheckBox(QStringLiteral("Failed only"), this);
    m_failedOnly->setObjectName(QStringLiteral("Chk_Test"));
    m_results = textBox(QStringLiteral("Txt_TestResult"));
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("Label1"));
    m_status->setWordWrap(true);

    m_engineLogOn = new QCheckBox(QStringLiteral("Engine log"), this);
    m_engineLogOn->setObjectName(QStringLiteral("Chk_EngLog"));
    m_engineLog = textBox(QStringLiteral("txtLog"));
    m_engineLog->setMaximumBlockCount(EngineLogLineLimit);
    m_clearLog = button(QStringLiteral("Clear Log"), QStringLiteral("Cmd_ClearLog"));
    connect(m_clearLog, &QPushButton::clicked, m_engineLog, &QPlainTextEdit::clear);

    m_optionButton = button(QStringLiteral("Option String"), QStringLiteral("Command1"));
    connect(m_optionButton, &QPushButton::clicked, this, &DiagnoseWindow::appendOptionString);
    m_options = textBox(QStringLiteral("Text1"));

    auto *commands = new QHBoxLayout;
    for (int i : { TestAudioSettings, TestPresets, TestVideoCodecs, TestClear })
        commands->addWidget(m_test[std::size_t(i)]);
    commands->addWidget(m_stop);
    commands->addStretch();
    commands->addWidget(m_failedOnly);

    auto *logCommands = new QHBoxLayout;
    logCommands->addWidget(m_engineLogOn);
    logCommands->addStretch();
    logCommands->addWidget(m_clearLog);

    auto *optionCommands = new QHBoxLayout;
    optionCommands->addWidget(m_optionButton);
    optionCommands->addStretch();

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(commands);
    layout->addWidget(m_status);
    layout->addWidget(m_results, 3);
    layout->addLayout(logCommands);
    layout->addWidget(m_engineLog, 2);
    layout->addLayout(optionCommands);
    layout->addWidget(m_options, 1);
    resize(640, 600);
}

void DiagnoseWindow::updateCommands()
{
    const bool rows = m_main && m_main->fileList()->count() > 0;
    for (int i : { TestAudioSettings, TestPresets, TestVideoCodecs }) {
        m_test[std::size_t(i)]->setEnabled(rows && !m_sweeping);
        m_test[std::size_t(i)]->setToolTip(rows ? QString() : EmptyListText);
    }
    m_test[TestClear]->setEnabled(!m_sweeping);
    m_stop->setEnabled(m_sweeping && !m_stopRequested);
    if (!m_sweeping)
        m_status->setText(rows ? QString() : EmptyListText);
}

void DiagnoseWindow::testCommand(int index)
{
    if (m_sweeping || !m_main)
        return;
    if (index == TestClear) {
        m_results->clear();
        flags().diagnosisRunning = false;
        return;
    }
    SweepKind kind = SweepKind::AudioSettings;
    if (index == TestPresets)
        kind = SweepKind::Presets;
    else if (index == TestVideoCodecs)
        kind = SweepKind::VideoCodecs;
    else if (index != TestAudioSettings)
        return;
    if (m_main->fileList()->count() == 0) {
        m_status->setText(EmptyListText);
        return;
    }
    if (m_main->GetConvertButtonState() != 0) {
        m_status->setText(
            QStringLiteral("A conversion is running. Start the test when it has ended."));
        return;
    }

    m_sweeping = true;
    m_stopRequested = false;
    flags().diagnosisRunning = true;
    m_main->listButton(BtnConvert)->setEnabled(false);
    updateCommands();
    m_status->setText(
        QStringLiteral("Testing... Stop ends the test after the current conversion."));

    const QPointer<DiagnoseWindow> self(this);
    StepRunner runner(m_main, this);
    const SweepSummary summary
        = runSweep(appOutputSettings(), kind, runner, [this, &self](const SweepResult &result) {
              if (self)
                  writeResult(result);
          });
    flags().diagnosisRunning = false;
    if (!self)
        return; // the main window went away with this window in the middle of the sweep

    m_sweeping = false;
    if (m_main && m_main->GetConvertButtonState() == 0)
        m_main->listButton(BtnConvert)->setEnabled(m_main->fileList()->count() > 0);
    if (summary.end == SweepEnd::Abandoned && !runner.abandonReason().isEmpty())
        appendLine(m_results, runner.abandonReason());
    updateCommands();
    showSummary(summary);
    emit sweepEnded(summary);
    if (m_closePending)
        deleteLater();
}

void DiagnoseWindow::writeResult(const SweepResult &result)
{
    if (shouldWrite(result, m_failedOnly->isChecked()))
        appendLine(m_results, resultLine(result));
}

void DiagnoseWindow::showSummary(const SweepSummary &summary)
{
    const QString counts = QStringLiteral("%1 combinations converted, %2 failed.")
                               .arg(summary.steps)
                               .arg(summary.failures);
    switch (summary.end) {
    case SweepEnd::Completed:
        m_status->setText(QStringLiteral("Test finished: ") + counts);
        break;
    case SweepEnd::Stopped:
        m_status->setText(QStringLiteral("Test stopped: ") + counts);
        break;
    case SweepEnd::Abandoned:
        m_status->setText(QStringLiteral("Test ended: ") + counts);
        break;
    }
}

void DiagnoseWindow::requestStop()
{
    if (!m_sweeping)
        return;
    m_stopRequested = true;
    m_status->setText(QStringLiteral("Stopping after the current conversion..."));
    updateCommands();
}

void DiagnoseWindow::appendEngineLog(const QString &line)
{
    if (!m_engineLogOn->isChecked())
        return;
    m_engineLog->appendPlainText(line);
    m_engineLog->moveCursor(QTextCursor::End);
}

void DiagnoseWindow::appendOptionString()
{
    if (!m_main)
        return;
    const FileListModel *list = m_main->fileList();
    const int row = m_main->CurrentItemIndex();
    if (row < 0 || row >= list->count())
        return;
    appendLine(m_options, BuildEncoderOptions(list->item(row), appOutputSettings()));
}

void DiagnoseWindow::keyPressEvent(QKeyEvent *event)
{
    // The window has no dialog buttons; Escape leaves it as the close box does.
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        event->accept();
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void DiagnoseWindow::closeEvent(QCloseEvent *event)
{
    event->accept();
    if (m_sweeping) {
        // The sweep's frames are still on the stack; the window goes once they have unwound.
        m_closePending = true;
        requestStop();
        return;
    }
    deleteLater();
}

DiagnoseWindow *openDiagnoseWindow(MainWindow *mainWindow)
{
    static QPointer<DiagnoseWindow> window;
    if (window && window->parentWidget() != mainWindow)
        window->close();
    if (!window || window->parentWidget() != mainWindow) {
        window = new DiagnoseWindow(mainWindow);
        const QRect owner = mainWindow->frameGeometry();
        QPoint place(owner.right() + 8, owner.top());
        if (const QScreen *screen = mainWindow->screen()) {
            const QRect free = screen->availableGeometry();
            if (place.x() + window->width() > free.right())
                place.setX(std::max(free.left(), free.right() - window->width()));
        }
        window->move(place);
    }
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

} // namespace sonivert
