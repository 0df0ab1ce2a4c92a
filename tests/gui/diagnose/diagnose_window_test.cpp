#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/conversion_run.h"
#include "core/convert/option_builder.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/main_window.h"
#include "gui/diagnose/diagnose_window.h"
#include "gui/media/file_view_main.h"
#include "support/catalogue_rows.h"
#include "support/fake_engine.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTimer>

using namespace sonivert;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/Sonivert");
const QString RejectedParameters = QStringLiteral(
    "transcode_init() error: Invalid argument / Invalid data found when processing input");

const auto L = test::Row;

// Small families, so a sweep takes a handful of conversions: "Fine" encodes everywhere, "Broken"
// holds a setting the encoder rejects and an encoder this build lacks.
Catalogue testCatalogue()
{
    Catalogue c;
    c.formats.columns = test::formatTableColumns();
    c.formats.rows = {
        L({ "FINE", "No Video", "Microsoft ADPCM", "WAV;", "#", "#", "#", "8000 Hz;11025 Hz;",
            "Mono;Stereo;", "16 bit;", "0", "0", "0" }),
        L({ "BROKEN", "No Video", "MS GSM 6.10", "WAV;", "#", "#", "#", "8000 Hz;", "Mono;Stereo;",
            "16 bit;", "0", "0", "0" }),
        L({ "BROKEN", "#", "AMR ACELP", "#", "#", "#", "#", "8000 Hz;", "Mono;", "16 bit;", "0",
            "0", "0" }),
    };
    c.presets.columns = test::presetTableColumns();
    c.presets.rows = {
        L({ "F1", "Fine ADPCM", "AudioFormat", "Fine", "", "", "", "FINE", "No Video",
            "Microsoft ADPCM", "-", "-", "-", "-", "0", "WAV", "-", "11025 Hz", "Mono", "16 bit",
            "44", "No" }),
        L({ "B1", "Broken GSM", "AudioFormat", "Broken", "", "", "", "BROKEN", "No Video",
            "MS GSM 6.10", "-", "-", "-", "-", "0", "WAV", "-", "8000 Hz", "Stereo", "16 bit", "13",
            "No" }),
    };
    return c;
}

// A fake job that logs a line as it starts, as the engine does.
class LoggingJob : public test::FakeJob
{
public:
    using FakeJob::FakeJob;

    void start() override
    {
        emit logLine(32, QStringLiteral("encoding with") + Task().outputOptions);
        FakeJob::start();
    }
};

// The first press and release of a person's click, queued as the window system would queue
// them: they take effect whenever events run next.
void postClick(QWidget *button)
{
    const QPointF local(button->rect().center());
    const QPointF global(button->mapToGlobal(button->rect().center()));
    for (QEvent::Type type : { QEvent::MouseButtonPress, QEvent::MouseButtonRelease }) {
        QCoreApplication::postEvent(button,
            new QMouseEvent(type, local, global, Qt::LeftButton,
                type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier));
    }
}

// Presses Cancel of the preparation window as soon as it shows.
class CancelPreparation : public QObject
{
public:
    CancelPreparation() { qApp->installEventFilter(this); }
    ~CancelPreparation() override { qApp->removeEventFilter(this); }

    int pressed = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && watched->objectName() == QLatin1String("frmWait")) {
            if (auto *cancel = watched->findChild<QPushButton *>(QStringLiteral("Cmd_Cancel"))) {
                cancel->click();
                ++pressed;
            }
        }
        return false;
    }
};

} // namespace

class DiagnoseWindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;
    QPointer<DiagnoseWindow> diagnose;
    QTemporaryDir media;
    QTemporaryDir out;
    QString clip;
    QString twoTracks; // two FLAC tracks, no picture
    QList<QPointer<test::FakeJob>> jobs;
    std::function<test::FakeScript(const EncodeTask &)> scriptFor;

    template<typename T> T *child(const char *name) const
    {
        return diagnose->findChild<T *>(QLatin1String(name));
    }
    QString results() const { return child<QPlainTextEdit>("Txt_TestResult")->toPlainText(); }
    QStringList resultLines() const
    {
        return results().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    QPushButton *diagnoseStop() const { return child<QPushButton>("Cmd_Stop"); }

    void import(const QString &path)
    {
        QSignalSpy imported(window.get(), &MainWindow::importFinished);
        window->ImportFiles({ path });
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 10000);
        QCOMPARE(window->fileList()->count(), 1);
    }
    void importClip() { import(clip); }

    // The sweep's first job is held until the test lets it go; later ones run through.
    void holdTheFirstJob()
    {
        scriptFor = [this](const EncodeTask &) {
            test::FakeScript script;
            script.positionsUs = { 100'000 };
            script.hold = jobs.isEmpty();
            return script;
        };
    }
    // Calls act once, from the event loop the sweep waits in, after the first job has started.
    QMetaObject::Connection onceTheFirstJobRuns(const std::function<void()> &act)
    {
        auto done = std::make_shared<bool>(false);
        return connect(window.get(), &MainWindow::engineLog, diagnose, [act, done] {
            if (*done)
                return;
            *done = true;
            QTimer::singleShot(0, act);
        });
    }
    void releaseJobs()
    {
        for (const QPointer<test::FakeJob> &job : std::as_const(jobs)) {
            if (job)
                job->release();
        }
    }

    // Nothing runs once a sweep is over, so nothing counts the time either.
    void verifyClockStopped() const
    {
        const auto *clock = window->findChild<QTimer *>(QStringLiteral("Timer_ConversionElapsed"));
        QVERIFY(clock);
        QVERIFY(!clock->isActive());
        QCOMPARE(
            window->fileList()->headerData(Field::State, Qt::Horizontal).toString(), QString());
        QCOMPARE(window->GetConvertButtonState(), 0);
        QVERIFY(!flags().diagnosisRunning);
    }

private slots:
    void initTestCase()
    {
        SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key);
        test::ClipOptions options;
        options.seconds = 0.3;
        options.width = 64;
        options.height = 48;
        clip = media.filePath(QStringLiteral("clip.mp4"));
        QVERIFY(test::makeClip(clip, options));
        twoTracks = media.filePath(QStringLiteral("two-tracks.mkv"));
        QVERIFY(test::runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"),
            QStringLiteral("-i"), QStringLiteral("sine=d=0.3"), QStringLiteral("-f"),
            QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=f=880:d=0.3"),
            QStringLiteral("-map"), QStringLiteral("0:a"), QStringLiteral("-map"),
            QStringLiteral("1:a"), QStringLiteral("-c:a"), QStringLiteral("flac"), twoTracks }));
    }

    void init()
    {
        flags() = AppFlags {};
        QDir(out.path()).removeRecursively();
        QDir().mkpath(out.path());
        window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
        window->load({});
        window->show();
        FileListModel *list = window->fileList();
        window->setTaskPlanner(
            [list](int row) { return planTask(list->item(row), appOutputSettings()); });
        jobs.clear();
        scriptFor = nullptr;
        window->conversionRun()->setJobFactory(
            [this](const EncodeTask &task, QObject *parent) -> EncodeJob * {
                auto *job = new LoggingJob(
                    task, scriptFor ? scriptFor(task) : test::FakeScript {}, parent);
                jobs.append(job);
                return job;
            });
        window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))
            ->setText(out.path() + QLatin1Char('/'));
        QTRY_VERIFY_WITH_TIMEOUT(window->listButton(BtnAddFiles)->isEnabled(), 2000);
        appCatalogue() = testCatalogue();
        appOutputSettings().selectFormat(QStringLiteral("Fine"));
        diagnose = openDiagnoseWindow(window.get());
        QVERIFY(diagnose);
    }
    void cleanup() { window.reset(); }

    void anEmptyListRefusesToStart()
    {
        QCOMPARE(diagnose->objectName(), QStringLiteral("frmDiagnose"));
        QVERIFY(diagnose->isVisible());
        QCOMPARE(openDiagnoseWindow(window.get()), diagnose.data());
        QVERIFY(!diagnose->testButton(TestAudioSettings)->isEnabled());
        QVERIFY(!diagnose->testButton(TestPresets)->isEnabled());
        QVERIFY(!child<QLabel>("Label1")->text().isEmpty());
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 0);
        QVERIFY(!flags().diagnosisRunning);
        QVERIFY(child<QLabel>("Label1")->text().contains(QLatin1String("into the list")));
        importClip();
        QVERIFY(diagnose->testButton(TestAudioSettings)->isEnabled());
    }

    // A row that gives one output per track leaves none of them behind either.
    void everyOutputOfARowIsRemoved()
    {
        FileListModel *list = window->fileList();
        window->setRowPlanner(
            [list](int row) { return planRowTasks(list->item(row), appOutputSettings()); });
        import(twoTracks);
        QVERIFY(list->chooseAudioTrack(0, FileListModel::AllAudioTracks));
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 4);
        QCOMPARE(jobs.size(), 8);
        QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
    }

    // 2 channel entries x 2 rates x 1 bit rate; no completion window in between.
    void anAudioSweepConvertsOncePerCombination()
    {
        importClip();
        test::ModalWatcher watcher;
        const int applied = appOutputSettings().appliedPresetRow();
        child<QCheckBox>("Chk_EngLog")->setChecked(true);
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
        ticker.start(0);

        diagnose->testCommand(TestAudioSettings);

        QCOMPARE(runs.count(), 4);
        QCOMPARE(ended.count(), 1);
        QVERIFY(ticks > 0); // the window kept handling events while it waited
        QCOMPARE(results(),
            QStringLiteral("   Microsoft ADPCM:Mono:16 bit:8000 Hz:32 kbps   Done   \n"
                           "   Microsoft ADPCM:Mono:16 bit:11025 Hz:44 kbps   Done   \n"
                           "   Microsoft ADPCM:Stereo:16 bit:8000 Hz:64 kbps   Done   \n"
                           "   Microsoft ADPCM:Stereo:16 bit:11025 Hz:88 kbps   Done   \n"));
        QCOMPARE(jobs.size(), 4);
        QVERIFY(!watcher.seen.contains(QStringLiteral("frmMsg")));
        QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
        QCOMPARE(appOutputSettings().appliedPresetRow(), applied);
        QCOMPARE(
            appOutputSettings().choiceText(ChoiceListId::SampleRate), QStringLiteral("11025 Hz"));
        verifyClockStopped();

        // Each step hands the engine the combination its line names; the log shows it.
        const QStringList expected { QStringLiteral(" -ac 1 -ar 8000"),
            QStringLiteral(" -ac 1 -ar 11025"), QStringLiteral(" -ac 2 -ar 8000"),
            QStringLiteral(" -ac 2 -ar 11025") };
        const QStringList log
            = child<QPlainTextEdit>("txtLog")->toPlainText().split(QLatin1Char('\n'));
        QCOMPARE(log.size(), 4);
        for (int i = 0; i < 4; ++i) {
            QVERIFY2(
                log.at(i).startsWith(QLatin1String("#0.32 encoding with")), qPrintable(log.at(i)));
            QVERIFY2(log.at(i).contains(expected.at(i)), qPrintable(log.at(i)));
        }
        QCOMPARE(child<QPlainTextEdit>("txtLog")->maximumBlockCount(), EngineLogLineLimit);
        diagnose->findChild<QPushButton *>(QStringLiteral("Cmd_ClearLog"))->click();
        QCOMPARE(child<QPlainTextEdit>("txtLog")->toPlainText(), QString());
    }

    void failedOnlyListsTheRefusedCombinationsWithTheirMessage()
    {
        importClip();
        test::ModalWatcher watcher;
        scriptFor = [](const EncodeTask &task) {
            test::FakeScript script;
            if (task.outputOptions.contains(QLatin1String("libgsm_ms"))
                && task.outputOptions.contains(QLatin1String(" -ac 2"))) {
                script.outcome = JobOutcome::Failed;
                script.message = RejectedParameters;
            } else if (task.outputOptions.contains(QLatin1String("libopencore_amrnb"))) {
                script.outcome = JobOutcome::Failed;
                script.message = QStringLiteral("Unknown encoder 'libopencore_amrnb'");
            }
            return script;
        };
        child<QCheckBox>("Chk_Test")->setChecked(true);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(results(), QString()); // everything converted

        appOutputSettings().selectFormat(QStringLiteral("Broken"));
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 10); // GSM mono and stereo, then the 8 AMR rates
        const QStringList lines = resultLines();
        QCOMPARE(lines.size(), 9);
        QCOMPARE(lines.first(),
            QStringLiteral("   MS GSM 6.10:Stereo:16 bit:8000 Hz:13 kbps   Unsuccessful!   ")
                + RejectedParameters);
        QCOMPARE(lines.at(1),
            QStringLiteral("   AMR ACELP:Mono:16 bit:8000 Hz:4.75 kbps   Unsuccessful!   "
                           "Unknown encoder 'libopencore_amrnb'"));
        QVERIFY(
            lines.last().startsWith(QLatin1String("   AMR ACELP:Mono:16 bit:8000 Hz:12.2 kbps")));
        const SweepSummary summary = ended.first().first().value<SweepSummary>();
        QCOMPARE(summary.steps, 10);
        QCOMPARE(summary.failures, 9);
        QVERIFY(child<QLabel>("Label1")->text().startsWith(QLatin1String("Test finished")));
        // The rejected parameters stop that run, but no advice box holds the sweep up.
        QVERIFY(!watcher.seen.contains(QStringLiteral(
            "Please change the format parameters or use one of the preset profiles.")));
        verifyClockStopped();
    }

    // One sweep with the real engine: its own words reach the result lines and the log.
    void thePresetSweepConvertsWithTheRealEngine()
    {
        window->conversionRun()->setJobFactory(EncodeJobFactory());
        importClip();
        test::ModalWatcher watcher;
        child<QCheckBox>("Chk_EngLog")->setChecked(true);
        diagnose->testCommand(TestPresets);
        QVERIFY(jobs.isEmpty());
        const QStringList lines = resultLines();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.at(0), QStringLiteral("   Fine ADPCM   Done   "));
        QCOMPARE(
            lines.at(1), QStringLiteral("   Broken GSM   Unsuccessful!   ") + RejectedParameters);
        QCOMPARE(appOutputSettings().choiceText(ChoiceListId::AudioCodec),
            QStringLiteral("Microsoft ADPCM"));
        QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
        QVERIFY(!watcher.seen.contains(QStringLiteral(
            "Please change the format parameters or use one of the preset profiles.")));

        const QStringList log = child<QPlainTextEdit>("txtLog")->toPlainText().split(
            QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(!log.isEmpty());
        const QRegularExpression shape(QStringLiteral("^#0\\.\\d+ "));
        for (const QString &line : log)
            QVERIFY2(shape.match(line).hasMatch(), qPrintable(line));
        verifyClockStopped();
    }

    // The sweep waits in nested event loops, so the person's clicks are made from the events
    // that the sweep itself is waiting for: while the first step's job is held, or queued as a
    // step ends, to be handled before the next one starts (not dropped by the main window that
    // the next run's preparation disables).
    void everyWayOfStoppingEndsTheSweepWithTheClockStopped_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("state"); // of the one line written
        QTest::newRow("the window's Stop") << QStringLiteral("stop") << QStringLiteral("Done");
        QTest::newRow("the main window's Stop")
            << QStringLiteral("main stop") << QStringLiteral("Canceled!");
        QTest::newRow("the close box") << QStringLiteral("close") << QStringLiteral("Done");
        QTest::newRow("Escape") << QStringLiteral("escape") << QStringLiteral("Done");
        QTest::newRow("the window's Stop as a step ends")
            << QStringLiteral("stop later") << QStringLiteral("Done");
        QTest::newRow("the main window's Stop as a step ends")
            << QStringLiteral("main stop later") << QStringLiteral("Done");
    }
    void everyWayOfStoppingEndsTheSweepWithTheClockStopped()
    {
        QFETCH(QString, how);
        QFETCH(QString, state);
        importClip();
        test::ModalWatcher watcher;
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        QStringList lines;
        connect(diagnose, &DiagnoseWindow::sweepEnded, this, [&] { lines = resultLines(); });
        const bool mainStop = how.startsWith(QLatin1String("main"));
        bool locked = true;
        if (how.endsWith(QLatin1String("later"))) {
            connect(window.get(), &MainWindow::runFinished, diagnose,
                [&] { postClick(mainStop ? window->listButton(BtnStop) : diagnoseStop()); });
        } else {
            holdTheFirstJob();
            onceTheFirstJobRuns([&] {
                locked = diagnose->isSweeping()
                    && !diagnose->testButton(TestAudioSettings)->isEnabled()
                    && !diagnose->testButton(TestClear)->isEnabled();
                if (how == QLatin1String("stop"))
                    diagnoseStop()->click();
                else if (mainStop)
                    QTest::mouseClick(window->listButton(BtnStop), Qt::LeftButton);
                else if (how == QLatin1String("close"))
                    diagnose->close();
                else
                    QTest::keyClick(child<QPlainTextEdit>("Txt_TestResult"), Qt::Key_Escape);
                releaseJobs();
            });
        }

        diagnose->testCommand(TestAudioSettings);

        QVERIFY(locked);
        QCOMPARE(runs.count(), 1);
        QCOMPARE(ended.count(), 1);
        QCOMPARE(ended.first().first().value<SweepSummary>().end, SweepEnd::Stopped);
        QCOMPARE(lines,
            QStringList { QStringLiteral("   Microsoft ADPCM:Mono:16 bit:8000 Hz:32 kbps   ")
                + state + QStringLiteral("   ") });
        verifyClockStopped();
        if (how == QLatin1String("close") || how == QLatin1String("escape")) {
            QTRY_VERIFY(diagnose.isNull());
            return;
        }
        QVERIFY(child<QLabel>("Label1")->text().startsWith(QLatin1String("Test stopped")));
        QVERIFY(diagnose->testButton(TestAudioSettings)->isEnabled());
        QVERIFY(!diagnoseStop()->isEnabled());
    }

    // The sweep drives the runs; the main window's Convert stays disabled until it has ended, and
    // a click on it between two steps starts nothing.
    void theMainWindowsConvertIsDisabledWhileASweepRuns()
    {
        importClip();
        test::ModalWatcher watcher;
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        QList<bool> convertEnabled;
        const auto once = connect(window.get(), &MainWindow::runFinished, diagnose, [&] {
            convertEnabled << window->listButton(BtnConvert)->isEnabled();
            if (runs.count() == 1)
                postClick(window->listButton(BtnConvert));
        });
        diagnose->testCommand(TestAudioSettings);
        disconnect(once);
        QCOMPARE(runs.count(), 4);
        QCOMPARE(ended.count(), 1);
        QCOMPARE(ended.first().first().value<SweepSummary>().steps, 4);
        QCOMPARE(convertEnabled, QList<bool>(4, false));
        QVERIFY(window->listButton(BtnConvert)->isEnabled());
        QCOMPARE(resultLines().size(), 4);
        verifyClockStopped();
    }

    void escapeClosesAnIdleWindow()
    {
        QTest::keyClick(diagnose.data(), Qt::Key_Escape);
        QTRY_VERIFY(diagnose.isNull());
    }

    // The output folder, the file or the person may keep a step from converting: its line says
    // so, and the next combination is tried all the same.
    void stepsThatCannotStartWriteTheirLineAndTheSweepGoesOn_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("failed");
        QTest::newRow("unusable output folder")
            << QStringLiteral("folder") << FailedStateText << true;
        QTest::newRow("file the engine refuses")
            << QStringLiteral("file") << FailedStateText << true;
        QTest::newRow("Cancel in the preparation")
            << QStringLiteral("cancel") << CancelledStateText << false;
    }
    void stepsThatCannotStartWriteTheirLineAndTheSweepGoesOn()
    {
        QFETCH(QString, obstacle);
        QFETCH(QString, state);
        QFETCH(bool, failed);

        QString expectedMessage;
        if (obstacle == QLatin1String("file")) {
            const QString doomed = media.filePath(QStringLiteral("doomed.mp4"));
            QFile::remove(doomed);
            QVERIFY(QFile::copy(clip, doomed));
            import(doomed);
            QVERIFY(QFile::remove(doomed));
            expectedMessage = doomed + QStringLiteral(": No such file or directory");
        } else {
            importClip();
        }
        if (obstacle == QLatin1String("folder")) {
            const QString blocker = out.filePath(QStringLiteral("blocker"));
            QFile file(blocker);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.close();
            const QString folder = blocker + QStringLiteral("/sub/");
            window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))->setText(folder);
            expectedMessage
                = folder + QStringLiteral(": This folder does not exist and cannot be created.");
        }
        std::unique_ptr<CancelPreparation> canceller;
        if (obstacle == QLatin1String("cancel")) {
            canceller = std::make_unique<CancelPreparation>();
            expectedMessage = QStringLiteral("Cancel was pressed before converting.");
        }

        test::ModalWatcher watcher;
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        diagnose->testCommand(TestAudioSettings);

        QCOMPARE(ended.count(), 1);
        const SweepSummary summary = ended.first().first().value<SweepSummary>();
        QCOMPARE(summary.end, SweepEnd::Completed);
        QCOMPARE(summary.steps, 4);
        QCOMPARE(summary.failures, failed ? 4 : 0);
        QVERIFY(jobs.isEmpty());
        const QStringList lines = resultLines();
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.first(),
            QStringLiteral("   Microsoft ADPCM:Mono:16 bit:8000 Hz:32 kbps   ") + state
                + QStringLiteral("   ") + expectedMessage);
        QCOMPARE(lines.last(),
            QStringLiteral("   Microsoft ADPCM:Stereo:16 bit:11025 Hz:88 kbps   ") + state
                + QStringLiteral("   ") + expectedMessage);
        if (canceller)
            QCOMPARE(canceller->pressed, 4);
        // The step's line tells the refusal; no box stops the sweep.
        if (obstacle == QLatin1String("file"))
            QCOMPARE(
                watcher.seen.count(
                    QString(expectedMessage).replace(QStringLiteral(": "), QStringLiteral("\n\n"))),
                0);
        verifyClockStopped();

        // With "failed only", only what did not convert is listed.
        diagnose->testButton(TestClear)->click();
        child<QCheckBox>("Chk_Test")->setChecked(true);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(resultLines().size(), failed ? 4 : 0);
    }

    void afterClearingANormalRunShowsTheCompletionWindow()
    {
        importClip();
        test::ModalWatcher watcher;
        child<QCheckBox>("Chk_Test")->setChecked(true);
        diagnose->testCommand(TestVideoCodecs);
        QVERIFY(!watcher.seen.contains(QStringLiteral("frmMsg")));
        child<QPlainTextEdit>("Txt_TestResult")->setPlainText(QStringLiteral("x\n"));
        diagnose->testButton(TestClear)->click();
        QCOMPARE(results(), QString());
        QVERIFY(!flags().diagnosisRunning);

        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        window->convertCommand();
        QTRY_COMPARE_WITH_TIMEOUT(runs.count(), 1, 5000);
        QTRY_VERIFY(watcher.seen.contains(QStringLiteral("frmMsg")));
    }

    void theEngineLogTakesLinesOnlyWhenCheckedAndKeepsTheNewest()
    {
        auto *log = child<QPlainTextEdit>("txtLog");
        diagnose->appendEngineLog(QStringLiteral("#0.32 ignored"));
        QCOMPARE(log->toPlainText(), QString());
        child<QCheckBox>("Chk_EngLog")->setChecked(true);
        for (int i = 0; i < EngineLogLineLimit + 10; ++i)
            diagnose->appendEngineLog(QStringLiteral("#0.32 line %1").arg(i));
        QCOMPARE(log->document()->blockCount(), EngineLogLineLimit);
        QCOMPARE(log->document()->firstBlock().text(), QStringLiteral("#0.32 line 10"));
        QCOMPARE(log->document()->lastBlock().text(),
            QStringLiteral("#0.32 line %1").arg(EngineLogLineLimit + 9));
    }

    void theOptionStringOfTheSelectedRowIsAppended()
    {
        importClip();
        window->fileView()->selectAndReveal(0);
        QTRY_COMPARE(window->CurrentItemIndex(), 0);
        const QString expected
            = BuildEncoderOptions(window->fileList()->item(0), appOutputSettings());
        QVERIFY(expected.contains(QLatin1String(" -acodec adpcm_ms")));
        diagnose->findChild<QPushButton *>(QStringLiteral("Command1"))->click();
        diagnose->findChild<QPushButton *>(QStringLiteral("Command1"))->click();
        QCOMPARE(child<QPlainTextEdit>("Text1")->toPlainText(),
            expected + QLatin1Char('\n') + expected + QLatin1Char('\n'));
    }
};

QTEST_MAIN(DiagnoseWindowTest)
#include "diagnose_window_test.moc"
