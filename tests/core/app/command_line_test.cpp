#include "core/app/command_line.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace sonivert;

namespace {

const QString kExtensions = QStringLiteral("|3gp|avi|mkv|mp4|dvr-ms|ts|");

bool touch(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly);
}

} // namespace

class CommandLineTest : public QObject
{
    Q_OBJECT
private slots:
    void parseKeepsProgramPathApartAndCountsTheRest()
    {
        QString program = QStringLiteral("stale");
        QStringList arguments { QStringLiteral("stale") };
        QCOMPARE(ParseCommandLine({}, program, arguments), 0);
        QVERIFY(program.isEmpty());
        QVERIFY(arguments.isEmpty());

        QCOMPARE(ParseCommandLine({ QStringLiteral("/usr/bin/sonivert") }, program, arguments), 0);
        QCOMPARE(program, QStringLiteral("/usr/bin/sonivert"));
        QVERIFY(arguments.isEmpty());

        const QStringList argv { QStringLiteral("sonivert"), QStringLiteral("my clip.mp4"),
            QStringLiteral("second.avi") };
        QCOMPARE(ParseCommandLine(argv, program, arguments), 2);
        QCOMPARE(arguments,
            (QStringList { QStringLiteral("my clip.mp4"), QStringLiteral("second.avi") }));
    }

    void startOptionsStopAtTheDoubleDash_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<int>("request");
        QTest::addColumn<QString>("files");
        QTest::addColumn<QString>("format");
        using R = StartArguments::Request;
        QTest::newRow("files in order") << QStringLiteral("a.mp4 b.mkv c.avi") << int(R::OpenFiles)
                                        << QStringLiteral("a.mp4 b.mkv c.avi") << QString();
        QTest::newRow("help wins")
            << QStringLiteral("a.mp4 --help") << int(R::Help) << QStringLiteral("") << QString();
        QTest::newRow("version") << QStringLiteral("-v") << int(R::Version) << QStringLiteral("")
                                 << QString();
        QTest::newRow("unknown option") << QStringLiteral("--bogus a.mp4") << int(R::UnknownOption)
                                        << QStringLiteral("a.mp4") << QString();
        QTest::newRow("dash names after --")
            << QStringLiteral("-- --help -x.mp4") << int(R::OpenFiles)
            << QStringLiteral("--help -x.mp4") << QString();
        QTest::newRow("convert without the window")
            << QStringLiteral("--convert-to mp3 -- a.mp4 -b.mkv") << int(R::ConvertFiles)
            << QStringLiteral("a.mp4 -b.mkv") << QStringLiteral("mp3");
        QTest::newRow("convert, joined keyword")
            << QStringLiteral("a.mp4 --convert-to=FLAC") << int(R::ConvertFiles)
            << QStringLiteral("a.mp4") << QStringLiteral("FLAC");
        QTest::newRow("convert without a keyword")
            << QStringLiteral("--convert-to --help a.mp4") << int(R::UnknownOption)
            << QStringLiteral("a.mp4") << QString();
        QTest::newRow("convert-to as the last word")
            << QStringLiteral("a.mp4 --convert-to") << int(R::UnknownOption)
            << QStringLiteral("a.mp4") << QString();
    }

    void startOptionsStopAtTheDoubleDash()
    {
        QFETCH(QString, arguments);
        QFETCH(int, request);
        QFETCH(QString, files);
        QFETCH(QString, format);
        const StartArguments start
            = readStartArguments(arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        QCOMPARE(int(start.request), request);
        QCOMPARE(start.files, files.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        QCOMPARE(start.convertFormat, format);
    }

    void quotesAreRemovedOnlyWhenTheTextNamesNoFile()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString plain = dir.filePath(QStringLiteral("my clip.mp4"));
        const QString quotedName = dir.filePath(QStringLiteral("\"odd\".mp4"));
        QVERIFY(touch(plain));
        QVERIFY(touch(quotedName));

        const QString quote = QStringLiteral("\"");
        QCOMPARE(pathFromCommandText(quote + plain + quote), plain);
        QCOMPARE(pathFromCommandText(QStringLiteral("  ") + plain + QStringLiteral(" ")), plain);
        // The quotes belong to this file's name.
        QCOMPARE(pathFromCommandText(quotedName), quotedName);
        // Nothing exists either way: the quotes still go.
        QCOMPARE(pathFromCommandText(quote + dir.filePath(QStringLiteral("gone.mp4")) + quote),
            dir.filePath(QStringLiteral("gone.mp4")));
        QCOMPARE(pathFromCommandText(QStringLiteral("   ")), QString());
        QCOMPARE(pathFromCommandText(quote + quote), QString());
    }

    void urlsAndRelativePathsBecomeAbsoluteLocalPaths()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString file = dir.filePath(QStringLiteral("my clip #1.mp4"));
        QVERIFY(touch(file));

        QCOMPARE(pathFromCommandText(QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded)), file);
        QCOMPARE(pathFromCommandText(QUrl::fromLocalFile(file).toString()), file);

        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        const QString relative = pathFromCommandText(QStringLiteral("sub/../my clip #1.mp4"));
        QVERIFY(QDir::setCurrent(previous));
        QCOMPARE(relative, file);
    }

    void extensionIsTheLastDotOfTheFileName_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<bool>("supported");
        QTest::newRow("lower") << "/a/clip.mp4"
                               << "mp4" << true;
        QTest::newRow("upper") << "/a/CLIP.MP4"
                               << "mp4" << true;
        QTest::newRow("with dash") << "/a/show.dvr-ms"
                                   << "dvr-ms" << true;
        QTest::newRow("last dot counts") << "/a/clip.mp4.txt"
                                         << "txt" << false;
        QTest::newRow("no extension") << "/a/clip"
                                      << "" << false;
        QTest::newRow("dot in folder only") << "/a.mp4/clip"
                                            << "" << false;
        QTest::newRow("trailing dot") << "/a/clip."
                                      << "" << false;
        QTest::newRow("part of an entry") << "/a/clip.mp"
                                          << "mp" << false;
        QTest::newRow("spans two entries") << "/a/clip.mp4|dvr"
                                           << "mp4|dvr" << false;
        QTest::newRow("dot-file") << "/a/.mkv"
                                  << "mkv" << true;
    }

    void extensionIsTheLastDotOfTheFileName()
    {
        QFETCH(QString, path);
        QFETCH(QString, extension);
        QFETCH(bool, supported);
        QCOMPARE(lowerExtension(path), extension);
        QCOMPARE(isSupportedInputExtension(path, kExtensions), supported);
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "command_line_test.moc"
