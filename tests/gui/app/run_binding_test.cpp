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

    QTemporaryDir m_dir;
    std::unique_ptr<MainWindow> m_window;
    test::FakeEngine m_engine;

    QString state(int row) const { return m_window->fileList()->getFieldText(row, Field::State); }
    QLineEdit *outputBox() const { return m_window->findChild<QLineEdit *>(u"Txt_OutputPath"_s); }

    // Rows for the given file names, which exist but hold no media: the fake engine needs none.
    void addRows(const QStringList &names)
    {
        for (const QString &name : names) {
            QFile file(m_dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
            MediaItem item;
            item.set(Field::FilePath, m_dir.path() + u'/');
            item.set(Field::Name, name);
            m_window->fileList()->appendMediaItem(item);
        }
    }

private slots:
    void initTestCase() { SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key); }

    void init()
    {
        flags() = AppFlags {};
        m_engine = test::FakeEngine();
        m_window = std::make_unique<MainWindow>(
            MainWindow::Identity { u"Corvallo"_s, u"Sonivert"_s, Key });
        m_window->conversionRun()->setJobFactory(m_engine.factory());
        m_window->setTaskPlanner([](int) {
            return TaskPlan { QString(), u" -vn"_s, u"MP3"_s, {}, {}, {}, {} };
        });
        outputBox()->setText(m_dir.filePath(u"out"_s));
        m_window->show();
    }

    void cleanup() { m_window.reset(); }

    void anUnusableFolderIsNamedWithTheReason()
    {
        addRows({ u"a.mp4"_s });
        outputBox()->setText(u"/proc/"_s);
        m_window->convertCommand();
        QCOMPARE(m_window->GetConvertButtonState(), 0);
        auto *why = m_window->findChild<QLabel *>(u"lbl_OutputFolderProblem"_s);
        QVERIFY(why->isVisible());
        QCOMPARE(why->text(), u"This folder cannot be written to."_s);
        QCOMPARE(outputBox()->selectedText(), u"/proc/"_s);
        // Another folder typed in: the complaint goes.
        outputBox()->setText(m_dir.path());
        QVERIFY(!why->isVisible());
    }

    // The button shows the run's state; a paused run holds its rows and starts no other.
    void pauseAndResumeFollowTheButton()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        m_engine.otherwise = test::FakeScript { JobOutcome::Succeeded, {}, { 500'000 }, true };
        // Two at a time, whatever the machine's core count.
        m_window->findChild<QCheckBox *>(u"chkThreadMode"_s)->setChecked(true);
        m_window->findChild<QLineEdit *>(u"txtThreadCount"_s)->setText(u"2"_s);
        QCOMPARE(m_window->runOptions()->threadCount(), 2);
        m_window->convertCommand();
        QTRY_COMPARE(m_engine.runningCount(), 2);
        m_window->convertCommand();
        QCOMPARE(m_window->GetConvertButtonState(), 2);
        QCOMPARE(m_window->listButton(BtnConvert)->text(), u"&Resume"_s);
        QVERIFY(m_engine.jobs.at(0)->isPaused() && m_engine.jobs.at(1)->isPaused());
        m_window->convertCommand();
        QCOMPARE(m_window->listButton(BtnConvert)->text(), u"&Pause"_s);
        QSignalSpy finished(m_window.get(), &MainWindow::runFinished);
        test::ModalWatcher watcher;
        for (const QPointer<test::FakeJob> &job : m_engine.jobs)
            job->release();
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(state(0), u"Done"_s);
        QCOMPARE(state(1), u"Done"_s);
    }

    void stopWhileIdleCancelsEveryRow()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        m_window->stopCommand();
        QCOMPARE(state(0), u"Canceled!"_s);
        QCOMPARE(state(1), u"Canceled!"_s);
        QCOMPARE(m_window->GetConvertButtonState(), 0);
    }

    // Two ticks of the elapsed timer without progress: the bar turns busy and says so.
    void aStalledRunShowsProcessing()
    {
        addRows({ u"a.mp4"_s });
        m_engine.otherwise = test::FakeScript { JobOutcome::Succeeded, {}, { 0 }, true };
        m_window->convertCommand();
        auto *busy = m_window->findChild<QLabel *>(u"lbl_TotalBusy"_s);
        QVERIFY(!busy->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(busy->isVisible(), 4000);
        QCOMPARE(busy->text(), u"Processing..."_s);
        m_window->stopCommand();
        QVERIFY(!busy->isVisible());
    }

    // After an ordinary failure the elapsed time is no longer shown for the rest of the run.
    void aFailureHidesTheElapsedTimeForTheRest()
    {
        addRows({ u"a.mp4"_s, u"b.mp4"_s });
        m_engine.scripts.insert(
            u"a.mp4"_s, test::FakeScript { JobOutcome::Failed, u"something broke"_s, {}, false });
        m_engine.otherwise.hold = true;
        test::ModalWatcher watcher;
        m_window->convertCommand();
        QTRY_COMPARE(state(0), u"Unsuccessful!"_s);
        QTest::qWait(1300);
        QCOMPARE(m_window->fileList()->stateColumnCaption(), QString());
        QCOMPARE(m_window->GetConvertButtonState(), 1);
        m_window->stopCommand();
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
            m_window->showMaximized();
        addRows({ u"a.mp4"_s });
        test::ModalWatcher watcher;
        QSignalSpy finished(m_window.get(), &MainWindow::runFinished);
        m_window->convertCommand();
        QTRY_COMPARE(finished.count(), 1);
        QTest::qWait(100);
        QCOMPARE(watcher.seen.contains(u"frmMsg"_s), shown);
        QCOMPARE(state(0), u"Done"_s);
    }
};

QTEST_MAIN(RunBindingTest)
#include "run_binding_test.moc"
