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
    QTemporaryDir m_dir;
    QStringList m_clips;
    std::unique_ptr<MainWindow> m_window;

    QString nameOf(int row) const { return m_window->fileList()->getFieldText(row, Field::Name); }
    QPushButton *button(int index) const { return m_window->listButton(index); }

    // A loaded window, past start-up, with the first clip in its list.
    bool loadWithOneRow()
    {
        m_window->load({});
        m_window->show();
        if (!QTest::qWaitFor([this] { return button(BtnAddFiles)->isEnabled(); }, 2000))
            return false;
        QSignalSpy imported(m_window.get(), &MainWindow::importFinished);
        m_window->ImportFiles({ m_clips[0] });
        return imported.wait(5000) && m_window->fileList()->count() == 1;
    }

private slots:
    void initTestCase()
    {
        SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key);
        QVERIFY(m_dir.isValid());
        test::ClipOptions options;
        options.seconds = 0.3;
        for (const char *name : { "first.mp4", "chosen.mp4", "handed.mkv", "dropped.mp4" }) {
            m_clips << m_dir.filePath(QString::fromLatin1(name));
            QVERIFY(test::makeClip(m_clips.last(), options));
        }
    }

    void init()
    {
        flags() = AppFlags {};
        m_window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
    }
    void cleanup() { m_window.reset(); }

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
        QSignalSpy imported(m_window.get(), &MainWindow::importFinished);
        const bool addFiles = command == QLatin1String("Add Files");

        int rowsWhileOpen = -1;
        int importsWhileOpen = -1;
        test::onNextModal([&](QWidget *dialog) {
            m_window->OpenFileFromText(QLatin1Char(' ') + m_clips[2]);
            QTest::qWait(300);
            rowsWhileOpen = m_window->fileList()->count();
            importsWhileOpen = int(imported.count());
            if (auto *files = qobject_cast<QFileDialog *>(dialog)) {
                // Typed, as a person would: the directory listing loads in the background.
                files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))
                    ->setText(QLatin1Char('"') + m_clips[1] + QLatin1Char('"'));
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
            m_window->findChild<QPushButton *>(QStringLiteral("Cmd_MoreInfo"))->click();
        else
            button(BtnAddFiles)->click();

        QCOMPARE(rowsWhileOpen, 1);
        QCOMPARE(importsWhileOpen, 0);
        const int expected = addFiles ? 3 : 2;
        QTRY_COMPARE_WITH_TIMEOUT(m_window->fileList()->count(), expected, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(int(imported.count()), expected - 1, 5000);
        if (addFiles)
            QCOMPARE(nameOf(1), QStringLiteral("chosen.mp4"));
        QCOMPARE(nameOf(expected - 1), QStringLiteral("handed.mkv"));
        QVERIFY(m_window->isEnabled());
    }

    // The failure report of an import keeps the window disabled; a file handed over meanwhile is
    // opened once the report is dismissed, by Escape as well as by OK.
    void aHandOverWaitsForTheFailureReport()
    {
        QVERIFY(loadWithOneRow());
        const QString broken = m_dir.filePath(QStringLiteral("broken.avi"));
        QFile junk(broken);
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(4096, 'x'));
        junk.close();
        QSignalSpy imported(m_window.get(), &MainWindow::importFinished);
        m_window->ImportFiles({ broken });
        QVERIFY(imported.wait(5000));
        auto *report = m_window->findChild<QDialog *>(QStringLiteral("frmReportList"));
        QVERIFY(report && report->isVisible());
        QVERIFY(!m_window->isEnabled());

        m_window->OpenFileFromText(QLatin1Char(' ') + m_clips[2]);
        QTest::qWait(300);
        QCOMPARE(m_window->fileList()->count(), 1);
        QTest::keyClick(report, Qt::Key_Escape);
        QVERIFY(m_window->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(m_window->fileList()->count(), 2, 5000);
        QCOMPARE(nameOf(1), QStringLiteral("handed.mkv"));
    }

    // While a single file is probed behind the window, its commands are out of use: Convert
    // cannot start on a half-filled list, a drop is refused rather than lost, and a handed-over
    // file waits for the import to end.
    void aOneFileImportTakesTheCommandsOutOfUse()
    {
        QVERIFY(loadWithOneRow());
        QPushButton *more = m_window->findChild<QPushButton *>(QStringLiteral("Cmd_MoreInfo"));
        QVERIFY(button(BtnConvert)->isEnabled() && more->isEnabled());
        QSignalSpy imported(m_window.get(), &MainWindow::importFinished);
        QSignalSpy runs(m_window.get(), &MainWindow::runFinished);

        m_window->ImportFiles({ m_clips[1] });
        for (int i = 0; i <= BtnTrim; ++i)
            QVERIFY2(!button(i)->isEnabled(), qPrintable(button(i)->objectName()));
        QVERIFY(!more->isEnabled());
        QVERIFY(!m_window->findChild<QPushButton *>(QStringLiteral("Cmd_Diagnose"))->isEnabled());
        m_window->convertCommand();
        QCOMPARE(m_window->GetConvertButtonState(), 0);

        QMimeData drop;
        drop.setUrls({ QUrl::fromLocalFile(m_clips[3]) });
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &drop, Qt::LeftButton, {});
        QApplication::sendEvent(m_window.get(), &enter);
        QVERIFY(!enter.isAccepted());

        m_window->OpenFileFromText(QLatin1Char(' ') + m_clips[2]);
        QTRY_COMPARE_WITH_TIMEOUT(int(imported.count()), 2, 5000);
        QCOMPARE(m_window->fileList()->count(), 3);
        QCOMPARE(nameOf(1), QStringLiteral("chosen.mp4"));
        QCOMPARE(nameOf(2), QStringLiteral("handed.mkv"));
        QCOMPARE(m_window->GetConvertButtonState(), 0);
        QCOMPARE(runs.count(), 0);
        for (int i = 0; i <= BtnTrim; ++i)
            QVERIFY2(button(i)->isEnabled(), qPrintable(button(i)->objectName()));
        QVERIFY(more->isEnabled());

        // Idle again, the window takes a drop.
        QDragEnterEvent later(QPoint(20, 20), Qt::CopyAction, &drop, Qt::LeftButton, {});
        QApplication::sendEvent(m_window.get(), &later);
        QVERIFY(later.isAccepted());
    }

    // A second start while a conversion runs brings the window forward but adds nothing, not
    // even once the run has ended.
    void aHandOverDuringAConversionIsNotOpened()
    {
        QVERIFY(loadWithOneRow());
        QTemporaryDir output;
        m_window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))->setText(output.path());
        test::FakeEngine engine;
        engine.otherwise.hold = true;
        m_window->conversionRun()->setJobFactory(engine.factory());
        m_window->setTaskPlanner([](int) {
            TaskPlan plan;
            plan.outputOptions = QStringLiteral(" -vn");
            plan.extension = QStringLiteral("MP3");
            return plan;
        });
        m_window->convertCommand();
        QTRY_COMPARE(engine.runningCount(), 1);
        QCOMPARE(m_window->GetConvertButtonState(), 1);

        m_window->OpenFileFromText(QLatin1Char(' ') + m_clips[2]);
        m_window->stopCommand();
        QTRY_COMPARE(m_window->GetConvertButtonState(), 0);
        // What would open a waiting file: the window enabled again.
        m_window->setEnabled(false);
        m_window->setEnabled(true);
        QTest::qWait(200);
        QCOMPARE(m_window->fileList()->count(), 1);
    }
};

QTEST_MAIN(MainWindowImportsTest)
#include "main_window_imports_test.moc"
