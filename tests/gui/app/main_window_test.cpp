#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/app/settings_store.h"
#include "core/formats/catalogue_table.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "gui/app/completion_dialog.h"
#include "gui/app/main_window.h"
#include "gui/app/tip_popup.h"
#include "gui/formats/format_setting_dialog.h"
#include "gui/media/file_view_main.h"
#include "gui/media/frm_properties.h"
#include "support/fake_engine.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using namespace sonivert;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/Sonivert");

// Answers the next message box with the given button and records its text.
void answerNextMessage(QMessageBox::StandardButton answer, QString *seenText = nullptr)
{
    QTimer::singleShot(0, [=] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box) {
            answerNextMessage(answer, seenText);
            return;
        }
        if (seenText)
            *seenText = box->text();
        box->button(answer)->click();
    });
}

test::ClipOptions shortClip(double seconds)
{
    test::ClipOptions options;
    options.seconds = seconds;
    return options;
}

struct FakeRun
{
    MainWindow *window;
    int toggles = 0;
    int stops = 0;

    MainWindow::RunHooks hooks()
    {
        return { [this] {
                    ++toggles;
                    window->SetConvertButtonState(window->GetConvertButtonState() == 1 ? 2 : 1);
                },
            [this] {
                ++stops;
            } };
    }
};

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;

    template<typename T> T *child(const char *name) const
    {
        T *w = window->findChild<T *>(QLatin1String(name));
        if (!w)
            qFatal("no child %s", name);
        return w;
    }
    bool enabled(int button) const { return window->listButton(button)->isEnabled(); }

private slots:
    void initTestCase() { SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key); }

    void init()
    {
        flags() = AppFlags {};
        window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
    }
    void cleanup() { window.reset(); }

    void loadTitlesAndStartsInTheEmptyListState()
    {
        window->load({});
        window->show();
        QCOMPARE(window->windowTitle(), QStringLiteral("Corvallo Sonivert"));
        QCOMPARE(window->GetConvertButtonState(), 0);
        QCOMPARE(window->listButton(BtnConvert)->text(), QStringLiteral("Convert &Now"));
        QVERIFY(!flags().isUnloading);
        QVERIFY(child<QListWidget>("ListBox_Fake")->isVisible());
        QVERIFY(!child<QTableView>("FileViewMain")->isVisible());
        // Add Files waits for the start-up timer.
        QVERIFY(!enabled(BtnAddFiles));
        QTRY_VERIFY_WITH_TIMEOUT(enabled(BtnAddFiles), 2000);
        QCOMPARE(child<QLineEdit>("Txt_OutputPath")->text(), folders().outputPath);
    }

    void controlStates()
    {
        window->show();
        const auto onlyTheseButtons = [this](std::initializer_list<int> on) {
            for (int i = 0; i <= BtnTrim; ++i) {
                const bool expected = std::find(on.begin(), on.end(), i) != on.end();
                if (enabled(i) != expected)
                    return false;
            }
            return true;
        };
        auto *fake = child<QListWidget>("ListBox_Fake");
        auto *grid = child<QTableView>("FileViewMain");
        auto *format = child<QComboBox>("Cmb_OutputFormat");
        auto *preset = child<QComboBox>("Cmd_OutputPreset");
        auto *path = child<QLineEdit>("Txt_OutputPath");
        bool dialogChoices = true;
        window->setFormatChoicesEnabler([&](bool on) { dialogChoices = on; });

        window->SetControlsState(ControlsMode::Normal, true);
        QVERIFY(!fake->isVisible() && grid->isVisible() && grid->isEnabled());
        QVERIFY(onlyTheseButtons({ 0, 1, 2, 3, 4, 5, 6, 7, 8 }));
        QVERIFY(format->isEnabled() && preset->isEnabled() && path->isEnabled() && dialogChoices);

        window->SetControlsState(ControlsMode::Converting, false);
        QVERIFY(!fake->isVisible() && grid->isVisible() && grid->isEnabled());
        QVERIFY(onlyTheseButtons({ BtnConvert, BtnStop }));
        QVERIFY(
            !format->isEnabled() && !preset->isEnabled() && !path->isEnabled() && !dialogChoices);
        QVERIFY(!child<QLabel>("lbl_OutputFileTitle_0")->isEnabled());

        window->SetControlsState(ControlsMode::Normal, false);
        QVERIFY(fake->isVisible() && !grid->isVisible());
        QVERIFY(onlyTheseButtons({}));

        // An emptied list leaves only Add Files, Open Folder, Setting, "..." and the format list.
        window->SetControlsState(ControlsMode::Normal, true);
        window->SetControlsState(ControlsMode::ListState, false);
        QVERIFY(fake->isVisible() && !grid->isVisible());
        QVERIFY(onlyTheseButtons({ BtnAddFiles, BtnOpenFolder, BtnSetting, BtnBrowseFolder }));
        QVERIFY(format->isEnabled());

        window->SetControlsState(ControlsMode::ListState, true);
        QVERIFY(!fake->isVisible() && grid->isVisible());
        QVERIFY(onlyTheseButtons({ 0, 1, 2, 3, 4, 5, 6, 7, 8 }));
    }

    // The button shows the run's state; it holds none of its own.
    void convertButtonShowsTheRunState()
    {
        QPushButton *convert = window->listButton(BtnConvert);
        window->SetConvertButtonState(1);
        QCOMPARE(convert->text(), QStringLiteral("&Pause"));
        QCOMPARE(convert->width(), 128);
        QCOMPARE(window->GetConvertButtonState(), 0);
        window->SetConvertButtonState(2);
        QCOMPARE(convert->text(), QStringLiteral("&Resume"));
        window->SetConvertButtonState(0);
        QCOMPARE(convert->text(), QStringLiteral("Convert &Now"));
        QCOMPARE(convert->width(), 192);
    }

    void closingWhileIdleQuitsAtOnce()
    {
        FakeRun run { window.get() };
        window->setRunHooks(run.hooks());
        window->load({});
        window->show();
        QVERIFY(window->close());
        QVERIFY(window->isUnloaded());
        QVERIFY(flags().isUnloading);
        QCOMPARE(run.toggles, 0);
        QCOMPARE(RegReadText(Key, QStringLiteral("WinTagInfo")), QString());
    }

    void closingWhileConvertingPausesAndAsks_data()
    {
        QTest::addColumn<int>("runState");
        QTest::addColumn<bool>("answerYes");
        QTest::newRow("running, No resumes") << 1 << false;
        QTest::newRow("running, Yes ends") << 1 << true;
        QTest::newRow("paused by the user, No resumes") << 2 << false;
        QTest::newRow("paused by the user, Yes ends") << 2 << true;
    }
    void closingWhileConvertingPausesAndAsks()
    {
        QFETCH(int, runState);
        QFETCH(bool, answerYes);
        // A row whose conversion holds until it is stopped.
        QTemporaryDir dir;
        QFile input(dir.filePath(QStringLiteral("clip.mp4")));
        QVERIFY(input.open(QIODevice::WriteOnly) && input.write("a clip") > 0);
        input.close();
        MediaItem item;
        item.set(Field::FilePath, dir.path() + QLatin1Char('/'));
        item.set(Field::Name, QStringLiteral("clip.mp4"));
        window->fileList()->appendMediaItem(item);
        child<QLineEdit>("Txt_OutputPath")->setText(dir.path());
        test::FakeEngine engine;
        engine.otherwise.hold = true;
        window->conversionRun()->setJobFactory(engine.factory());
        window->setTaskPlanner([](int) {
            return TaskPlan { QString(), QStringLiteral(" -vn"), QStringLiteral("MP3"), {}, {}, {},
                {} };
        });
        window->show();
        window->convertCommand();
        QTRY_COMPARE(engine.runningCount(), 1);
        if (runState == 2)
            window->convertCommand();
        QCOMPARE(window->GetConvertButtonState(), runState);

        QString question;
        answerNextMessage(answerYes ? QMessageBox::Yes : QMessageBox::No, &question);
        const bool closed = window->close();

        QCOMPARE(question,
            QStringLiteral(
                "Conversion is not completed!\nAre you sure you want to terminate it ?"));
        QCOMPARE(closed, answerYes);
        QCOMPARE(window->isUnloaded(), answerYes);
        if (answerYes) {
            // The unload ended the run and what it was writing.
            QCOMPARE(window->GetConvertButtonState(), 0);
            QCOMPARE(engine.runningCount(), 0);
            QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                QStringList { QStringLiteral("clip.mp4") });
        } else {
            // Whatever the state before, the conversion runs again afterwards.
            QCOMPARE(window->GetConvertButtonState(), 1);
            QVERIFY(!engine.jobs.first()->isPaused());
            window->stopCommand();
        }
    }

    void outputFolderBoxGetsItsSeparatorWhenLeft()
    {
        window->show();
        auto *path = child<QLineEdit>("Txt_OutputPath");
        path->setText(QStringLiteral("/tmp/somewhere"));
        emit path->editingFinished();
        QCOMPARE(path->text(), QStringLiteral("/tmp/somewhere/"));
        path->setText(QString());
        emit path->editingFinished();
        QCOMPARE(path->text(), QString());
    }

    void openFolderOnAMissingFolderSaysSoAndCreatesNothing()
    {
        window->show();
        window->SetControlsState(ControlsMode::ListState, false);
        auto *path = child<QLineEdit>("Txt_OutputPath");
        const QString missing = QDir::tempPath() + QStringLiteral("/not-there/");
        path->setText(missing);
        QString message;
        answerNextMessage(QMessageBox::Ok, &message);
        window->listButton(BtnOpenFolder)->click();
        QCOMPARE(message, missing + QStringLiteral("\n\nPath not found!"));
        QVERIFY(!QFileInfo::exists(missing));
        QCOMPARE(path->selectedText(), missing);
    }

    void tipSitsBesideTheListAndClosesWhenTheWindowMoves()
    {
        QCOMPARE(TipPopup::placeFor(QPoint(100, 50)), QPoint(485, 247));
        window->load({});
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        TipPopup *tip = window->tipPopup();
        QTRY_COMPARE_WITH_TIMEOUT(tip->state(), TipPopup::Showing, 2000);
        QCOMPARE(tip->pos(), QPoint(385, 197));
        auto *dropPicture = child<QLabel>("Pic_DragDrop");
        QVERIFY(!dropPicture->isVisible());

        window->move(window->pos() + QPoint(40, 30));
        QTRY_COMPARE_WITH_TIMEOUT(tip->state(), TipPopup::Closed, 1000);
        QVERIFY(dropPicture->isVisible());
        auto *moveTimer = window->findChild<QTimer *>(QStringLiteral("Timer_CheckMoveForm"));
        QTRY_VERIFY(!moveTimer->isActive());
    }

    void aFileOnTheCommandLineIsImportedInsteadOfTheTip()
    {
        QTemporaryDir dir;
        const QString clip = dir.filePath(QStringLiteral("clip one.mp4"));
        const QString second = dir.filePath(QStringLiteral("second.mkv"));
        QVERIFY(test::makeClip(clip, shortClip(0.5)));
        QVERIFY(test::makeClip(second, shortClip(0.3)));
        QSignalSpy imported(window.get(), &MainWindow::importFinished);
        // A file manager hands every selected file to one start; they arrive in one import.
        window->load({ clip, second, dir.filePath(QStringLiteral("notes.txt")) });
        window->show();
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 5000);
        QCOMPARE(window->fileList()->count(), 2);
        QCOMPARE(window->fileList()->getFieldText(0, 1), QStringLiteral("clip one.mp4"));
        QCOMPARE(window->fileList()->getFieldText(1, 1), QStringLiteral("second.mkv"));
        QVERIFY(child<QTableView>("FileViewMain")->isVisible());
        QVERIFY(enabled(BtnConvert) && enabled(BtnRemove));
        QCOMPARE(window->CurrentItemIndex(), 0);
        QVERIFY(!child<QLabel>("lbl_InputFileValue_4")->text().isEmpty());
        QTest::qWait(400);
        QCOMPARE(window->tipPopup()->state(), TipPopup::Closed);
        QCOMPARE(imported.count(), 1);
    }

    void anUnsupportedFileIsRefusedWithAMessage()
    {
        window->load({});
        window->show();
        QTRY_VERIFY_WITH_TIMEOUT(enabled(BtnAddFiles), 2000);
        QString message;
        answerNextMessage(QMessageBox::Ok, &message);
        window->OpenFileFromText(QStringLiteral("\"/tmp/notes.txt\""));
        QCOMPARE(message,
            QStringLiteral("Plase check if the file format supported and listed in "
                           "our website.\n\nThank you."));
        QCOMPARE(window->fileList()->count(), 0);
        QVERIFY(!enabled(BtnConvert));
    }

    void failedImportsAreReportedAndRemoveAndClearFollowTheList()
    {
        QTemporaryDir dir;
        const QString a = dir.filePath(QStringLiteral("a.mp4"));
        const QString b = dir.filePath(QStringLiteral("b.mkv"));
        const QString broken = dir.filePath(QStringLiteral("broken.avi"));
        QVERIFY(test::makeClip(a, shortClip(0.3)));
        QVERIFY(test::makeClip(b, shortClip(0.3)));
        QFile junk(broken);
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(4096, 'x'));
        junk.close();

        window->load({});
        window->show();
        QTRY_VERIFY_WITH_TIMEOUT(enabled(BtnAddFiles), 2000);
        QSignalSpy imported(window.get(), &MainWindow::importFinished);
        window->ImportFiles({ a, broken, dir.filePath(QStringLiteral("gone.mp4")), b });
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 10000);
        QCOMPARE(window->fileList()->count(), 2);
        QCOMPARE(window->fileView()->footer()->countText(), QStringLiteral(" 2 files"));

        // The report lists the two failures, in order, and keeps the window disabled until OK.
        auto *report = window->findChild<QDialog *>(QStringLiteral("frmReportList"));
        QVERIFY(report);
        // Junk that does not probe is a failure, not copy protection.
        QCOMPARE(report->windowTitle(), QStringLiteral("Failed"));
        auto *entries = report->findChild<QTreeWidget *>(QStringLiteral("View_ListBox"));
        QCOMPARE(entries->topLevelItemCount(), 2);
        QCOMPARE(entries->topLevelItem(0)->text(0), QStringLiteral("broken.avi"));
        QCOMPARE(entries->topLevelItem(1)->text(1), QStringLiteral("File not found!"));
        QVERIFY(!window->isEnabled());
        report->findChild<QPushButton *>(QStringLiteral("Cmd_Panels_0"))->click();
        QTRY_VERIFY(window->isEnabled());
        QVERIFY(window->failureReport().isEmpty());

        // Removing one of two rows keeps the grid; removing the last shows the placeholder.
        auto *view = window->fileView();
        view->selectAndReveal(1);
        window->removeCommand();
        QCOMPARE(window->fileList()->count(), 1);
        QVERIFY(view->isVisible());
        QCOMPARE(window->CurrentItemIndex(), -1);
        QVERIFY(child<QLabel>("lbl_InputFileValue_4")->text().isEmpty());
        view->selectAndReveal(0);
        window->removeCommand();
        QCOMPARE(window->fileList()->count(), 0);
        QVERIFY(!view->isVisible());
        QVERIFY(child<QListWidget>("ListBox_Fake")->isVisible());
        QVERIFY(!enabled(BtnRemove) && !enabled(BtnConvert) && enabled(BtnAddFiles));
    }

    void presetChangesOfTheSessionSurviveWindowEvents()
    {
        window->load({});
        window->show();
        CatalogueTable &presets = appCatalogue().presets;
        const QString caption = presets.columns.value(1);
        SetCatalogueCell(
            presets, 1, caption, QStringLiteral("changed in this session"), true, true);
        window->resize(window->size() + QSize(40, 30));
        window->SetControlsState(ControlsMode::ListState, false);
        QTest::qWait(50);
        QCOMPARE(GetCatalogueCell(presets, 1, caption), QStringLiteral("changed in this session"));
    }

    void theNextStartOffersWhatThisOneLeft_data()
    {
        QTest::addColumn<bool>("closed");
        QTest::newRow("closed") << true;
        // Killed, crashed or logged out: the window never closes, and what was chosen stays.
        QTest::newRow("never closed") << false;
    }
    void theNextStartOffersWhatThisOneLeft()
    {
        QFETCH(bool, closed);
        window->load({});
        auto *format = child<QComboBox>("Cmb_OutputFormat");
        const int flac = format->findText(QStringLiteral("FLAC"));
        QVERIFY(flac > 0);
        format->setCurrentIndex(flac);
        emit format->activated(flac);
        auto *preset = child<QComboBox>("Cmd_OutputPreset");
        preset->setCurrentIndex(0);
        emit preset->activated(0);
        child<QCheckBox>("chkThreadMode")->setChecked(true);
        child<QLineEdit>("txtThreadCount")->setText(QStringLiteral("3"));
        // Splitting long files is on until the person turns it off.
        QVERIFY(child<QCheckBox>("chkSegments")->isChecked());
        child<QCheckBox>("chkSegments")->setChecked(false);
        QVERIFY(!window->runOptions()->segments());
        child<QLineEdit>("Txt_OutputPath")->setText(QStringLiteral("/tmp/typed/"));
        window->show();
        window->resize(900, 610);
        if (closed) {
            QVERIFY(window->close());
            QCOMPARE(RegReadText(Key, QStringLiteral("OutputPath")), QStringLiteral("/tmp/typed/"));
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(RegReadText(Key, QStringLiteral("OutputPath")),
                QStringLiteral("/tmp/typed/"), 3000);
            window.reset();
        }

        appOutputSettings().selectFormat(QStringLiteral("MP3"));
        init();
        window->load({});
        QCOMPARE(child<QComboBox>("Cmb_OutputFormat")->currentText(), QStringLiteral("FLAC"));
        QCOMPARE(appOutputSettings().currentFormatKeyword(), QStringLiteral("FLAC"));
        QCOMPARE(child<QComboBox>("Cmd_OutputPreset")->currentIndex(), 0);
        QVERIFY(child<QCheckBox>("chkThreadMode")->isChecked());
        QCOMPARE(child<QLineEdit>("txtThreadCount")->text(), QStringLiteral("3"));
        QVERIFY(!child<QCheckBox>("chkSegments")->isChecked());
        QCOMPARE(window->size(), QSize(900, 610));

        // Back to what a first start has, for the tests after this one.
        window.reset();
        QSettings(settingsFilePath(Key), QSettings::IniFormat).clear();
        init();
    }

    void whatADiagnosisTriesIsNotRemembered()
    {
        window->load({});
        const QString chosen = appOutputSettings().currentFormatKeyword();
        appOutputSettings().selectFormat(QStringLiteral("FLAC"));
        appOutputSettings().selectFormat(chosen);
        QTRY_COMPARE(RegReadText(Key, QStringLiteral("OutputFormat")), chosen);

        flags().diagnosisRunning = true;
        appOutputSettings().selectFormat(QStringLiteral("FLAC"));
        QCOMPARE(appOutputSettings().currentFormatKeyword(), QStringLiteral("FLAC"));
        QVERIFY(chosen != QLatin1String("FLAC"));
        QTest::qWait(1000);
        QCOMPARE(RegReadText(Key, QStringLiteral("OutputFormat")), chosen);
        appOutputSettings().selectFormat(QStringLiteral("WAV"));
        appOutputSettings().selectFormat(chosen);
        flags().diagnosisRunning = false;
        QTest::qWait(1000);
        QCOMPARE(RegReadText(Key, QStringLiteral("OutputFormat")), chosen);

        window.reset();
        QSettings(settingsFilePath(Key), QSettings::IniFormat).clear();
        init();
    }

    void tabLeavesTheFileList()
    {
        for (const char *name : { "a.mp4", "b.mp4" }) {
            MediaItem item;
            item.set(Field::Name, QLatin1String(name));
            window->fileList()->appendMediaItem(item);
        }
        window->SetControlsState(ControlsMode::Normal, true);
        window->show();
        QApplication::setActiveWindow(window.get());
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        window->fileView()->setFocus();
        window->fileView()->selectAndReveal(0);
        QTest::keyClick(window->fileView(), Qt::Key_Tab);
        QVERIFY(!window->fileView()->hasFocus());
    }

    void theListsColumnsFollowTheWindowsWidth()
    {
        MediaItem item;
        item.set(Field::Name, QStringLiteral("a.mp4"));
        window->fileList()->appendMediaItem(item);
        window->SetControlsState(ControlsMode::Normal, true);
        window->show();
        window->resize(900, 600);
        QHeaderView *header = window->fileView()->horizontalHeader();
        QTRY_COMPARE(header->length(), window->fileView()->viewport()->width());
        const int name = header->sectionSize(Field::Name);
        window->resize(1100, 600);
        QTRY_COMPARE(header->length(), window->fileView()->viewport()->width());
        QVERIFY(header->sectionSize(Field::Name) > name + 150);
    }

    // The other dialogs (messages, reports, the editor, the diagnosis window) have their own.
    void escapeClosesTheDialogs_data()
    {
        QTest::addColumn<QString>("dialog");
        QTest::newRow("output settings") << QStringLiteral("settings");
        QTest::newRow("conversion completed") << QStringLiteral("completion");
        QTest::newRow("file properties") << QStringLiteral("properties");
    }
    void escapeClosesTheDialogs()
    {
        QFETCH(QString, dialog);
        window->load({});
        window->show();
        bool escaped = false;
        test::onNextModal([&](QWidget *modal) {
            QTest::keyClick(modal, Qt::Key_Escape);
            escaped = !modal->isVisible();
            if (!escaped)
                modal->close();
        });
        if (dialog == QLatin1String("settings")) {
            formatSettingWindow(window.get())->exec();
        } else if (dialog == QLatin1String("completion")) {
            CompletionDialog(QDir::tempPath(), window.get()).exec();
        } else {
            MediaItem item;
            item.set(Field::Name, QStringLiteral("a.mp4"));
            frmProperties(item, window.get()).exec();
        }
        QVERIFY(escaped);
    }

    void theFormatListsAreFilledAtLoad()
    {
        window->load({});
        auto *format = child<QComboBox>("Cmb_OutputFormat");
        auto *preset = child<QComboBox>("Cmd_OutputPreset");
        QVERIFY(format->count() >= 10);
        QCOMPARE(format->currentIndex(), 0);
        QVERIFY(preset->count() >= 2);
        QCOMPARE(preset->currentIndex(), 1);
    }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
