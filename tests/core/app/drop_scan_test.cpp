#include "core/app/drop_scan.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

const QString kExtensions = QStringLiteral("|avi|mkv|mp4|");

bool touch(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly);
}

} // namespace

class DropScanTest : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    QString path(const QString &relative) const { return m_dir.filePath(relative); }

private slots:
    void scanOrderIsCaseInsensitiveDepthFirstWithDotFiles()
    {
        const QString root = path(QStringLiteral("order"));
        const QStringList files {
            QStringLiteral("order/.hidden.mp4"),
            QStringLiteral("order/a.txt"),
            QStringLiteral("order/B/.x/deep.mkv"),
            QStringLiteral("order/B/inner.avi"),
            QStringLiteral("order/c.MP4"),
            QStringLiteral("order/D.avi"),
        };
        for (const QString &file : files)
            QVERIFY(touch(path(file)));
        QVERIFY(QDir().mkpath(path(QStringLiteral("order/empty"))));

        QStringList found;
        QStringList reported;
        QList<int> counts;
        const int added = scanFolder(root, found, [&](const QString &file, int total) {
            reported.append(file);
            counts.append(total);
        });

        QStringList expected;
        for (const QString &file : files)
            expected.append(path(file));
        QCOMPARE(found, expected);
        QCOMPARE(added, 6);
        QCOMPARE(reported, expected);
        QCOMPARE(counts, (QList<int> { 1, 2, 3, 4, 5, 6 }));

        // A trailing separator gives the same paths, not doubled ones.
        QStringList again { QStringLiteral("earlier") };
        QCOMPARE(scanFolder(root + QLatin1Char('/'), again), 6);
        QCOMPARE(again.mid(1), expected);
    }

    void linkedFoldersAreNotFollowed()
    {
        const QString root = path(QStringLiteral("links"));
        QVERIFY(touch(path(QStringLiteral("links/real/one.mp4"))));
        QVERIFY(touch(path(QStringLiteral("outside/two.mp4"))));
        QVERIFY(
            QFile::link(path(QStringLiteral("outside")), path(QStringLiteral("links/to-outside"))));
        // A link back up would loop for ever if followed.
        QVERIFY(QFile::link(root, path(QStringLiteral("links/real/loop"))));

        QStringList found;
        scanFolder(root, found);
        QCOMPARE(found,
            (QStringList { path(QStringLiteral("links/real/loop")),
                path(QStringLiteral("links/real/one.mp4")),
                path(QStringLiteral("links/to-outside")) }));

        // Dropped by itself, the link is what the person chose: it is scanned.
        const QStringList dropped
            = collectDroppedFiles({ path(QStringLiteral("links/to-outside")) });
        QCOMPARE(dropped, (QStringList { path(QStringLiteral("links/to-outside/two.mp4")) }));
    }

    void nestedFolderDropAcceptsSupportedFilesLastFoundFirst()
    {
        QVERIFY(touch(path(QStringLiteral("drop/a/one.mp4"))));
        QVERIFY(touch(path(QStringLiteral("drop/a/b/two.MKV"))));
        QVERIFY(touch(path(QStringLiteral("drop/c/d/e/three.avi"))));
        QVERIFY(touch(path(QStringLiteral("drop/c/notes.txt"))));
        QVERIFY(touch(path(QStringLiteral("loose.avi"))));

        QStringList items;
        const QStringList found = collectDroppedFiles(
            { path(QStringLiteral("drop")), path(QStringLiteral("loose.avi")) },
            [&](const QString &item) { items.append(item); });
        QCOMPARE(items,
            (QStringList { path(QStringLiteral("drop")), path(QStringLiteral("loose.avi")) }));
        QCOMPARE(found.size(), 5);

        const DropPartition partition = partitionDroppedFiles(found, kExtensions);
        QCOMPARE(partition.accepted,
            (QStringList { path(QStringLiteral("loose.avi")),
                path(QStringLiteral("drop/c/d/e/three.avi")),
                path(QStringLiteral("drop/a/one.mp4")),
                path(QStringLiteral("drop/a/b/two.MKV")) }));
        // Something usable came with the drop, so the text file is not worth a report.
        QVERIFY(partition.refused.isEmpty());
    }

    void unsupportedOnlyDropKeepsTheRefusedInOrder()
    {
        const QStringList found { QStringLiteral("/x/readme.txt"), QStringLiteral("/x/noext"),
            QStringLiteral("/x/song.mp3") };
        const DropPartition partition = partitionDroppedFiles(found, kExtensions);
        QVERIFY(partition.accepted.isEmpty());
        QCOMPARE(partition.refused, found);
        QVERIFY(partitionDroppedFiles({}, kExtensions).refused.isEmpty());
    }

    void scannerDeliversProgressAndResultOnTheCallersThread()
    {
        for (int i = 0; i < 300; ++i)
            QVERIFY(touch(path(
                QStringLiteral("many/%1/f%2.mp4").arg(i % 7).arg(i, 3, 10, QLatin1Char('0')))));
        QVERIFY(touch(path(QStringLiteral("single.mkv"))));

        DropScanner scanner;
        QSignalSpy items(&scanner, &DropScanner::itemStarted);
        QSignalSpy progress(&scanner, &DropScanner::progress);
        QSignalSpy finished(&scanner, &DropScanner::finished);
        const QStringList dropped { path(QStringLiteral("many")),
            path(QStringLiteral("single.mkv")) };
        QVERIFY(scanner.start(dropped));
        QVERIFY(scanner.isRunning());
        QVERIFY(!scanner.start(dropped));
        QVERIFY(finished.wait(30000));
        QVERIFY(!scanner.isRunning());

        const QStringList found = finished.first().first().toStringList();
        QCOMPARE(found, collectDroppedFiles(dropped));
        QCOMPARE(found.size(), 301);
        QCOMPARE(items.size(), 2);
        QCOMPARE(items.at(1).first().toString(), path(QStringLiteral("single.mkv")));
        QVERIFY(!progress.isEmpty());
        QCOMPARE(progress.last().at(1).toInt(), 300);

        // It can be used again once done.
        QVERIFY(scanner.start({ path(QStringLiteral("single.mkv")) }));
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.last().first().toStringList(),
            QStringList { path(QStringLiteral("single.mkv")) });
    }
};

QTEST_GUILESS_MAIN(DropScanTest)
#include "drop_scan_test.moc"
