#include "core/convert/output_naming.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;

class OutputNamingTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    void touch(const QString &name, const QByteArray &content = "x")
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QByteArray contentOf(const QString &name)
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void init()
    {
        QDir folder(m_dir.path());
        for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden))
            folder.remove(name);
        for (const QString &name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            QDir(path(name)).removeRecursively();
    }

    void changeExtension_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << u"/out/clip.avi"_s << u"MP3"_s << u"/out/clip.MP3"_s;
        QTest::newRow("dots keep all but the last")
            << u"/out/my.song.avi"_s << u"MP3"_s << u"/out/my.song.MP3"_s;
        QTest::newRow("no extension") << u"/out/clip"_s << u"OGG"_s << u"/out/clip.OGG"_s;
        QTest::newRow("dot in folder only") << u"/out.d/clip"_s << u"WAV"_s << u"/out.d/clip.WAV"_s;
        QTest::newRow("hidden file") << u"/out/.clip"_s << u"MP3"_s << u"/out/.clip.MP3"_s;
        QTest::newRow("root folder") << u"/clip.mkv"_s << u"M4R"_s << u"/clip.M4R"_s;
    }

    void changeExtension()
    {
        QFETCH(QString, path);
        QFETCH(QString, extension);
        QFETCH(QString, expected);
        QCOMPARE(ChangeExtension(path, extension), expected);
    }

    void uniqueNamesCountUp()
    {
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("a.MP3"))), path(QStringLiteral("a.MP3")));
        touch(QStringLiteral("a.MP3"));
        QCOMPARE(
            MakeUniqueFileName(path(QStringLiteral("a.MP3"))), path(QStringLiteral("a_(new).MP3")));
        touch(QStringLiteral("a_(new).MP3"));
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("a.MP3"))),
            path(QStringLiteral("a_(new_1).MP3")));
        touch(QStringLiteral("a_(new_1).MP3"));
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("a.MP3"))),
            path(QStringLiteral("a_(new_2).MP3")));

        touch(QStringLiteral("my.song.MP3"));
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("my.song.MP3"))),
            path(QStringLiteral("my.song_(new).MP3")));
    }

    void uniqueNamesIgnoreCaseAndFolders()
    {
        touch(QStringLiteral("Song.mp3"));
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("song.MP3"))),
            path(QStringLiteral("song_(new).MP3")));

        // Only files make a name taken.
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("b.MP3")));
        QCOMPARE(MakeUniqueFileName(path(QStringLiteral("b.MP3"))), path(QStringLiteral("b.MP3")));

        const QString missing = path(QStringLiteral("no-such-folder/a.MP3"));
        QCOMPARE(MakeUniqueFileName(missing), missing);
    }

    void namesOfOneRunStayApart()
    {
        OutputNameRegistry run;
        touch(QStringLiteral("x.MP3"));
        QCOMPARE(run.claim(path(QStringLiteral("x.MP3"))), path(QStringLiteral("x_(new).MP3")));
        QCOMPARE(run.claim(path(QStringLiteral("X.mp3"))), path(QStringLiteral("X_(new_1).mp3")));
        QCOMPARE(run.claim(path(QStringLiteral("y.MP3"))), path(QStringLiteral("y.MP3")));
        QCOMPARE(run.claim(path(QStringLiteral("y.MP3"))), path(QStringLiteral("y_(new).MP3")));
        run.clear();
        QCOMPARE(run.claim(path(QStringLiteral("y.MP3"))), path(QStringLiteral("y.MP3")));
    }

    void ringtonesAreEncodedUnderAFreeM4aName()
    {
        OutputNameRegistry run;
        touch(QStringLiteral("tone.M4A"));
        const QString final = run.claim(path(QStringLiteral("tone.M4R")));
        QCOMPARE(encoderOutputFileName(final, run), path(QStringLiteral("tone_(new).M4A")));
        // A second row of the same name gets its own intermediate as well.
        const QString second = run.claim(path(QStringLiteral("tone.M4R")));
        QCOMPARE(second, path(QStringLiteral("tone_(new).M4R")));
        QCOMPARE(encoderOutputFileName(second, run), path(QStringLiteral("tone_(new)_(new).M4A")));
        QCOMPARE(encoderOutputFileName(path(QStringLiteral("book.m4b")), run),
            path(QStringLiteral("book.M4A")));
        QCOMPARE(encoderOutputFileName(path(QStringLiteral("song.MP3")), run),
            path(QStringLiteral("song.MP3")));
    }

    void temporaryNameIsHiddenAndKeepsTheExtension()
    {
        const QString temporary = temporaryOutputName(path(QStringLiteral("clip.M4A")));
        QCOMPARE(QFileInfo(temporary).absolutePath(), QFileInfo(m_dir.path()).absoluteFilePath());
        QVERIFY(QFileInfo(temporary).fileName().startsWith(QLatin1Char('.')));
        QVERIFY(temporary.endsWith(QLatin1String(".M4A")));
        QVERIFY(!QFile::exists(temporary));
        QVERIFY(temporaryOutputName(path(QStringLiteral("clip.M4A"))) != temporary);
    }

    // Only our own temporaries whose writer has ended go: not a live process's, not a file
    // that merely looks like one (its check value does not match), not an older kind of name.
    void abandonedTemporariesOnlyGo()
    {
        QProcess writer;
        writer.start(QStringLiteral("sleep"), { QStringLiteral("60") });
        QVERIFY(writer.waitForStarted());
        const QString ours = temporaryOutputName(path(QStringLiteral("a.MP3")));
        const QString theirs
            = temporaryOutputName(path(QStringLiteral("b.MP3")), writer.processId());
        QString forged = QFileInfo(theirs).fileName();
        const qsizetype last = forged.lastIndexOf(QLatin1Char('.')) - 1;
        forged[last] = forged.at(last) == QLatin1Char('0') ? QLatin1Char('1') : QLatin1Char('0');
        const QStringList names { QFileInfo(ours).fileName(), QFileInfo(theirs).fileName(), forged,
            QStringLiteral(".sonivert-0123abcd.MP3") };
        for (const QString &name : names)
            touch(name);

        QCOMPARE(removeAbandonedTemporaries(m_dir.path()), QStringList());
        writer.kill();
        QVERIFY(writer.waitForFinished());
        QCOMPARE(removeAbandonedTemporaries(m_dir.path()), QStringList { theirs });
        for (const QString &name : names)
            QCOMPARE(QFile::exists(path(name)), path(name) != theirs);
    }

    void moveNeverReplaces()
    {
        touch(QStringLiteral(".part.MP3"), "new");
        MoveResult moved = moveWithoutReplacing(
            path(QStringLiteral(".part.MP3")), path(QStringLiteral("c.MP3")));
        QVERIFY(moved.ok);
        QCOMPARE(moved.path, path(QStringLiteral("c.MP3")));
        QCOMPARE(contentOf(QStringLiteral("c.MP3")), QByteArray("new"));
        QVERIFY(!QFile::exists(path(QStringLiteral(".part.MP3"))));

        // The target appeared after it was chosen: the next free name, skipping promised ones.
        touch(QStringLiteral(".part.MP3"), "newer");
        OutputNameRegistry promised;
        promised.reserve(path(QStringLiteral("c_(new).MP3")));
        moved = moveWithoutReplacing(
            path(QStringLiteral(".part.MP3")), path(QStringLiteral("c.MP3")), &promised);
        QVERIFY(moved.ok);
        QCOMPARE(moved.path, path(QStringLiteral("c_(new_1).MP3")));
        QCOMPARE(contentOf(QStringLiteral("c.MP3")), QByteArray("new"));
        QCOMPARE(contentOf(QStringLiteral("c_(new_1).MP3")), QByteArray("newer"));

        moved = moveWithoutReplacing(
            path(QStringLiteral(".gone.MP3")), path(QStringLiteral("d.MP3")));
        QVERIFY(!moved.ok);
        QCOMPARE(moved.message, QStringLiteral("No such file or directory"));
        QVERIFY(!QFile::exists(path(QStringLiteral("d.MP3"))));
    }
};

QTEST_GUILESS_MAIN(OutputNamingTest)
#include "output_naming_test.moc"
