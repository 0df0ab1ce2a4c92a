#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/import_job.h"
#include "core/media/probe.h"
#include "gui/media/frm_properties.h"
#include "gui/media/frm_wait.h"
#include "gui/media/import_runner.h"
#include "gui/media/info_labels.h"
#include "support/media_maker.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using sonivert::test::ClipOptions;
using sonivert::test::MakeClip;

class MediaDialogsTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir_;
    QStringList clips_;

    static frmWait *waitDialogOf(QWidget *owner) { return owner->findChild<frmWait *>(); }

private slots:
    void initTestCase()
    {
        QLocale::setDefault(QLocale::c());
        QVERIFY(dir_.isValid());
        ClipOptions options;
        options.seconds = 0.5;
        options.width = 64;
        options.height = 48;
        for (int i = 0; i < 6; ++i) {
            clips_ << dir_.filePath(QStringLiteral("w%1.mp4").arg(i));
            QVERIFY(MakeClip(clips_.last(), options));
        }
    }

    void waitDialogCountsAndClosesAtTheEnd()
    {
        QWidget owner;
        owner.show();
        FileListModel list;
        FailureReport report;
        ImportJob *job = StartImport(&owner, &list, &report, clips_);
        QSignalSpy finished(job, &ImportJob::finished);
        frmWait *wait = waitDialogOf(&owner);
        QVERIFY(wait);
        QVERIFY(wait->isVisible());
        QCOMPARE(wait->windowModality(), Qt::WindowModal);
        QCOMPARE(wait->BarMaximum(), 6);
        QStringList counters;
        connect(job, &ImportJob::progress, wait, [&] { counters << wait->CounterText(); });
        QVERIFY(finished.wait(30000));
        QCOMPARE(counters.first(), QStringLiteral("1 of 6 files"));
        QCOMPARE(counters.last(), QStringLiteral("6 of 6 files"));
        QCOMPARE(wait->FileText(), QStringLiteral("w5.mp4"));
        QCOMPARE(wait->BarValue(), 6);
        QTRY_VERIFY(!waitDialogOf(&owner)); // closed and deleted
        QCOMPARE(list.Count(), 6);
    }

    void closeBoxCancelsAndKeepsTheDialogOpen()
    {
        QWidget owner;
        owner.show();
        FileListModel list;
        FailureReport report;
        ImportJob *job = StartImport(&owner, &list, &report, clips_);
        QSignalSpy finished(job, &ImportJob::finished);
        frmWait *wait = waitDialogOf(&owner);
        QVERIFY(wait);
        QVERIFY(!wait->close());
        QVERIFY(wait->isVisible());
        QVERIFY(job->IsCancelled());
        QVERIFY(finished.wait(30000));
        QVERIFY(finished.first().at(0).value<ImportOutcome>().cancelled);
        QVERIFY(list.Count() < clips_.size());
        QTRY_VERIFY(!waitDialogOf(&owner));
    }

    void oneFileShowsNoWaitDialog()
    {
        QWidget owner;
        FileListModel list;
        FailureReport report;
        ImportJob *job = StartImport(&owner, &list, &report, { clips_.first() });
        QSignalSpy finished(job, &ImportJob::finished);
        QVERIFY(!waitDialogOf(&owner));
        QVERIFY(finished.wait(30000));
        QCOMPARE(list.Count(), 1);
    }

    void infoLabelsGreyOutMissingValues()
    {
        QLabel available;
        QLabel missing;
        ShowInfoText(&available, InfoText { QStringLiteral("48000 Hz"), true });
        ShowInfoText(&missing, InfoText { QStringLiteral("Not Available"), false });
        QCOMPARE(missing.text(), QStringLiteral("Not Available"));
        QVERIFY(missing.palette().color(QPalette::WindowText)
            != available.palette().color(QPalette::WindowText));
        // Shown again as available, the grey goes away.
        ShowInfoText(&missing, InfoText { QStringLiteral("2 Channels (Stereo)"), true });
        QCOMPARE(missing.palette().color(QPalette::WindowText),
            available.palette().color(QPalette::WindowText));
    }

    void propertiesDialogFillsItself()
    {
        const ProbeResult probe = ProbeMediaFile(clips_.first());
        QVERIFY(probe.ok);
        frmProperties dialog(probe.item);
        QCOMPARE(dialog.objectName(), QStringLiteral("frmProperties"));
        QCOMPARE(dialog.FilePath(), clips_.first());
        QCOMPARE(
            dialog.findChild<QLineEdit *>(QStringLiteral("Txt_FileName"))->text(), clips_.first());
        QCOMPARE(dialog.InfoLabel(0)->text(), QStringLiteral("w0"));
        QCOMPARE(dialog.InfoLabel(1)->text(), QStringLiteral("MP4"));
        QVERIFY(dialog.InfoLabel(3)->text().endsWith(QLatin1String(" bytes)")));
        QCOMPARE(dialog.InfoLabel(7)->text(), QStringLiteral("Normal"));
        QCOMPARE(dialog.InfoLabel(9)->text(), QStringLiteral("64 x 48 pixels"));
        QCOMPARE(dialog.InfoLabel(12)->text(), QStringLiteral("1.33:1 - (4:3)"));
        QCOMPARE(dialog.InfoLabel(17)->text(), QStringLiteral("2 Channels (Stereo)"));
        QCOMPARE(dialog.InfoLabel(19)->text(), QStringLiteral("Not Available"));
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("Cmd_Properties_1")));
    }

    void propertiesOfAVanishedFileStopAtItsFacts()
    {
        const QString file = dir_.filePath(QStringLiteral("gone.mp4"));
        QVERIFY(QFile::copy(clips_.first(), file));
        const ProbeResult probe = ProbeMediaFile(file);
        QVERIFY(probe.ok);
        QVERIFY(QFile::remove(file));

        frmProperties dialog(probe.item);
        QCOMPARE(dialog.FilePath(), file);
        QCOMPARE(dialog.InfoLabel(0)->text(), QStringLiteral("gone"));
        QCOMPARE(dialog.InfoLabel(1)->text(), QStringLiteral("MP4"));
        // The probed facts are known, but the dialog never got as far as them.
        for (int i : { 2, 3, 7, 8, 9, 12, 17, 19 })
            QVERIFY2(dialog.InfoLabel(i)->text().isEmpty(), qPrintable(QString::number(i)));
    }
};

QTEST_MAIN(MediaDialogsTest)
#include "media_dialogs_test.moc"
