#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/conversion_run.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/main_window.h"
#include "support/fake_engine.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

using namespace sonivert;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/Sonivert");

} // namespace

// How imports share the main window with everything else that can bring files: a second start
// handing over a file, the open dialog, a drop, and the commands of the window.
class MainWindowImportsTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir_;
    QStringList clips_;
    std::unique_ptr<MainWindow> window_;

    QString nameOf(int row) const { return window_->fileList()->GetFieldText(row, Field::Name); }
    QPushButton *button(int index) const { return window_->listButton(index); }

    // A loaded window, past start-up, with the first clip in its list.
    bool loadWithOneRow()
    {
        window_->Load({});
        window_->show();
        if (!QTest::qWaitFor([this] { return button(BtnAddFiles)->isEnabled(); }, 2000))
            return false;
        QSignalSpy imported(window_.get(), &MainWindow::importFinished);
        window_->ImportFiles({ clips_[0] });
        return imported.wait(5000) && window_->fileList()->Count() == 1;
    }

private slots:
    void initTestCase()
    {
        SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key);
        QVERIFY(dir_.isValid());
        test::ClipOptions options;
        options.seconds = 0.3;
        for (const char *name : { "first.mp4", "chosen.mp4", "handed.mkv", "dropped.mp4" }) {
            clips_ << dir_.filePath(QString::fromLatin1(name));
            QVERIFY(test::MakeClip(clips_.last(), options));
        }
    }

    void init()
    {
        Flags() = AppFlags {};
        window_ = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
    }
    void cleanup() { window_.reset(); }

    // A file handed over while a modal dialog is up waits until the dialog has gone; with the
    // open dialog of Add Files up, the chosen files go first and the two imports never overlap.
    void aHandOverWaitsForTheModalDialog_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("Setting") << QStringLiteral("Setting");
        QTest::newRow("Properties") << QStringLiteral("Properties");
        QTest::newRow("Add Files") << QStringLiteral("Add Files");
    }
    void aHandOverWaitsForTheModalDialog()
    {
        QFETCH(QString, command);
        QVERIFY(loadWithOneRow());
        QSignalSpy imported(window_.get(), &MainWindow::importFinished);
        const bool addFiles = command == QLatin1String("Add Files");

        int rowsWhileOpen = -1;
        int importsWhileOpen = -1;
        test::OnNextModal([&](QWidget *dialog) {
            window_->OpenFileFromText(QLatin1Char(' ') + clips_[2]);
            QTest::qWait(300);
            rowsWhileOpen = window_->fileList()->Count();
            importsWhileOpen = int(imported.count());
            if (auto *files = qobject_cast<QFileDialog *>(dialog)) {
                // Typed, as a person would: the directory listing loads in the background.
                files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))
                    ->setText(QLatin1Char('"') + clips_[1] + QLatin1Char('"'));
                static_cast<QDialog *>(files)->accept();
                if (files->isVisible())
                    static_cast<QDialog *>(files)->reject(); // the test fails, without hanging

            } else {
                dialog->close();
            }
        });
        if (command == QLatin1String("Setting"))
            button(BtnSetting)->click();
        else if (command == QLatin1String("Properties"))
            window_->findChild<QPushButton *>(QStringLiteral("Cmd_MoreInfo"))->click();
        else
            button(BtnAddFiles)->click();

        QCOMPARE(rowsWhileOpen, 1);
        QCOMPARE(importsWhileOpen, 0);
        const int expected = addFiles ? 3 : 2;
        QTRY_COMPARE_WITH_TIMEOUT(window_->fileList()->Count(), expected, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(int(imported.count()), expected - 1, 5000);
        if (addFiles)
            QCOMPARE(nameOf(1), QStringLiteral("chosen.mp4"));
        QCOMPARE(nameOf(expected - 1), QStringLiteral("handed.mkv"));
        QVERIFY(window_->isEnabled());
    }

    // The failure report of an import keeps the window disabled; a file handed over meanwhile is
    // opened once the report is dismissed, by Escape as well as by OK.
    void aHandOverWaitsForTheFailureReport()
    {
        QVERIFY(loadWithOneRow());
        const QString broken = dir_.filePath(QStringLiteral("broken.avi"));
        QFile junk(broken);
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(4096, 'x'));
        junk.close();
        QSignalSpy imported(window_.get(), &MainWindow::importFinished);
        window_->ImportFiles({ broken });
        QVERIFY(imported.wait(5000));
        auto *report = window_->findChild<QDialog *>(QStringLiteral("frmReportList"));
        QVERIFY(report && report->isVisible());
        QVERIFY(!window_->isEnabled());

        window_->OpenFileFromText(QLatin1Char(' ') + clips_[2]);
        QTest::qWait(300);
        QCOMPARE(window_->fileList()->Count(), 1);
        QTest::keyClick(report, Qt::Key_Escape);
        QVERIFY(window_->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(window_->fileList()->Count(), 2, 5000);
        QCOMPARE(nameOf(1), QStringLiteral("handed.mkv"));
    }

    // While a single file is probed behind the window, its commands are out of use: Convert
    // cannot start on a half-filled list, a drop is refused rather than lost, and a handed-over
    // file waits for the import to end.
    void aOneFileImportTakesTheCommandsOutOfUse()
    {
        QVERIFY(loadWithOneRow());
        QPushButton *more = window_->findChild<QPushButton *>(QStringLiteral("Cmd_MoreInfo"));
        QVERIFY(button(BtnConvert)->isEnabled() && more->isEnabled());
        QSignalSpy imported(window_.get(), &MainWindow::importFinished);
        QSignalSpy runs(window_.get(), &MainWindow::runFinished);

        window_->ImportFiles({ clips_[1] });
        for (int i = 0; i <= BtnTrim; ++i)
            QVERIFY2(!button(i)->isEnabled(), qPrintable(button(i)->objectName()));
        QVERIFY(!more->isEnabled());
        QVERIFY(!window_->findChild<QPushButton *>(QStringLiteral("Cmd_Diagnose"))->isEnabled());
        window_->convertCommand();
        QCOMPARE(window_->GetConvertButtonState(), 0);

        QMimeData drop;
        drop.setUrls({ QUrl::fromLocalFile(clips_[3]) });
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &drop, Qt::LeftButton, {});
        QApplication::sendEvent(window_.get(), &enter);
        QVERIFY(!enter.isAccepted());

        window_->OpenFileFromText(QLatin1Char(' ') + clips_[2]);
        QTRY_COMPARE_WITH_TIMEOUT(int(imported.count()), 2, 5000);
        QCOMPARE(window_->fileList()->Count(), 3);
        QCOMPARE(nameOf(1), QStringLiteral("chosen.mp4"));
        QCOMPARE(nameOf(2), QStringLiteral("handed.mkv"));
        QCOMPARE(window_->GetConvertButtonState(), 0);
        QCOMPARE(runs.count(), 0);
        for (int i = 0; i <= BtnTrim; ++i)
            QVERIFY2(button(i)->isEnabled(), qPrintable(button(i)->objectName()));
        QVERIFY(more->isEnabled());

        // Idle again, the window takes a drop.
        QDragEnterEvent later(QPoint(20, 20), Qt::CopyAction, &drop, Qt::LeftButton, {});
        QApplication::sendEvent(window_.get(), &later);
        QVERIFY(later.isAccepted());
    }

    // A second start while a conversion runs brings the window forward but adds nothing, not
    // even once the run has ended.
    void aHandOverDuringAConversionIsNotOpened()
    {
        QVERIFY(loadWithOneRow());
        QTemporaryDir output;
        window_->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))->setText(output.path());
        test::FakeEngine engine;
        engine.otherwise.hold = true;
        window_->conversionRun()->SetJobFactory(engine.Factory());
        window_->setTaskPlanner([](int) {
            TaskPlan plan;
            plan.outputOptions = QStringLiteral(" -vn");
            plan.extension = QStringLiteral("MP3");
            return plan;
        });
        window_->convertCommand();
        QTRY_COMPARE(engine.RunningCount(), 1);
        QCOMPARE(window_->GetConvertButtonState(), 1);

        window_->OpenFileFromText(QLatin1Char(' ') + clips_[2]);
        window_->stopCommand();
        QTRY_COMPARE(window_->GetConvertButtonState(), 0);
        // What would open a waiting file: the window enabled again.
        window_->setEnabled(false);
        window_->setEnabled(true);
        QTest::qWait(200);
        QCOMPARE(window_->fileList()->Count(), 1);
    }
};

QTEST_MAIN(MainWindowImportsTest)
#include "main_window_imports_test.moc"
