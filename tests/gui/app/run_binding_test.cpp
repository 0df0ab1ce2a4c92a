#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/media/file_list_model.h"
#include "gui/app/main_window.h"
#include "support/fake_engine.h"
#include "support/modal_watcher.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;

namespace {
const QString Key = u"Software/Corvallo/SonivertRunBindingTest"_s;
}

// How the main window shows a run, driven by fake jobs: no ffmpeg, no media.
class RunBindingTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir_;
    std::unique_ptr<MainWindow> window_;
    test::FakeEngine engine_;

    QString state(int row) const { return window_->fileList()->GetFieldText(row, Field::State); }
    QLineEdit *outputBox() const { return window_->findChild<QLineEdit *>(u"Txt_OutputPath"_s); }

    // Rows for the given file names, which exist but hold no media: the fake engine needs none.
    void addRows(const QStringList &names)
    {
        for (const QString &name : names) {
            QFile file(dir_.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
            MediaItem item;
            item.Set(Field::FilePath, dir_.path() + u'/');
            item.Set(Field::Name, name);
            window_->fileList()->AppendMediaItem(item);
        }
    }

private slots:
    void initTestCase() { SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key); }

    void init()
    {
        Flags() = AppFlags {};
        engine_ = test::FakeEngine();
        window_ = std::make_unique<MainWindow>(
            MainWindow::Identity { u"Corvallo"_s, u"Sonivert"_s, Key });
        window_->conversionRun()->SetJobFactory(engine_.Factory());
        window_->setTaskPlanner([](int) {
            return TaskPlan { QString(), u" -vn"_s, u"MP3"_s, {}, {}, {} };
        });
        outputBox()->setText(dir_.filePath(u"out"_s));
        window_->show();
    }

    void cleanup() { window_.reset(); }

    void anUnusableFolderIsNamedWithTheReason()
    {
        addRows({ u"a.mp4"_s });
        outputBox()->setText(u"/proc/"_s);
        window_->convertCommand();
        QCOMPARE(window_->GetConvertButtonState(), 0);
        auto *why = window_->findChild<QLabel *>(u"lbl_OutputFolderProblem"_s);
        QVERIFY(why->isVisible());
        QCOMPARE(why->text(), u"This folder cannot be written to."_s);
        QCOMPARE(outputBox()->selectedText(), u"/proc/"_s);
        // Another folder typed in: the complaint goes.
        outputBox()->setText(dir_.path());
        QVERIFY(!why->isVisible());
    }

    // The button shows the run's state; a paused run holds its rows and starts no other.
    void pauseAndResumeFollowTheButton()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        engine_.otherwise = test::FakeScript { JobOutcome::Succeeded, {}, { 500'000 }, true };
        // Two at a time, whatever the machine's core count.
        window_->findChild<QCheckBox *>(u"chkThreadMode"_s)->setChecked(true);
        window_->findChild<QLineEdit *>(u"txtThreadCount"_s)->setText(u"2"_s);
        QCOMPARE(window_->runOptions()->threadCount(), 2);
        window_->convertCommand();
        QTRY_COMPARE(engine_.RunningCount(), 2);
        window_->convertCommand();
        QCOMPARE(window_->GetConvertButtonState(), 2);
        QCOMPARE(window_->listButton(BtnConvert)->text(), u"Resume"_s);
        QVERIFY(engine_.jobs.at(0)->IsPaused() && engine_.jobs.at(1)->IsPaused());
        window_->convertCommand();
        QCOMPARE(window_->listButton(BtnConvert)->text(), u"Pause"_s);
        QSignalSpy finished(window_.get(), &MainWindow::runFinished);
        test::ModalWatcher watcher;
        for (const QPointer<test::FakeJob> &job : engine_.jobs)
            job->Release();
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(state(0), u"Done"_s);
        QCOMPARE(state(1), u"Done"_s);
    }

    void stopWhileIdleCancelsEveryRow()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        window_->stopCommand();
        QCOMPARE(state(0), u"Canceled!"_s);
        QCOMPARE(state(1), u"Canceled!"_s);
        QCOMPARE(window_->GetConvertButtonState(), 0);
    }

    // Two ticks of the elapsed timer without progress: the bar turns busy and says so.
    void aStalledRunShowsProcessing()
    {
        addRows({ u"a.mp4"_s });
        engine_.otherwise = test::FakeScript { JobOutcome::Succeeded, {}, { 0 }, true };
        window_->convertCommand();
        auto *busy = window_->findChild<QLabel *>(u"lbl_TotalBusy"_s);
        QVERIFY(!busy->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(busy->isVisible(), 4000);
        QCOMPARE(busy->text(), u"Processing..."_s);
        window_->stopCommand();
        QVERIFY(!busy->isVisible());
    }

    // After an ordinary failure the elapsed time is no longer shown for the rest of the run.
    void aFailureHidesTheElapsedTimeForTheRest()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        engine_.scripts.insert(
            u"a.mp4"_s, test::FakeScript { JobOutcome::Failed, u"something broke"_s, {}, false });
        engine_.otherwise.hold = true;
        test::ModalWatcher watcher;
        window_->convertCommand();
        QTRY_COMPARE(state(0), u"Unsuccessful!"_s);
        QTest::qWait(1300);
        QCOMPARE(window_->fileList()->StateColumnCaption(), QString());
        QCOMPARE(window_->GetConvertButtonState(), 1);
        window_->stopCommand();
    }

    void completionWindowOnlyOverANormalWindow_data()
    {
        QTest::addColumn<bool>("maximised");
        QTest::addColumn<bool>("shown");
        QTest::newRow("normal") << false << true;
        QTest::newRow("maximised") << true << false;
    }

    void completionWindowOnlyOverANormalWindow()
    {
        QFETCH(bool, maximised);
        QFETCH(bool, shown);
        if (maximised)
            window_->showMaximized();
        addRows({ u"a.mp4"_s });
        test::ModalWatcher watcher;
        QSignalSpy finished(window_.get(), &MainWindow::runFinished);
        window_->convertCommand();
        QTRY_COMPARE(finished.count(), 1);
        QTest::qWait(100);
        QCOMPARE(watcher.seen.contains(u"frmMsg"_s), shown);
        QCOMPARE(state(0), u"Done"_s);
    }
};

QTEST_MAIN(RunBindingTest)
#include "run_binding_test.moc"
