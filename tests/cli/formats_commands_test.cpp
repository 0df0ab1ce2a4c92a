#include "support/cli_runner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace sonivert::test;

namespace {

QJsonObject settingsJson(const QStringList &extra)
{
    const CliRun result
        = runCli(QStringList { QStringLiteral("settings"), QStringLiteral("--json") } + extra);
    return result.json().object();
}

QJsonObject list(const QJsonObject &settings, const char *name)
{
    return settings.value(QStringLiteral("lists")).toObject().value(QLatin1String(name)).toObject();
}

QString selected(const QJsonObject &settings, const char *name)
{
    return list(settings, name).value(QStringLiteral("selected")).toString();
}

} // namespace

class FormatsCommandsTest : public QObject
{
    Q_OBJECT

private slots:
    void formatsListsTheFamilies()
    {
        const CliRun text = runCli({ QStringLiteral("formats") });
        QCOMPARE(text.exitCode, 0);
        const QStringList keywords = text.text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(keywords.size() >= 11);
        QCOMPARE(keywords.first(), QStringLiteral("MP3"));
        for (const char *family : { "FLAC", "WAV", "AIFF", "AC3", "MP2", "WMA", "OGG Vorbis" })
            QVERIFY2(keywords.contains(QLatin1String(family)), family);

        const CliRun listed = runCli({ QStringLiteral("formats"), QStringLiteral("--json") });
        QCOMPARE(listed.exitCode, 0);
        const QJsonArray array = listed.json().array();
        QCOMPARE(array.size(), keywords.size());
        for (int i = 0; i < array.size(); ++i)
            QCOMPARE(
                array.at(i).toObject().value(QStringLiteral("keyword")).toString(), keywords.at(i));

        QCOMPARE(runCli({ QStringLiteral("formats"), QStringLiteral("extra") }).exitCode, 2);
    }

    void presetsOfOneFamily()
    {
        const CliRun listed = runCli(
            { QStringLiteral("presets"), QStringLiteral("wav"), QStringLiteral("--json") });
        QCOMPARE(listed.exitCode, 0);
        const QJsonArray array = listed.json().array();
        QVERIFY(array.size() >= 4);
        const QJsonObject custom = array.first().toObject();
        QCOMPARE(custom.value(QStringLiteral("name")).toString(), QStringLiteral("[Custom]"));
        QCOMPARE(custom.value(QStringLiteral("keyword")).toString(), QStringLiteral("WAV"));
        QVERIFY(!custom.value(QStringLiteral("id")).toString().isEmpty());
        QStringList ids;
        for (const QJsonValue &value : array)
            ids.append(value.toObject().value(QStringLiteral("id")).toString());
        QCOMPARE(ids.removeDuplicates(), 0);

        const CliRun text = runCli({ QStringLiteral("presets"), QStringLiteral("WAV") });
        QCOMPARE(text.exitCode, 0);
        const QStringList lines = text.text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), array.size());
        QVERIFY(lines.first().contains(custom.value(QStringLiteral("id")).toString()));
        QVERIFY(lines.first().endsWith(QStringLiteral("[Custom]")));
    }

    void presetsOfAllFamiliesAndUnknownKeyword()
    {
        const CliRun all = runCli({ QStringLiteral("presets"), QStringLiteral("--json") });
        QCOMPARE(all.exitCode, 0);
        const QJsonArray array = all.json().array();
        QStringList keywords;
        for (const QJsonValue &value : array) {
            const QString keyword = value.toObject().value(QStringLiteral("keyword")).toString();
            if (keywords.isEmpty() || keywords.last() != keyword)
                keywords.append(keyword);
        }
        // Grouped by family, in the order of the format list.
        const CliRun formats = runCli({ QStringLiteral("formats") });
        QCOMPARE(keywords, formats.text().split(QLatin1Char('\n'), Qt::SkipEmptyParts));
        // Device formats are not offered.
        QVERIFY(!all.out.contains("DeviceFormat"));
        QVERIFY(!keywords.contains(QStringLiteral("AVI Video")));

        const CliRun unknown = runCli({ QStringLiteral("presets"), QStringLiteral("Betamax") });
        QCOMPARE(unknown.exitCode, 2);
        QVERIFY(unknown.err.contains(QStringLiteral("MP3")));
    }

    void settingsDefaultsToTheFirstFamily()
    {
        const QJsonObject settings = settingsJson({});
        const QJsonObject lists = settings.value(QStringLiteral("lists")).toObject();
        QCOMPARE(lists.size(), 11);
        for (const char *name :
            { "VideoCodec", "FrameSize", "FPS", "FileExtention", "AudioCodec", "SampleRate",
                "AudioBitrate", "Channels", "AudioSize", "AspectRatio", "VideoBitrate" }) {
            const QJsonObject entry = lists.value(QLatin1String(name)).toObject();
            QVERIFY2(entry.value(QStringLiteral("entries")).isArray(), name);
            QVERIFY2(entry.value(QStringLiteral("selected")).isString(), name);
            QVERIFY2(entry.value(QStringLiteral("enabled")).isBool(), name);
        }
        QCOMPARE(selected(settings, "AudioCodec"), QStringLiteral("MP3"));
        QCOMPARE(selected(settings, "VideoCodec"), QStringLiteral("No Video"));
        QCOMPARE(selected(settings, "FileExtention"), QStringLiteral("MP3"));
        QVERIFY(!list(settings, "FrameSize").value(QStringLiteral("enabled")).toBool());
        for (const char *name : { "Width", "Height", "VideoBitrateValue" }) {
            const QJsonObject number = settings.value(QLatin1String(name)).toObject();
            for (const char *key : { "value", "min", "max", "enabled" })
                QVERIFY2(number.contains(QLatin1String(key)), key);
        }
        QVERIFY(settings.value(QStringLiteral("QualityLevel")).isString());

        // The default is the second entry of the family's list, the first real preset.
        const CliRun presets = runCli(
            { QStringLiteral("presets"), QStringLiteral("MP3"), QStringLiteral("--json") });
        const QString secondId
            = presets.json().array().at(1).toObject().value(QStringLiteral("id")).toString();
        QCOMPARE(settingsJson({ QStringLiteral("--preset"), secondId }), settings);
    }

    void setAppliesTheRulesInOrder()
    {
        const QJsonObject settings = settingsJson(
            { QStringLiteral("--format"), QStringLiteral("WAV"), QStringLiteral("--set"),
                QStringLiteral("SampleRate=48000 Hz"), QStringLiteral("--set=AudioSize=32 bit"),
                QStringLiteral("--set"), QStringLiteral("Channels=5.1 Surround") });
        QCOMPARE(selected(settings, "AudioCodec"), QStringLiteral("PCM little-endian"));
        QCOMPARE(list(settings, "AudioBitrate").value(QStringLiteral("entries")).toArray(),
            QJsonArray({ QStringLiteral("9216 kbps") }));

        // A new codec rebuilds the rates and keeps what it can.
        const QJsonObject adpcm = settingsJson({ QStringLiteral("--format"), QStringLiteral("WAV"),
            QStringLiteral("--set"), QStringLiteral("AudioCodec=Microsoft ADPCM") });
        QCOMPARE(selected(adpcm, "SampleRate"), QStringLiteral("44100 Hz"));
        QCOMPARE(selected(adpcm, "AudioBitrate"), QStringLiteral("325 kbps"));
    }

    void shortFormatNamesAndNumbersWithoutUnits()
    {
        const QList<std::pair<QString, QString>> extensions
            = { { QStringLiteral("mp3"), QStringLiteral("MP3") },
                  { QStringLiteral("m4a"), QStringLiteral("M4A") },
                  { QStringLiteral("aac"), QStringLiteral("M4A") },
                  { QStringLiteral("M4R"), QStringLiteral("M4R") },
                  { QStringLiteral("ogg"), QStringLiteral("OGG") },
                  { QStringLiteral("opus"), QStringLiteral("OPUS") } };
        for (const auto &[name, extension] : extensions) {
            const QJsonObject settings = settingsJson({ QStringLiteral("--format"), name });
            QCOMPARE(selected(settings, "FileExtention"), extension);
        }
        const QJsonObject bare = settingsJson({ QStringLiteral("--format=MP3"),
            QStringLiteral("--set"), QStringLiteral("SampleRate=22050"), QStringLiteral("--set"),
            QStringLiteral("AudioBitrate=128") });
        QCOMPARE(selected(bare, "SampleRate"), QStringLiteral("22050 Hz"));
        QCOMPARE(selected(bare, "AudioBitrate"), QStringLiteral("128 kbps"));
    }

    void presetByNameAndLockedLists()
    {
        const CliRun presets = runCli(
            { QStringLiteral("presets"), QStringLiteral("WAV"), QStringLiteral("--json") });
        QString gsmName;
        for (const QJsonValue &value : presets.json().array()) {
            const QString name = value.toObject().value(QStringLiteral("name")).toString();
            if (name.contains(QStringLiteral("GSM")))
                gsmName = name;
        }
        QVERIFY(!gsmName.isEmpty());
        const QJsonObject gsm = settingsJson(
            { QStringLiteral("--format=wav"), QStringLiteral("--preset"), gsmName.toLower() });
        QCOMPARE(selected(gsm, "AudioCodec"), QStringLiteral("MS GSM 6.10"));
        QCOMPARE(selected(gsm, "SampleRate"), QStringLiteral("8000 Hz"));
        QVERIFY(!list(gsm, "SampleRate").value(QStringLiteral("enabled")).toBool());

        const CliRun locked = runCli({ QStringLiteral("settings"), QStringLiteral("--format"),
            QStringLiteral("WAV"), QStringLiteral("--preset"), gsmName, QStringLiteral("--set"),
            QStringLiteral("SampleRate=8000 Hz") });
        QCOMPARE(locked.exitCode, 2);
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("missing entry")
            << QStringList { QStringLiteral("--set"), QStringLiteral("AudioBitrate=999 kbps") }
            << QStringLiteral("\"320 kbps\"");
        QTest::newRow("entry case matters")
            << QStringList { QStringLiteral("--set"), QStringLiteral("Channels=mono") }
            << QStringLiteral("\"Mono\"");
        QTest::newRow("unknown list")
            << QStringList { QStringLiteral("--set"), QStringLiteral("Tempo=fast") }
            << QStringLiteral("AudioBitrate");
        QTest::newRow("no equals")
            << QStringList { QStringLiteral("--set"), QStringLiteral("AudioCodec") }
            << QStringLiteral("LIST=ENTRY");
        QTest::newRow("missing value")
            << QStringList { QStringLiteral("--format") } << QStringLiteral("--format");
        QTest::newRow("unknown format") << QStringList { QStringLiteral("--format"),
            QStringLiteral("Betamax") } << QStringLiteral("\"FLAC\"");
        QTest::newRow("unknown preset") << QStringList { QStringLiteral("--preset"),
            QStringLiteral("Loudest") } << QStringLiteral("[Custom]");
        QTest::newRow("width needs custom") << QStringList { QStringLiteral("--set"),
            QStringLiteral("Width=320") } << QStringLiteral("FrameSize=Custom");
        QTest::newRow("bad quality")
            << QStringList { QStringLiteral("--set"), QStringLiteral("QualityLevel=Best") }
            << QStringLiteral("SmallSize");
        QTest::newRow("stray argument")
            << QStringList { QStringLiteral("file.mp4") } << QStringLiteral("file.mp4");
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, mentions);
        const CliRun result = runCli(QStringList { QStringLiteral("settings") } + args);
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.contains(mentions), qPrintable(result.err));
        QVERIFY(result.out.isEmpty());
    }

    void textOutputNamesEveryList()
    {
        const CliRun result = runCli(
            { QStringLiteral("settings"), QStringLiteral("--format"), QStringLiteral("FLAC") });
        QCOMPARE(result.exitCode, 0);
        const QString text = result.text();
        for (const char *name :
            { "VideoCodec:", "AudioBitrate: 768 kbps", "Width:", "QualityLevel:" })
            QVERIFY2(text.contains(QLatin1String(name)), name);
    }
};

QTEST_GUILESS_MAIN(FormatsCommandsTest)
#include "formats_commands_test.moc"
