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
using sonivert::test::makeClip;

class MediaDialogsTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_clips;

    static frmWait *waitDialogOf(QWidget *owner) { return owner->findChild<frmWait *>(); }

private slots:
    void initTestCase()
    {
        QLocale::setDefault(QLocale::c());
        QVERIFY(m_dir.isValid());
        ClipOptions options;
        options.seconds = 0.5;
        options.width = 64;
        options.height = 48;
        for (int i = 0; i < 6; ++i) {
            m_clips << m_dir.filePath(QStringLiteral("w%1.mp4").arg(i));
            QVERIFY(makeClip(m_clips.last(), options));
        }
    }

    void waitDialogCountsAndClosesAtTheEnd()
    {
        QWidget owner;
        owner.show();
        FileListModel list;
        FailureReport report;
        ImportJob *job = startImport(&owner, &list, &report, m_clips);
        QSignalSpy finished(job, &ImportJob::finished);
        frmWait *wait = waitDialogOf(&owner);
        QVERIFY(wait);
        QVERIFY(wait->isVisible());
        QCOMPARE(wait->windowModality(), Qt::WindowModal);
        QCOMPARE(wait->barMaximum(), 6);
        QStringList counters;
        connect(job, &ImportJob::progress, wait, [&] { counters << wait->counterText(); });
        QVERIFY(finished.wait(30000));
        QCOMPARE(counters.first(), QStringLiteral("1 of 6 files"));
        QCOMPARE(counters.last(), QStringLiteral("6 of 6 files"));
        QCOMPARE(wait->fileText(), QStringLiteral("w5.mp4"));
        QCOMPARE(wait->barValue(), 6);
        QTRY_VERIFY(!waitDialogOf(&owner)); // closed and deleted
        QCOMPARE(list.count(), 6);
    }

    void closeBoxCancelsAndKeepsTheDialogOpen()
    {
        QWidget owner;
        owner.show();
        FileListModel list;
        FailureReport report;
        ImportJob *job = startImport(&owner, &list, &report, m_clips);
        QSignalSpy finished(job, &ImportJob::finished);
        frmWait *wait = waitDialogOf(&owner);
        QVERIFY(wait);
        QVERIFY(!wait->close());
        QVERIFY(wait->isVisible());
        QVERIFY(job->isCancelled());
        QVERIFY(finished.wait(30000));
        QVERIFY(finished.first().at(0).value<ImportOutcome>().cancelled);
        QVERIFY(list.count() < m_clips.size());
        QTRY_VERIFY(!waitDialogOf(&owner));
    }

    void oneFileShowsNoWaitDialog()
    {
        QWidget owner;
        FileListModel list;
        FailureReport report;
        ImportJob *job = startImport(&owner, &list, &report, { m_clips.first() });
        QSignalSpy finished(job, &ImportJob::finished);
        QVERIFY(!waitDialogOf(&owner));
        QVERIFY(finished.wait(30000));
        QCOMPARE(list.count(), 1);
    }

    void infoLabelsGreyOutMissingValues()
    {
        QLabel available;
        QLabel missing;
        showInfoText(&available, InfoText { QStringLiteral("48000 Hz"), true });
        showInfoText(&missing, InfoText { QStringLiteral("Not Available"), false });
        QCOMPARE(missing.text(), QStringLiteral("Not Available"));
        QVERIFY(missing.palette().color(QPalette::WindowText)
            != available.palette().color(QPalette::WindowText));
        // Shown again as available, the grey goes away.
        showInfoText(&missing, InfoText { QStringLiteral("2 Channels (Stereo)"), true });
        QCOMPARE(missing.palette().color(QPalette::WindowText),
            available.palette().color(QPalette::WindowText));
    }

    void propertiesDialogFillsItself()
    {
        const ProbeResult probe = probeMediaFile(m_clips.first());
        QVERIFY(probe.ok);
        frmProperties dialog(probe.item);
        QCOMPARE(dialog.objectName(), QStringLiteral("frmProperties"));
        QCOMPARE(dialog.filePath(), m_clips.first());
        QCOMPARE(
            dialog.findChild<QLineEdit *>(QStringLiteral("Txt_FileName"))->text(), m_clips.first());
        QCOMPARE(dialog.infoLabel(0)->text(), QStringLiteral("w0"));
        QCOMPARE(dialog.infoLabel(1)->text(), QStringLiteral("MP4"));
        QVERIFY(dialog.infoLabel(3)->text().endsWith(QLatin1String(" bytes)")));
        QCOMPARE(dialog.infoLabel(7)->text(), QStringLiteral("Normal"));
        QCOMPARE(dialog.infoLabel(9)->text(), QStringLiteral("64 x 48 pixels"));
        QCOMPARE(dialog.infoLabel(12)->text(), QStringLiteral("1.33:1 - (4:3)"));
        QCOMPARE(dialog.infoLabel(17)->text(), QStringLiteral("2 Channels (Stereo)"));
        QCOMPARE(dialog.infoLabel(19)->text(), QStringLiteral("Not Available"));
        QVERIFY(dialog.findChild<QPushButton *>(QStringLiteral("Cmd_Properties_1")));
    }

    // A file of two tracks: the dialog says which one its audio facts describe.
    void propertiesDescribeTheChosenTrack()
    {
        const QString file = m_dir.filePath(QStringLiteral("tracks.mka"));
        QVERIFY(sonivert::test::runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"),
            QStringLiteral("-i"), QStringLiteral("sine=sample_rate=48000"), QStringLiteral("-f"),
            QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=sample_rate=22050"),
            QStringLiteral("-t"), QStringLiteral("0.3"), QStringLiteral("-map"),
            QStringLiteral("0:a"), QStringLiteral("-map"), QStringLiteral("1:a"),
            QStringLiteral("-metadata:s:a:1"), QStringLiteral("language=deu"), file }));
        FileListModel list;
        ProbeResult probe = probeMediaFile(file);
        QVERIFY(probe.ok);
        list.appendMediaItem(probe.item);
        {
            frmProperties dialog(list.item(0));
            QVERIFY(dialog.findChild<QLabel *>(QStringLiteral("lbl_Titles_13"))
                        ->text()
                        .startsWith(QStringLiteral("Audio - Track 1: ")));
        }
        QVERIFY(list.chooseAudioTrack(0, 2));
        frmProperties dialog(list.item(0));
        QVERIFY(dialog.findChild<QLabel *>(QStringLiteral("lbl_Titles_13"))
                    ->text()
                    .startsWith(QStringLiteral("Audio - Track 2: deu, ")));
        QCOMPARE(dialog.infoLabel(16)->text(), QStringLiteral("22050 Hz"));
    }

    void propertiesOfAVanishedFileStopAtItsFacts()
    {
        const QString file = m_dir.filePath(QStringLiteral("gone.mp4"));
        QVERIFY(QFile::copy(m_clips.first(), file));
        const ProbeResult probe = probeMediaFile(file);
        QVERIFY(probe.ok);
        QVERIFY(QFile::remove(file));

        frmProperties dialog(probe.item);
        QCOMPARE(dialog.filePath(), file);
        QCOMPARE(dialog.infoLabel(0)->text(), QStringLiteral("gone"));
        QCOMPARE(dialog.infoLabel(1)->text(), QStringLiteral("MP4"));
        // The probed facts are known, but the dialog never got as far as them.
        for (int i : { 2, 3, 7, 8, 9, 12, 17, 19 })
            QVERIFY2(dialog.infoLabel(i)->text().isEmpty(), qPrintable(QString::number(i)));
    }
};

QTEST_MAIN(MediaDialogsTest)
#include "media_dialogs_test.moc"
