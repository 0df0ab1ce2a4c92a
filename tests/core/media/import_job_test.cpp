#include "core/app/settings_store.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/import_job.h"
#include "core/media/import_rules.h"
#include "support/media_maker.h"
#include "support/protected_media.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using sonivert::test::ClipOptions;
using sonivert::test::MakeClip;

class ImportJobTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir_;
    QStringList clips_; // ten short clips, c0.mp4 .. c9.mp4

    QString path(const QString &name) const { return dir_.filePath(name); }

    static QStringList names(const FileListModel &list)
    {
        QStringList result;
        for (int row = 0; row < list.Count(); ++row)
            result << list.GetFieldText(row, Field::Name);
        return result;
    }

    static ImportOutcome runToEnd(ImportJob &job)
    {
        QSignalSpy finished(&job, &ImportJob::finished);
        if (finished.isEmpty())
            finished.wait(60000);
        return finished.isEmpty() ? ImportOutcome() : finished.first().at(0).value<ImportOutcome>();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        ClipOptions options;
        options.seconds = 0.5;
        options.width = 64;
        options.height = 48;
        for (int i = 0; i < 10; ++i) {
            clips_ << path(QStringLiteral("c%1.mp4").arg(i));
            QVERIFY(MakeClip(clips_.last(), options));
        }
        QFile text(path(QStringLiteral("bad.mkv")));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("text");
        text.close();

        // Encrypted, with a header the demuxer refuses as invalid data.
        options.extraOutputArgs = { QStringLiteral("-movflags"), QStringLiteral("+faststart") };
        const QString locked = path(QStringLiteral("locked.mp4"));
        QVERIFY(test::MakeEncryptedMp4(locked, options));
        QVERIFY(test::PatchMp4Box(locked, "tenc", 15, 3));
    }

    void rowsFollowThePathOrder()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.SetMaxParallel(4);
        QStringList paths = clips_;
        paths.insert(3, path(QStringLiteral("missing.mp4")));
        paths.insert(6, path(QStringLiteral("bad.mkv")));
        paths << clips_.first(); // duplicates are allowed
        QSignalSpy progress(&job, &ImportJob::progress);
        QSignalSpy settled(&job, &ImportJob::fileSettled);
        job.ImportFiles(paths);
        QVERIFY(job.ShowsWaitDialog());
        const ImportOutcome outcome = runToEnd(job);

        QStringList expected;
        for (const QString &clip : clips_)
            expected << QFileInfo(clip).fileName();
        expected << QStringLiteral("c0.mp4");
        QCOMPARE(names(list), expected);
        QCOMPARE(outcome.rowsAdded, 11);
        QCOMPARE(outcome.firstNewRow, 0);
        QVERIFY(!outcome.cancelled);

        QCOMPARE(report.Count(), 2);
        QCOMPARE(report.Entries().at(0).name, QStringLiteral("missing.mp4"));
        QCOMPARE(report.Entries().at(0).message, QStringLiteral("File not found!"));
        QCOMPARE(report.Entries().at(1).name, QStringLiteral("bad.mkv"));
        QVERIFY(report.Entries().at(1).message.endsWith(
            QLatin1String(": Invalid data found when processing input")));

        QCOMPARE(settled.count(), paths.size());
        for (int i = 0; i < settled.count(); ++i)
            QCOMPARE(settled.at(i).at(0).toInt(), i);
        QCOMPARE(progress.count(), paths.size());
        QCOMPARE(progress.first().at(0).toInt(), 1);
        QCOMPARE(progress.last().at(0).toInt(), paths.size());
        QCOMPARE(progress.last().at(1).toInt(), paths.size());
        QCOMPARE(list.FooterCountText(), QStringLiteral(" 11 files"));
        for (int row = 0; row < list.Count(); ++row)
            QCOMPARE(list.GetRowState(row), RowState::Ready);
    }

    void failedProbesCarryTheirEvidenceAndReadyTheLastRow()
    {
        FileListModel list;
        FailureReport report;
        ImportJob first(&list, &report);
        first.ImportFiles({ clips_.first() });
        runToEnd(first);
        QCOMPARE(list.Count(), 1);
        list.SetRowState(0, true, RowState::Done);

        ImportJob job(&list, &report);
        job.ImportFiles({ path(QStringLiteral("locked.mp4")), path(QStringLiteral("bad.mkv")) });
        runToEnd(job);
        QCOMPARE(list.Count(), 1);
        QCOMPARE(list.GetRowState(0), RowState::Ready);
        QCOMPARE(report.Count(), 2);
        QVERIFY(report.Entries().at(0).encrypted);
        QVERIFY(!report.Entries().at(1).encrypted);
        QCOMPARE(ShowFailureReport(report, QStringLiteral("Failed"), QString()).title,
            QStringLiteral("DRM Protection"));
    }

    void cancelKeepsTheFileBeingProbed()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.SetMaxParallel(3);
        // Cancel while the counter shows file 3 of 10.
        connect(&job, &ImportJob::progress, &job, [&job](int current, int) {
            if (current == 3)
                job.cancel();
        });
        job.ImportFiles(clips_);
        const ImportOutcome outcome = runToEnd(job);
        QVERIFY(outcome.cancelled);
        QCOMPARE(names(list),
            (QStringList {
                QStringLiteral("c0.mp4"), QStringLiteral("c1.mp4"), QStringLiteral("c2.mp4") }));
        QVERIFY(report.IsEmpty());
        QCOMPARE(list.FooterCountText(), QStringLiteral(" 3 files"));
        // Results still arriving after the end change nothing.
        QTest::qWait(200);
        QCOMPARE(list.Count(), 3);
    }

    void cancelBeforeTheFirstResultKeepsTheFirstFile()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.ImportFiles(clips_);
        job.cancel();
        const ImportOutcome outcome = runToEnd(job);
        QVERIFY(outcome.cancelled);
        QCOMPARE(names(list), QStringList { QStringLiteral("c0.mp4") });
    }

    void singleFileIsProbedWithoutExistenceTest()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.ImportFiles({ QStringLiteral("  ") + path(QStringLiteral("gone.mp4")) });
        QVERIFY(!job.ShowsWaitDialog());
        const ImportOutcome outcome = runToEnd(job);
        QCOMPARE(outcome.rowsAdded, 0);
        QCOMPARE(outcome.firstNewRow, -1);
        QCOMPARE(report.Count(), 1);
        QVERIFY(
            report.Entries().at(0).message.endsWith(QLatin1String(": No such file or directory")));
        QCOMPARE(list.FooterCountText(), QStringLiteral(" 0 file"));
    }

    void droppedFilesCountFromZeroAndReportRefusedOnes()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        QSignalSpy progress(&job, &ImportJob::progress);
        job.ImportDroppedFiles(
            { clips_.at(0), clips_.at(1) }, { path(QStringLiteral("notes.txt")) });
        runToEnd(job);
        QCOMPARE(list.Count(), 2);
        QCOMPARE(progress.first().at(0).toInt(), 0);
        QCOMPARE(progress.first().at(1).toInt(), 2);
        QCOMPARE(report.Count(), 1);
        QCOMPARE(report.Entries().at(0).name, QStringLiteral("notes.txt"));
        QCOMPARE(report.Entries().at(0).message, QStringLiteral("File format not supported!"));
    }

    void nothingToImportStillFinishes()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.ImportDroppedFiles({}, { path(QStringLiteral("a.txt")) });
        const ImportOutcome outcome = runToEnd(job);
        QCOMPARE(outcome.rowsAdded, 0);
        QCOMPARE(report.Count(), 1);
    }

    void destroyingARunningJobIsSafe()
    {
        FileListModel list;
        FailureReport report;
        {
            ImportJob job(&list, &report);
            job.ImportFiles(clips_);
        }
        QTest::qWait(50);
        QVERIFY(list.Count() <= clips_.size());
    }

    void extensionsAndFilters()
    {
        QVERIFY(IsSupportedExtension(QStringLiteral("mkv")));
        QVERIFY(IsSupportedExtension(QStringLiteral("MKV")));
        QVERIFY(IsSupportedExtension(QStringLiteral("dvr-ms")));
        QVERIFY(IsSupportedExtension(QStringLiteral("fli")));
        QVERIFY(!IsSupportedExtension(QStringLiteral("txt")));
        QVERIFY(!IsSupportedExtension(QString()));
        QVERIFY(!IsSupportedExtension(QStringLiteral("mkv|mp4")));
        QVERIFY(IsSupportedFile(QStringLiteral("/x/Clip.Mp4")));
        QVERIFY(!IsSupportedFile(QStringLiteral("/x/mp4")));

        const QStringList filters = ImportDialogFilters();
        QCOMPARE(filters.size(), 27);
        QVERIFY(filters.first().startsWith(QLatin1String("All Video Files (*.3gp *.3gpp ")));
        QVERIFY(filters.first().contains(QLatin1String(" *.WEBM)")));
        QCOMPARE(
            filters.at(1), QStringLiteral("3GPP Files (*.3gp;*.3gpp) (*.3gp *.3gpp *.3GP *.3GPP)"));
        QCOMPARE(filters.last(), QStringLiteral("WebM Files (*.webm) (*.webm *.WEBM)"));
        for (const QString &filter : filters)
            QVERIFY2(!filter.contains(QLatin1String("*.fli")), qPrintable(filter));
    }

    void inputFolderIsRemembered()
    {
        const QString key = QStringLiteral("Software/Corvallo/SonivertTest");
        const QString folder = RememberInputFolder(clips_.first(), key);
        QCOMPARE(folder, dir_.path() + QLatin1Char('/'));
        QCOMPARE(RegReadText(key, QStringLiteral("InputPath")), folder);
    }
};

QTEST_GUILESS_MAIN(ImportJobTest)
#include "import_job_test.moc"
