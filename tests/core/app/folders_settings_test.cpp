#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/app/settings_store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <unistd.h>

using namespace sonivert;
using namespace Qt::StringLiterals;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/SonivertTest");

QString home()
{
    return QDir::homePath();
}

void removeUserFolders()
{
    for (const char *name : { "Music", "Documents", "Desktop" })
        QDir(home() + QLatin1Char('/') + QLatin1String(name)).removeRecursively();
}

QString makeUserFolder(const char *name)
{
    const QString path = home() + QLatin1Char('/') + QLatin1String(name);
    QDir().mkpath(path);
    return path + QLatin1Char('/');
}

} // namespace

class FoldersSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // Each test runs with a home folder of its own (see the test harness), never the real one.
        QVERIFY(home().contains(QLatin1String("test-env")));
        QFile::remove(settingsFilePath(Key));
        removeUserFolders();
    }

    void settingsRoundTrip_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("one character") << "x";
        QTest::newRow("empty") << "";
        QTest::newRow("blanks kept") << "  padded  ";
        QTest::newRow("INI syntax characters") << "a=b; c, d [e] \"f\" #g";
        QTest::newRow("path") << "/home/me/Music/";
        QTest::newRow("non-ASCII") << QStringLiteral("Müsik/音楽");
        QTest::newRow("line break") << "first\nsecond";
        QTest::newRow("looks like a list") << "a,b,c";
    }
    void settingsRoundTrip()
    {
        QFETCH(QString, text);
        QVERIFY(RegWriteText(Key, QStringLiteral("OutputPath"), text));
        QCOMPARE(RegReadText(Key, QStringLiteral("OutputPath")), text);
        // Several at once, each exactly as given; a nameless one is refused, the others kept.
        QVERIFY(
            RegWriteTexts(Key, { { QStringLiteral("A"), text }, { QStringLiteral("B"), u"b"_s } }));
        QCOMPARE(RegReadText(Key, QStringLiteral("A")), text);
        QCOMPARE(RegReadText(Key, QStringLiteral("B")), u"b"_s);
        QVERIFY(!RegWriteTexts(Key, { { QString(), u"x"_s }, { QStringLiteral("B"), text } }));
        QCOMPARE(RegReadText(Key, QStringLiteral("B")), text);
    }

    // The stall time-out is read from the settings file; nonsense and values under a second
    // leave the default.
    void stallTimeoutSetting_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("seconds");
        QTest::newRow("unset") << "" << 120.0;
        QTest::newRow("set") << "30" << 30.0;
        QTest::newRow("fraction") << "2.5" << 2.5;
        QTest::newRow("too short") << "0.5" << 120.0;
        QTest::newRow("not a number") << "soon" << 120.0;
    }
    void stallTimeoutSetting()
    {
        QFETCH(QString, text);
        QFETCH(double, seconds);
        if (!text.isEmpty())
            QVERIFY(RegWriteText(Key, QStringLiteral("StallTimeout"), text));
        QCOMPARE(RunOptions(Key).stallSeconds(), seconds);
    }

    void readingAMissingKeyCreatesNothing()
    {
        QCOMPARE(RegReadText(Key, QStringLiteral("InputPath")), QString());
        QVERIFY(!QFileInfo::exists(settingsFilePath(Key)));
        QVERIFY(RegWriteText(Key, QStringLiteral("Other"), QStringLiteral("1")));
        QCOMPARE(RegReadText(Key, QStringLiteral("InputPath")), QString());
    }

    void anUnreadableSettingsFileReadsEmpty()
    {
        // A folder where the file should be: nothing can be read or written, and nothing breaks.
        QDir().mkpath(settingsFilePath(Key));
        QCOMPARE(RegReadText(Key, QStringLiteral("OutputPath")), QString());
        QVERIFY(!RegWriteText(Key, QStringLiteral("OutputPath"), QStringLiteral("x")));
        QDir(settingsFilePath(Key)).removeRecursively();
    }

    void booleanTexts()
    {
        QVERIFY(textToBool(QStringLiteral(" TRUE "), false));
        QVERIFY(!textToBool(QStringLiteral("False"), true));
        QVERIFY(textToBool(QStringLiteral("-1"), false));
        QVERIFY(!textToBool(QStringLiteral("0"), true));
        QVERIFY(textToBool(QString(), true));
        QVERIFY(!textToBool(QStringLiteral("maybe"), false));
        QVERIFY(LoadSettings(Key).updateActive);
        RegWriteText(Key, QStringLiteral("UpdateActive"), QStringLiteral("false"));
        QVERIFY(!LoadSettings(Key).updateActive);
    }

    void defaultFolderFallsBackInOrder()
    {
        QCOMPARE(defaultUserFolder(), QString());
        const QString desktop = makeUserFolder("Desktop");
        QCOMPARE(defaultUserFolder(), desktop);
        const QString documents = makeUserFolder("Documents");
        QCOMPARE(defaultUserFolder(), documents);
        const QString music = makeUserFolder("Music");
        QCOMPARE(defaultUserFolder(), music);
    }

    void setupFoldersCreatesDataFoldersAndReadsPaths()
    {
        const QString documents = makeUserFolder("Documents");
        RegWriteText(Key, QStringLiteral("OutputPath"), QStringLiteral("  /srv/out/  "));
        const AppFolders &f = SetupFolders(QStringLiteral("/opt/sonivert/bin"), Key);

        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/Corvallo/Sonivert/");
        QCOMPARE(f.dataFolder, data);
        QCOMPARE(f.tempFolder, data + QStringLiteral("Temp/"));
        QVERIFY(QFileInfo(f.tempFolder).isDir());
        QCOMPARE(f.analyzerReportFile, f.tempFolder + QStringLiteral("analyzer-reports.tmp"));
        QCOMPARE(f.userPresetFolder, data + QStringLiteral("User/Preset/"));
        QVERIFY(!QFileInfo::exists(f.userPresetFolder));
        QCOMPARE(f.librariesFolder, QStringLiteral("/opt/sonivert/bin/Libs"));
        QCOMPARE(f.skinFolder, QStringLiteral("/opt/sonivert/bin/Skin/"));
        QCOMPARE(f.outputPath, QStringLiteral("/srv/out/"));
        // No music folder on this account: the input folder falls back to documents.
        QCOMPARE(f.inputPath, documents);
        QCOMPARE(folders().tempFolder, f.tempFolder);
    }

    void anUnwritableDataFolderDegradesQuietly()
    {
        // Where the data folder should go there is a plain file: nothing can be created there,
        // yet the paths are computed and nothing fails.
        const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        QDir(base + QStringLiteral("/Corvallo")).removeRecursively();
        QDir().mkpath(base);
        QFile blocker(base + QStringLiteral("/Corvallo"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();

        const AppFolders &f = SetupFolders(QStringLiteral("/opt/sonivert/bin"), Key);
        QVERIFY(f.tempFolder.endsWith(QStringLiteral("/Corvallo/Sonivert/Temp/")));
        QVERIFY(!QFileInfo(f.tempFolder).isDir());
        blocker.remove();
    }

    void checkOutputFolderFillsAnEmptyBox()
    {
        const QString documents = makeUserFolder("Documents");
        QString box = QStringLiteral("   ");
        QVERIFY(CheckOutputFolder(box));
        QCOMPARE(box, documents);
    }

    // An account with none of the usual folders: the box still starts with a folder, and
    // Convert on an empty box creates the documents folder and goes on.
    void anAccountWithoutUserFoldersStillHasAnOutputFolder()
    {
        const QString documents
            = QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
            + QLatin1Char('/');
        QDir(documents).removeRecursively();
        for (const auto location :
            { QStandardPaths::MusicLocation, QStandardPaths::DesktopLocation })
            QDir(QStandardPaths::writableLocation(location)).removeRecursively();
        RegWriteText(Key, QStringLiteral("OutputPath"), QString());

        QCOMPARE(SetupFolders(QStringLiteral("/opt/sonivert/bin"), Key).outputPath, documents);
        QString box;
        QVERIFY(CheckOutputFolder(box));
        QCOMPARE(box, documents);
        QVERIFY(QFileInfo(documents).isDir());
    }

    void checkOutputFolderCreatesMissingFolders()
    {
        QTemporaryDir dir;
        QString box = dir.filePath(QStringLiteral("a/b/c"));
        QVERIFY(CheckOutputFolder(box));
        QVERIFY(QFileInfo(box).isDir());
        QCOMPARE(
            QDir(box).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), 0);
    }

    void checkOutputFolderKeepsTheUsersLogFile()
    {
        QTemporaryDir dir;
        QFile log(dir.filePath(QStringLiteral("log.txt")));
        QVERIFY(log.open(QIODevice::WriteOnly));
        log.write("my own notes\n");
        log.close();

        QString box = dir.path() + QLatin1Char('/');
        QVERIFY(CheckOutputFolder(box));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(), QByteArray("my own notes\n"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void checkOutputFolderRefusesWhatCannotBeWritten()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("plain-file"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();

        // Each refusal says why, for the person.
        QString why;
        QString notAFolder = file;
        QVERIFY(!CheckOutputFolder(notAFolder, &why));
        QCOMPARE(why, QStringLiteral("This is a file, not a folder."));
        QString underAFile = file + QStringLiteral("/sub");
        QVERIFY(!CheckOutputFolder(underAFile, &why));
        QCOMPARE(why, QStringLiteral("This folder does not exist and cannot be created."));
        QString kernelFolder = QStringLiteral("/proc/");
        QVERIFY(!CheckOutputFolder(kernelFolder, &why));
        QCOMPARE(why, QStringLiteral("This folder cannot be written to."));

        if (geteuid() != 0) {
            const QString locked = dir.filePath(QStringLiteral("locked"));
            QDir().mkpath(locked);
            QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
            QString box = locked;
            QVERIFY(!CheckOutputFolder(box));
            QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QVERIFY(QDir(locked).isEmpty());
        }
    }

    void trailingSeparator()
    {
        QCOMPARE(withTrailingSeparator(QStringLiteral("/tmp/out")), QStringLiteral("/tmp/out/"));
        QCOMPARE(withTrailingSeparator(QStringLiteral(" /tmp/out ")), QStringLiteral("/tmp/out/"));
        QCOMPARE(withTrailingSeparator(QStringLiteral("/tmp/out/")), QStringLiteral("/tmp/out/"));
        QCOMPARE(withTrailingSeparator(QStringLiteral("  ")), QStringLiteral("  "));
    }
};

QTEST_GUILESS_MAIN(FoldersSettingsTest)
#include "folders_settings_test.moc"
