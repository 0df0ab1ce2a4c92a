#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/option_builder.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "gui/app/main_window.h"
#include "gui/diagnose/diagnose_window.h"
#include "gui/media/file_view_main.h"
#include "support/catalogue_rows.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
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

const auto L = test::Row;

// Small families, so a sweep takes a handful of conversions: "Fine" encodes everywhere, "Broken"
// holds a setting the encoder rejects and an encoder this build lacks.
Catalogue testCatalogue()
{
    Catalogue c;
    c.formats.columns = test::FormatTableColumns();
    c.formats.rows = {
        L({ "FINE", "No Video", "Microsoft ADPCM", "WAV;", "#", "#", "#", "8000 Hz;11025 Hz;",
            "Mono;Stereo;", "16 bit;", "0", "0", "0" }),
        L({ "BROKEN", "No Video", "MS GSM 6.10", "WAV;", "#", "#", "#", "8000 Hz;", "Mono;Stereo;",
            "16 bit;", "0", "0", "0" }),
        L({ "BROKEN", "#", "AMR ACELP", "#", "#", "#", "#", "8000 Hz;", "Mono;", "16 bit;", "0",
            "0", "0" }),
    };
    c.presets.columns = test::PresetTableColumns();
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

} // namespace

class DiagnoseWindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;
    QPointer<DiagnoseWindow> diagnose;
    QTemporaryDir media;
    QTemporaryDir out;

    template<typename T> T *child(const char *name) const
    {
        return diagnose->findChild<T *>(QLatin1String(name));
    }
    QString results() const { return child<QPlainTextEdit>("Txt_TestResult")->toPlainText(); }

    void importClip()
    {
        const QString path = media.filePath(QStringLiteral("clip.mp4"));
        if (!QFileInfo::exists(path)) {
            test::ClipOptions clip;
            clip.seconds = 0.3;
            clip.width = 64;
            clip.height = 48;
            QVERIFY(test::MakeClip(path, clip));
        }
        QSignalSpy imported(window.get(), &MainWindow::importFinished);
        window->ImportFiles({ path });
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 10000);
    }

private slots:
    void initTestCase() { SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key); }

    void init()
    {
        Flags() = AppFlags {};
        QDir(out.path()).removeRecursively();
        QDir().mkpath(out.path());
        window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
        window->Load({});
        window->show();
        FileListModel *list = window->fileList();
        window->setTaskPlanner(
            [list](int row) { return PlanTask(list->Item(row), AppOutputSettings()); });
        window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))
            ->setText(out.path() + QLatin1Char('/'));
        QTRY_VERIFY_WITH_TIMEOUT(window->listButton(BtnAddFiles)->isEnabled(), 2000);
        AppCatalogue() = testCatalogue();
        AppOutputSettings().SelectFormat(QStringLiteral("Fine"));
        diagnose = OpenDiagnoseWindow(window.get());
        QVERIFY(diagnose);
    }
    void cleanup() { window.reset(); }

    void anEmptyListRefusesToStart()
    {
        QCOMPARE(diagnose->objectName(), QStringLiteral("frmDiagnose"));
        QVERIFY(diagnose->isVisible());
        QCOMPARE(OpenDiagnoseWindow(window.get()), diagnose.data());
        QVERIFY(!diagnose->testButton(TestAudioSettings)->isEnabled());
        QVERIFY(!diagnose->testButton(TestPresets)->isEnabled());
        QVERIFY(!child<QLabel>("Label1")->text().isEmpty());
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 0);
        QVERIFY(!Flags().diagnosisRunning);
        QVERIFY(child<QLabel>("Label1")->text().contains(QLatin1String("into the list")));
        importClip();
        QVERIFY(diagnose->testButton(TestAudioSettings)->isEnabled());
    }

    // 2 channel entries x 2 rates x 1 bit rate; no completion window in between.
    void anAudioSweepConvertsOncePerCombination()
    {
        importClip();
        test::ModalWatcher watcher;
        const int applied = AppOutputSettings().appliedPresetRow();
        child<QCheckBox>("Chk_EngLog")->setChecked(true);
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
        ticker.start(10);

        diagnose->testCommand(TestAudioSettings);

        QCOMPARE(runs.count(), 4);
        QCOMPARE(ended.count(), 1);
        QVERIFY(ticks > 0); // the window kept handling events while it waited
        QCOMPARE(results(),
            QStringLiteral("   Microsoft ADPCM:Mono:16 bit:8000 Hz:32 kbps   Done   \n"
                           "   Microsoft ADPCM:Mono:16 bit:11025 Hz:44 kbps   Done   \n"
                           "   Microsoft ADPCM:Stereo:16 bit:8000 Hz:64 kbps   Done   \n"
                           "   Microsoft ADPCM:Stereo:16 bit:11025 Hz:88 kbps   Done   \n"));
        QVERIFY(!Flags().diagnosisRunning);
        QVERIFY(!watcher.seen.contains(QStringLiteral("frmMsg")));
        QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
        QCOMPARE(AppOutputSettings().appliedPresetRow(), applied);
        QCOMPARE(
            AppOutputSettings().choiceText(ChoiceListId::SampleRate), QStringLiteral("11025 Hz"));

        const QStringList log
            = child<QPlainTextEdit>("txtLog")->toPlainText().split(QLatin1Char('\n'));
        QVERIFY(log.size() > 4);
        const QRegularExpression shape(QStringLiteral("^#0\\.\\d+ "));
        for (const QString &line : log)
            QVERIFY2(shape.match(line).hasMatch(), qPrintable(line));
        QCOMPARE(child<QPlainTextEdit>("txtLog")->maximumBlockCount(), EngineLogLineLimit);
        diagnose->findChild<QPushButton *>(QStringLiteral("Cmd_ClearLog"))->click();
        QCOMPARE(child<QPlainTextEdit>("txtLog")->toPlainText(), QString());
    }

    void failedOnlyListsTheRefusedCombinationsWithTheirMessage()
    {
        importClip();
        test::ModalWatcher watcher;
        child<QCheckBox>("Chk_Test")->setChecked(true);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(results(), QString()); // everything converted

        AppOutputSettings().SelectFormat(QStringLiteral("Broken"));
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 10); // GSM mono and stereo, then the 8 AMR rates
        const QStringList lines = results().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 9);
        QCOMPARE(lines.first(),
            QStringLiteral("   MS GSM 6.10:Stereo:16 bit:8000 Hz:13 kbps   Unsuccessful!   "
                           "transcode_init() error: Invalid argument / Invalid data found when "
                           "processing input"));
        QCOMPARE(lines.at(1),
            QStringLiteral("   AMR ACELP:Mono:16 bit:8000 Hz:4.75 kbps   Unsuccessful!   "
                           "Unknown encoder 'libopencore_amrnb'"));
        QVERIFY(
            lines.last().startsWith(QLatin1String("   AMR ACELP:Mono:16 bit:8000 Hz:12.2 kbps")));
        // The rejected parameters stop that run, but no advice box holds the sweep up.
        QVERIFY(!watcher.seen.contains(QStringLiteral(
            "Please change the format parameters or use one of the preset profiles.")));
    }

    void thePresetSweepAppliesEveryPreset()
    {
        importClip();
        test::ModalWatcher watcher;
        diagnose->testCommand(TestPresets);
        const QStringList lines = results().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.at(0), QStringLiteral("   Fine ADPCM   Done   "));
        QVERIFY(lines.at(1).startsWith(QLatin1String("   Broken GSM   Unsuccessful!   ")));
        QCOMPARE(AppOutputSettings().choiceText(ChoiceListId::AudioCodec),
            QStringLiteral("Microsoft ADPCM"));
    }

    // The sweep waits in nested event loops, so the person's clicks are made from the events
    // that the sweep itself is waiting for.
    void stopEndsTheSweepAfterTheCurrentStep()
    {
        importClip();
        test::ModalWatcher watcher;
        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        QSignalSpy ended(diagnose.data(), &DiagnoseWindow::sweepEnded);
        bool wasSweeping = false;
        bool commandsLocked = false;
        auto once = connect(window.get(), &MainWindow::runFinished, diagnose, [&] {
            wasSweeping = diagnose->isSweeping();
            commandsLocked = !diagnose->testButton(TestAudioSettings)->isEnabled();
            diagnose->findChild<QPushButton *>(QStringLiteral("Cmd_Stop"))->click();
        });
        diagnose->testCommand(TestAudioSettings);
        disconnect(once);
        QVERIFY(wasSweeping);
        QVERIFY(commandsLocked);
        QCOMPARE(ended.count(), 1);
        QCOMPARE(runs.count(), 1);
        QCOMPARE(ended.first().first().value<SweepSummary>().end, SweepEnd::Stopped);
        QVERIFY(child<QLabel>("Label1")->text().startsWith(QLatin1String("Test stopped")));
        QVERIFY(diagnose->testButton(TestAudioSettings)->isEnabled());

        // The main window's Stop cancels the running step and ends the sweep with it.
        runs.clear();
        once = connect(window.get(), &MainWindow::engineLog, diagnose, [&] {
            QTimer::singleShot(0, window.get(), [&] {
                if (window->listButton(BtnStop)->isEnabled())
                    window->listButton(BtnStop)->click();
            });
            disconnect(once);
        });
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(ended.count(), 2);
        QCOMPARE(runs.count(), 1);
        QVERIFY(results().endsWith(
            QStringLiteral("   Microsoft ADPCM:Mono:16 bit:8000 Hz:32 kbps   Canceled!   \n")));

        // Closing the window ends the sweep too, and the window goes once it has.
        runs.clear();
        once
            = connect(window.get(), &MainWindow::runFinished, diagnose, [&] { diagnose->close(); });
        diagnose->testCommand(TestAudioSettings);
        QCOMPARE(runs.count(), 1);
        QVERIFY(!Flags().diagnosisRunning);
        QTRY_VERIFY(diagnose.isNull());
    }

    void afterClearingANormalRunShowsTheCompletionWindow()
    {
        importClip();
        test::ModalWatcher watcher;
        child<QCheckBox>("Chk_Test")->setChecked(true);
        diagnose->testCommand(TestVideoCodecs);
        QVERIFY(!watcher.seen.contains(QStringLiteral("frmMsg")));
        appendLineToResults();
        diagnose->testButton(TestClear)->click();
        QCOMPARE(results(), QString());
        QVERIFY(!Flags().diagnosisRunning);

        QSignalSpy runs(window.get(), &MainWindow::runFinished);
        window->convertCommand();
        QTRY_COMPARE_WITH_TIMEOUT(runs.count(), 1, 20000);
        QTRY_VERIFY(watcher.seen.contains(QStringLiteral("frmMsg")));
    }

    void theEngineLogTakesLinesOnlyWhenCheckedAndKeepsTheNewest()
    {
        auto *log = child<QPlainTextEdit>("txtLog");
        diagnose->AppendEngineLog(QStringLiteral("#0.32 ignored"));
        QCOMPARE(log->toPlainText(), QString());
        child<QCheckBox>("Chk_EngLog")->setChecked(true);
        for (int i = 0; i < EngineLogLineLimit + 10; ++i)
            diagnose->AppendEngineLog(QStringLiteral("#0.32 line %1").arg(i));
        QCOMPARE(log->document()->blockCount(), EngineLogLineLimit);
        QCOMPARE(log->document()->firstBlock().text(), QStringLiteral("#0.32 line 10"));
        QCOMPARE(log->document()->lastBlock().text(),
            QStringLiteral("#0.32 line %1").arg(EngineLogLineLimit + 9));
    }

    void theOptionStringOfTheSelectedRowIsAppended()
    {
        importClip();
        window->fileView()->SelectRow(0);
        QTRY_COMPARE(window->CurrentItemIndex(), 0);
        const QString expected
            = BuildEncoderOptions(window->fileList()->Item(0), AppOutputSettings());
        QVERIFY(expected.contains(QLatin1String(" -acodec adpcm_ms")));
        diagnose->findChild<QPushButton *>(QStringLiteral("Command1"))->click();
        diagnose->findChild<QPushButton *>(QStringLiteral("Command1"))->click();
        QCOMPARE(child<QPlainTextEdit>("Text1")->toPlainText(),
            expected + QLatin1Char('\n') + expected + QLatin1Char('\n'));
    }

private:
    void appendLineToResults()
    {
        // Something to clear even when the sweep wrote nothing.
        child<QPlainTextEdit>("Txt_TestResult")->setPlainText(QStringLiteral("x\n"));
    }
};

QTEST_MAIN(DiagnoseWindowTest)
#include "diagnose_window_test.moc"
