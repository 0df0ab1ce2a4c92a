#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/main_window.h"
#include "gui/media/file_view_main.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using namespace sonivert;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/Sonivert");
const QString Mp3Options = QStringLiteral(" -vn -acodec libmp3lame -ab 128k");

} // namespace

class ConversionDriverTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;
    QTemporaryDir media;
    QTemporaryDir out;
    QString inputOptions;
    QString options = Mp3Options;
    QString extension = QStringLiteral("MP3");

    void importClips(const QStringList &names, double seconds)
    {
        QStringList paths;
        for (const QString &name : names) {
            test::ClipOptions clip;
            clip.seconds = seconds;
            clip.width = 160;
            clip.height = 120;
            const QString path = media.filePath(name);
            if (!QFileInfo::exists(path))
                QVERIFY(test::makeClip(path, clip));
            paths << path;
        }
        QSignalSpy imported(window.get(), &MainWindow::importFinished);
        window->ImportFiles(paths);
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 10000);
    }
    QString state(int row) const { return window->fileList()->getFieldText(row, 4); }
    QStringList outputFiles() const
    {
        return QDir(out.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

private slots:
    void initTestCase() { SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key); }

    void init()
    {
        flags() = AppFlags {};
        QDir(out.path()).removeRecursively();
        QDir().mkpath(out.path());
        inputOptions.clear();
        options = Mp3Options;
        extension = QStringLiteral("MP3");
        window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
        window->load({});
        window->show();
        window->setTaskPlanner([this](int row) {
            return TaskPlan { inputOptions, options, extension, {},
                window->fileList()->item(row).source, {}, {} };
        });
        window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))
            ->setText(out.path() + QLatin1Char('/'));
        QTRY_VERIFY_WITH_TIMEOUT(window->listButton(BtnAddFiles)->isEnabled(), 2000);
    }
    void cleanup() { window.reset(); }

    void aRunConvertsEveryRowAndShowsTheCompletionWindow()
    {
        importClips(
            { QStringLiteral("a.mp4"), QStringLiteral("b b.mp4"), QStringLiteral("a.mkv") }, 1.0);
        test::ModalWatcher watcher;
        QSignalSpy finished(window.get(), &MainWindow::runFinished);
        QSignalSpy log(window.get(), &MainWindow::engineLog);
        window->convertCommand();
        QCOMPARE(window->GetConvertButtonState(), 1);
        QVERIFY(!window->listButton(BtnAddFiles)->isEnabled());
        QVERIFY(window->listButton(BtnStop)->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 60000);

        for (int row = 0; row < 3; ++row)
            QCOMPARE(state(row), QStringLiteral("Done"));
        // Two sources share a base name: the second output does not take the first one's name.
        QCOMPARE(outputFiles(),
            (QStringList { QStringLiteral("a.MP3"), QStringLiteral("a_(new).MP3"),
                QStringLiteral("b b.MP3") }));
        QCOMPARE(window->fileList()->getFieldText(2, Field::ConvertedFileName),
            out.filePath(QStringLiteral("a_(new).MP3")));
        QTRY_VERIFY(watcher.seen.contains(QStringLiteral("frmMsg")));
        QCOMPARE(window->GetConvertButtonState(), 0);
        QVERIFY(
            !window->findChild<QProgressBar *>(QStringLiteral("ProgressBar_Total"))->isVisible());
        QVERIFY(window->listButton(BtnAddFiles)->isEnabled());
        QVERIFY(!log.isEmpty());
        QVERIFY(log.first().first().toString().startsWith(QLatin1Char('#')));
    }

    void stopCancelsTheRestAndLeavesNoPartialFile()
    {
        importClips(
            { QStringLiteral("s1.mp4"), QStringLiteral("s2.mp4"), QStringLiteral("s3.mp4") }, 4.0);
        test::ModalWatcher watcher;
        inputOptions = QStringLiteral(" -re"); // the task lasts as long as the clip plays
        window->convertCommand();
        QTRY_VERIFY_WITH_TIMEOUT(window->fileList()->getRowProgress(0) >= 0, 20000);
        window->stopCommand();
        QVERIFY(flags().stoppedByUser);
        QCOMPARE(window->GetConvertButtonState(), 0);
        for (int row = 0; row < 3; ++row)
            QCOMPARE(state(row), QStringLiteral("Canceled!"));
        QCOMPARE(outputFiles(), QStringList());
        QTest::qWait(300);
        QVERIFY(!watcher.seen.contains(QStringLiteral("frmMsg")));
        QVERIFY(window->listButton(BtnRemove)->isEnabled());
    }

    void aFailedRowIsReportedWithItsCommand()
    {
        importClips({ QStringLiteral("good.mp4") }, 0.5);
        QFile junk(media.filePath(QStringLiteral("junk.mp4")));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(2048, 'j'));
        junk.close();
        // The import refuses junk, so a row is made to point at it after probing a good file.
        importClips({ QStringLiteral("good.mp4") }, 0.5);
        window->fileList()->SetField(1, Field::Name, QStringLiteral("junk.mp4"));

        QSignalSpy finished(window.get(), &MainWindow::runFinished);
        window->convertCommand();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 60000);
        QCOMPARE(state(0), QStringLiteral("Done"));
        QCOMPARE(state(1), QStringLiteral("Unsuccessful!"));
        QVERIFY(
            window->fileList()
                ->getFieldText(1, Field::ErrMsg)
                .endsWith(QStringLiteral("junk.mp4: Invalid data found when processing input")));

        QDialog *report = nullptr;
        QTRY_VERIFY((report = window->findChild<QDialog *>(QStringLiteral("frmReportList"))));
        // Invalid data alone is no copy protection: a junk file is reported as a failure.
        QCOMPARE(report->windowTitle(), QStringLiteral("Conversion Reports"));
        auto *details = report->findChild<QWidget *>(QStringLiteral("Txt_Details"));
        QVERIFY(details->isVisibleTo(report));
        QCOMPARE(outputFiles(), QStringList { QStringLiteral("good.MP3") });
        report->close();
        QVERIFY(window->isEnabled());
    }

    void parametersTheEncoderRejectsStopTheRunWithAdvice()
    {
        importClips({ QStringLiteral("p1.mp4"), QStringLiteral("p2.mp4") }, 0.5);
        test::ModalWatcher watcher;
        options = QStringLiteral(" -vn -acodec ac3 -ar 11025");
        extension = QStringLiteral("AC3");
        QSignalSpy finished(window.get(), &MainWindow::runFinished);
        window->convertCommand();
        QTRY_VERIFY_WITH_TIMEOUT(watcher.seen.contains(QStringLiteral(
                                     "Please change the format parameters or use one of the "
                                     "preset profiles.")),
            30000);
        QCOMPARE(window->GetConvertButtonState(), 0);
        QVERIFY(flags().stoppedByUser);
        QCOMPARE(outputFiles(), QStringList());
    }

    void ringtonesAreEncodedAsM4aAndRenamedWithoutTouchingOtherFiles()
    {
        importClips({ QStringLiteral("r.mp4") }, 0.5);
        QFile existing(out.filePath(QStringLiteral("r.M4A")));
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.write("the person's own file");
        existing.close();
        test::ModalWatcher watcher;
        options = QStringLiteral(" -vn -acodec aac -ab 128k");
        extension = QStringLiteral("M4R");
        QSignalSpy finished(window.get(), &MainWindow::runFinished);
        window->convertCommand();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
        QCOMPARE(state(0), QStringLiteral("Done"));
        QCOMPARE(outputFiles(), (QStringList { QStringLiteral("r.M4A"), QStringLiteral("r.M4R") }));
        QVERIFY(existing.open(QIODevice::ReadOnly));
        QCOMPARE(existing.readAll(), QByteArray("the person's own file"));
        QCOMPARE(window->fileList()->getFieldText(0, Field::ConvertedFileName),
            out.filePath(QStringLiteral("r.M4R")));
    }

    void theConvertButtonUsesTheChosenFormat()
    {
        // A window of its own, planning rows from the real output settings.
        window = std::make_unique<MainWindow>(
            MainWindow::Identity { QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), Key });
        window->load({});
        window->show();
        window->findChild<QLineEdit *>(QStringLiteral("Txt_OutputPath"))
            ->setText(out.path() + QLatin1Char('/'));
        QTRY_VERIFY_WITH_TIMEOUT(window->listButton(BtnAddFiles)->isEnabled(), 2000);
        importClips({ QStringLiteral("real.mp4") }, 0.5);
        test::ModalWatcher watcher;
        QSignalSpy finished(window.get(), &MainWindow::runFinished);
        window->listButton(BtnConvert)->click();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
        QCOMPARE(state(0), QStringLiteral("Done"));
        QCOMPARE(outputFiles(), QStringList { QStringLiteral("real.MP3") });
    }
};

QTEST_MAIN(ConversionDriverTest)
#include "conversion_driver_test.moc"
