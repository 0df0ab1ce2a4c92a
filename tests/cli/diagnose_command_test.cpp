#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert::test;

namespace {

CliRun run(const QStringList &args)
{
    return runCli(QStringList { QStringLiteral("diagnose") } + args);
}

} // namespace

class DiagnoseCommandTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir media;
    QString clip;
    QString silentClip;

private slots:
    void initTestCase()
    {
        ClipOptions options;
        options.seconds = 0.3;
        options.width = 64;
        options.height = 48;
        clip = media.filePath(QStringLiteral("clip.mp4"));
        QVERIFY(makeClip(clip, options));
        options.audio = false;
        silentClip = media.filePath(QStringLiteral("silent.mp4"));
        QVERIFY(makeClip(silentClip, options));
    }

    // FLAC offers 3 channel entries, 9 rates and one bit rate each: 27 conversions.
    void audioSweepPrintsOneLinePerCombination()
    {
        const CliRun result = run({ QStringLiteral("--format"), QStringLiteral("flac"), clip });
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.lines();
        QCOMPARE(lines.size(), 27);
        QCOMPARE(lines.first(), QStringLiteral("   FLAC:Mono:16 bit:8000 Hz:768 kbps   Done   "));
        QCOMPARE(lines.at(9), QStringLiteral("   FLAC:Stereo:16 bit:8000 Hz:768 kbps   Done   "));
        QCOMPARE(lines.last(),
            QStringLiteral("   FLAC:5.1 Surround:16 bit:48000 Hz:768 kbps   Done   "));
        // The outputs are the sweep's own business and never stay behind.
        QCOMPARE(QDir(media.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);

        // Nothing failed, so nothing is listed (the one "No Video" step of the video sweep).
        const CliRun failedOnly = run(
            { QStringLiteral("--format"), QStringLiteral("FLAC"), QStringLiteral("--sweep=video"),
                QStringLiteral("--failed-only"), QStringLiteral("--json"), clip });
        QCOMPARE(failedOnly.exitCode, 0);
        QCOMPARE(failedOnly.json().array(), QJsonArray());
    }

    void failuresCarryTheEngineMessageAndExitOne()
    {
        const CliRun text = run({ QStringLiteral("--sweep"), QStringLiteral("video"),
            QStringLiteral("--format"), QStringLiteral("MP3"), silentClip });
        QCOMPARE(text.exitCode, 1);
        QCOMPARE(text.lines(),
            QStringList { QStringLiteral("   No Video   Unsuccessful!   This file has no sound "
                                         "track, so there is nothing to convert.") });

        const CliRun listed = run({ QStringLiteral("--sweep=video"),
            QStringLiteral("--failed-only"), QStringLiteral("--json"), silentClip });
        QCOMPARE(listed.exitCode, 1);
        const QJsonArray entries = listed.json().array();
        QCOMPARE(entries.size(), 1);
        const QJsonObject entry = entries.first().toObject();
        QCOMPARE(entry.value(QStringLiteral("combination")).toString(),
            QStringLiteral("   No Video   "));
        QCOMPARE(entry.value(QStringLiteral("state")).toString(), QStringLiteral("Unsuccessful!"));
        QVERIFY(entry.value(QStringLiteral("message"))
                    .toString()
                    .contains(QLatin1String("no sound track")));
    }

    // The sweep runs on the engine asked for; the worker refuses, before anything runs, a sweep
    // that holds a combination it cannot convert.
    void engineChoice()
    {
        const CliRun swept = run({ QStringLiteral("--engine"), QStringLiteral("worker"),
            QStringLiteral("--format"), QStringLiteral("flac"), QStringLiteral("--json"), clip });
        QCOMPARE(swept.exitCode, 0);
        const QJsonArray entries = swept.json().array();
        QCOMPARE(entries.size(), 27);
        for (const QJsonValue &entry : entries)
            QCOMPARE(entry.toObject().value(QStringLiteral("engine")).toString(), u"worker");

        const CliRun ffmpeg = run({ QStringLiteral("--engine=ffmpeg"), QStringLiteral("--sweep"),
            QStringLiteral("video"), QStringLiteral("--format"), QStringLiteral("FLAC"),
            QStringLiteral("--json"), clip });
        QCOMPARE(ffmpeg.exitCode, 0);
        QCOMPARE(ffmpeg.json().array().at(0).toObject().value(QStringLiteral("engine")).toString(),
            u"ffmpeg");
    }

    void wrongUseIsAUsageError_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("no file") << QStringList {} << 2;
        QTest::newRow("two files") << QStringList { QStringLiteral("a"), QStringLiteral("b") } << 2;
        QTest::newRow("unknown sweep")
            << QStringList { QStringLiteral("--sweep"), QStringLiteral("all"), QStringLiteral("x") }
            << 2;
        QTest::newRow("unknown format") << QStringList { QStringLiteral("--format"),
            QStringLiteral("XYZ"), QStringLiteral("x") }
                                        << 2;
        QTest::newRow("--set") << QStringList { QStringLiteral("--set"),
            QStringLiteral("Channels=Mono"), QStringLiteral("x") }
                               << 2;
        QTest::newRow("unknown engine") << QStringList { QStringLiteral("--engine"),
            QStringLiteral("fast"), QStringLiteral("x") }
                                        << 2;
        QTest::newRow("unknown option")
            << QStringList { QStringLiteral("--fast"), QStringLiteral("x") } << 2;
        QTest::newRow("missing file")
            << QStringList { QStringLiteral("/nonexistent/clip.mp4") } << 1;
    }

    void wrongUseIsAUsageError()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        const CliRun result = run(args);
        QCOMPARE(result.exitCode, exitCode);
        QVERIFY(result.out.isEmpty());
        QVERIFY(result.err.startsWith(QLatin1String("sonivert-cli diagnose: ")));
    }
};

QTEST_GUILESS_MAIN(DiagnoseCommandTest)
#include "diagnose_command_test.moc"
