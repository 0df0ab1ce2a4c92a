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
using sonivert::test::makeClip;

class ImportJobTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_clips; // ten short clips, c0.mp4 .. c9.mp4

    QString path(const QString &name) const { return m_dir.filePath(name); }

    static QStringList names(const FileListModel &list)
    {
        QStringList result;
        for (int row = 0; row < list.count(); ++row)
            result << list.getFieldText(row, Field::Name);
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
        QVERIFY(m_dir.isValid());
        ClipOptions options;
        options.seconds = 0.5;
        options.width = 64;
        options.height = 48;
        for (int i = 0; i < 10; ++i) {
            m_clips << path(QStringLiteral("c%1.mp4").arg(i));
            QVERIFY(makeClip(m_clips.last(), options));
        }
        QFile text(path(QStringLiteral("bad.mkv")));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("text");
        text.close();

        // Encrypted, with a header the demuxer refuses as invalid data.
        options.extraOutputArgs = { QStringLiteral("-movflags"), QStringLiteral("+faststart") };
        const QString locked = path(QStringLiteral("locked.mp4"));
        QVERIFY(test::makeEncryptedMp4(locked, options));
        QVERIFY(test::patchMp4Box(locked, "tenc", 15, 3));
    }

    void rowsFollowThePathOrder()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.setMaxParallel(4);
        QStringList paths = m_clips;
        paths.insert(3, path(QStringLiteral("missing.mp4")));
        paths.insert(6, path(QStringLiteral("bad.mkv")));
        paths << m_clips.first(); // duplicates are allowed
        QSignalSpy progress(&job, &ImportJob::progress);
        QSignalSpy settled(&job, &ImportJob::fileSettled);
        job.ImportFiles(paths);
        QVERIFY(job.showsWaitDialog());
        const ImportOutcome outcome = runToEnd(job);

        QStringList expected;
        for (const QString &clip : m_clips)
            expected << QFileInfo(clip).fileName();
        expected << QStringLiteral("c0.mp4");
        QCOMPARE(names(list), expected);
        QCOMPARE(outcome.rowsAdded, 11);
        QCOMPARE(outcome.firstNewRow, 0);
        QVERIFY(!outcome.cancelled);

        QCOMPARE(report.count(), 2);
        QCOMPARE(report.entries().at(0).name, QStringLiteral("missing.mp4"));
        QCOMPARE(report.entries().at(0).message, QStringLiteral("File not found!"));
        QCOMPARE(report.entries().at(1).name, QStringLiteral("bad.mkv"));
        QVERIFY(report.entries().at(1).message.endsWith(
            QLatin1String(": Invalid data found when processing input")));

        QCOMPARE(settled.count(), paths.size());
        for (int i = 0; i < settled.count(); ++i)
            QCOMPARE(settled.at(i).at(0).toInt(), i);
        QCOMPARE(progress.count(), paths.size());
        QCOMPARE(progress.first().at(0).toInt(), 1);
        QCOMPARE(progress.last().at(0).toInt(), paths.size());
        QCOMPARE(progress.last().at(1).toInt(), paths.size());
        QCOMPARE(list.footerCountText(), QStringLiteral(" 11 files"));
        for (int row = 0; row < list.count(); ++row)
            QCOMPARE(list.getRowState(row), RowState::Ready);
    }

    void failedProbesCarryTheirEvidenceAndReadyTheLastRow()
    {
        FileListModel list;
        FailureReport report;
        ImportJob first(&list, &report);
        first.ImportFiles({ m_clips.first() });
        runToEnd(first);
        QCOMPARE(list.count(), 1);
        list.SetRowState(0, true, RowState::Done);

        ImportJob job(&list, &report);
        job.ImportFiles({ path(QStringLiteral("locked.mp4")), path(QStringLiteral("bad.mkv")) });
        runToEnd(job);
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.getRowState(0), RowState::Ready);
        QCOMPARE(report.count(), 2);
        QVERIFY(report.entries().at(0).encrypted);
        QVERIFY(!report.entries().at(1).encrypted);
        QCOMPARE(ShowFailureReport(report, QStringLiteral("Failed"), QString()).title,
            QStringLiteral("DRM Protection"));
    }

    void cancelKeepsTheFileBeingProbed()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.setMaxParallel(3);
        // Cancel while the counter shows file 3 of 10.
        connect(&job, &ImportJob::progress, &job, [&job](int current, int) {
            if (current == 3)
                job.cancel();
        });
        job.ImportFiles(m_clips);
        const ImportOutcome outcome = runToEnd(job);
        QVERIFY(outcome.cancelled);
        QCOMPARE(names(list),
            (QStringList {
                QStringLiteral("c0.mp4"), QStringLiteral("c1.mp4"), QStringLiteral("c2.mp4") }));
        QVERIFY(report.isEmpty());
        QCOMPARE(list.footerCountText(), QStringLiteral(" 3 files"));
        // Results still arriving after the end change nothing.
        QTest::qWait(200);
        QCOMPARE(list.count(), 3);
    }

    void cancelBeforeTheFirstResultKeepsTheFirstFile()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.ImportFiles(m_clips);
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
        QVERIFY(!job.showsWaitDialog());
        const ImportOutcome outcome = runToEnd(job);
        QCOMPARE(outcome.rowsAdded, 0);
        QCOMPARE(outcome.firstNewRow, -1);
        QCOMPARE(report.count(), 1);
        QVERIFY(
            report.entries().at(0).message.endsWith(QLatin1String(": No such file or directory")));
        QCOMPARE(list.footerCountText(), QStringLiteral(" 0 file"));
    }

    void droppedFilesCountFromZeroAndReportRefusedOnes()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        QSignalSpy progress(&job, &ImportJob::progress);
        job.ImportDroppedFiles(
            { m_clips.at(0), m_clips.at(1) }, { path(QStringLiteral("notes.txt")) });
        runToEnd(job);
        QCOMPARE(list.count(), 2);
        QCOMPARE(progress.first().at(0).toInt(), 0);
        QCOMPARE(progress.first().at(1).toInt(), 2);
        QCOMPARE(report.count(), 1);
        QCOMPARE(report.entries().at(0).name, QStringLiteral("notes.txt"));
        QCOMPARE(report.entries().at(0).message, QStringLiteral("File format not supported!"));
    }

    void nothingToImportStillFinishes()
    {
        FileListModel list;
        FailureReport report;
        ImportJob job(&list, &report);
        job.ImportDroppedFiles({}, { path(QStringLiteral("a.txt")) });
        const ImportOutcome outcome = runToEnd(job);
        QCOMPARE(outcome.rowsAdded, 0);
        QCOMPARE(report.count(), 1);
    }

    void destroyingARunningJobIsSafe()
    {
        FileListModel list;
        FailureReport report;
        {
            ImportJob job(&list, &report);
            job.ImportFiles(m_clips);
        }
        QTest::qWait(50);
        QVERIFY(list.count() <= m_clips.size());
    }

    void extensionsAndFilters()
    {
        QVERIFY(isSupportedExtension(QStringLiteral("mkv")));
        QVERIFY(isSupportedExtension(QStringLiteral("MKV")));
        QVERIFY(isSupportedExtension(QStringLiteral("dvr-ms")));
        QVERIFY(isSupportedExtension(QStringLiteral("fli")));
        QVERIFY(!isSupportedExtension(QStringLiteral("txt")));
        QVERIFY(!isSupportedExtension(QString()));
        QVERIFY(!isSupportedExtension(QStringLiteral("mkv|mp4")));
        QVERIFY(isSupportedFile(QStringLiteral("/x/Clip.Mp4")));
        QVERIFY(!isSupportedFile(QStringLiteral("/x/mp4")));

        const QStringList filters = importDialogFilters();
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
        const QString folder = rememberInputFolder(m_clips.first(), key);
        QCOMPARE(folder, m_dir.path() + QLatin1Char('/'));
        QCOMPARE(RegReadText(key, QStringLiteral("InputPath")), folder);
    }
};

QTEST_GUILESS_MAIN(ImportJobTest)
#include "import_job_test.moc"
