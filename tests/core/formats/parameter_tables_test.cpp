#include "core/formats/parameter_tables.h"

#include <QTest>

using namespace sonivert;

namespace {

QString kbps(std::initializer_list<int> rates)
{
    QString text;
    for (int rate : rates)
        text += QString::number(rate) + QStringLiteral(" kbps;");
    return text;
}

} // namespace

class ParameterTablesTest : public QObject
{
    Q_OBJECT

private slots:
    void standardLists()
    {
        const QStringList sizes = BuildStandardList(StandardList::FrameSizes)
                                      .split(QLatin1Char(';'), Qt::SkipEmptyParts);
        QCOMPARE(sizes.size(), 29);
        QCOMPARE(sizes.first(), QStringLiteral("Original"));
        QCOMPARE(sizes.last(), QStringLiteral("Custom"));
        QVERIFY(sizes.indexOf(QStringLiteral("240 x 180"))
            < sizes.indexOf(QStringLiteral("240 x 160")));
        QVERIFY(BuildStandardList(StandardList::FrameSizes).endsWith(QStringLiteral("Custom;")));

        const QString rates = BuildStandardList(StandardList::FrameRates);
        QCOMPARE(rates.count(QLatin1Char(';')), 14);
        QVERIFY(rates.startsWith(QStringLiteral("Original;1 fps;2 fps;")));
        QVERIFY(rates.endsWith(QStringLiteral("23.976 fps;24 fps;25 fps;29.97 fps;30 fps;")));

        QCOMPARE(BuildStandardList(StandardList::AspectRatios),
            QStringLiteral("Smart Fit;4:3;16:9;Original;"));
    }

    void audioBitrates_data()
    {
        QTest::addColumn<QString>("codec");
        QTest::addColumn<QString>("rate");
        QTest::addColumn<QString>("channels");
        QTest::addColumn<QString>("size");
        QTest::addColumn<QString>("expected");
        const QString s16 = QStringLiteral("16 bit");
        auto row = [&](const char *name, const char *codec, const char *rate, const char *channels,
                       const QString &size, const QString &expected) {
            QTest::newRow(name) << QString::fromLatin1(codec) << QString::fromLatin1(rate)
                                << QString::fromLatin1(channels) << size << expected;
        };
        row("aac 8000 mono", "AAC", "8000 Hz", "Mono", s16, kbps({ 8, 16, 24, 32, 40, 48 }));
        row("aac 44100 stereo", "AAC", "44100 Hz", "Stereo", s16,
            kbps({ 16, 32, 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 }));
        row("aac has no 5.1", "AAC", "48000 Hz", "5.1 Surround", s16, QString());
        row("mpeg-2/4 24000 5.1", "MPEG-2/4", "24000 Hz", "5.1 Surround", s16,
            kbps({ 48, 96, 144, 192, 240, 288, 336, 384, 480, 576, 672, 768, 864 }));
        row("mp3 8000 5.1 empty", "MP3", "8000 Hz", "5.1 Surround", s16, QString());
        row("mp3 8000 stereo", "MP3", "8000 Hz", "Stereo", s16,
            kbps({ 32, 48, 64, 80, 96, 112, 128, 160 }));
        row("ac3 like mp3", "AC3", "48000 Hz", "Stereo", s16,
            kbps({ 96, 112, 128, 160, 192, 224, 256, 288, 320 }));
        row("mp2 16000 empty", "MP2", "16000 Hz", "Mono", s16, QString());
        row("mp2 48000 stereo", "MP2", "48000 Hz", "Stereo", s16,
            kbps({ 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 }));
        row("vorbis 16000 mono longer", "Ogg Vorbis", "16000 Hz", "Mono", s16,
            kbps({ 16, 24, 32, 40, 48, 56, 64, 80, 96 }));
        row("vorbis 16000 stereo longer", "Ogg Vorbis", "16000 Hz", "Stereo", s16,
            kbps({ 32, 48, 64, 80, 96, 112, 128, 160, 192 }));
        row("ms adpcm 44100 stereo", "Microsoft ADPCM", "44100 Hz", "Stereo", s16, kbps({ 325 }));
        row("ima_adpcm 44100 stereo", "IMA_ADPCM", "44100 Hz", "Stereo", s16, kbps({ 325 }));
        row("ms adpcm 11025 mono", "Microsoft ADPCM", "11025 Hz", "Mono", s16, kbps({ 44 }));
        row("ms adpcm 48000 empty", "Microsoft ADPCM", "48000 Hz", "Mono", s16, QString());
        row("wma fixed", "WMA", "8000 Hz", "5.1 Surround", s16,
            kbps({ 32, 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 }));
        row("realaudio fixed", "RealAudio 3.0 (dnet)", "", "", QString(),
            kbps({ 32, 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 }));
        row("amr text", "AMR ACELP", "8000 Hz", "Mono", s16,
            QStringLiteral("4.75 kbps;5.15 kbps;5.90 kbps;6.70 kbps;7.40 kbps;7.95 kbps;10.2 "
                           "kbps;12.2 kbps;"));
        row("gsm", "MS GSM 6.10", "8000 Hz", "Mono", s16, kbps({ 13 }));
        row("flac", "FLAC", "48000 Hz", "5.1 Surround", QStringLiteral("24 bit"), kbps({ 768 }));
        row("pcm 16 stereo 44100", "PCM little-endian", "44100 Hz", "Stereo", s16, kbps({ 1408 }));
        row("pcm 8 mono 8000", "PCM little-endian", "8000 Hz", "Mono", QStringLiteral("8 bit"),
            kbps({ 64 }));
        row("pcm 11025 truncates K", "PCM little-endian", "11025 Hz", "Mono",
            QStringLiteral("24 bit"), kbps({ 264 }));
        row("pcm unknown size", "PCM big-endian", "44100 Hz", "Stereo", QStringLiteral("12 bit"),
            kbps({ 0 }));
        row("pcm unknown channels", "PCM little-endian", "44100 Hz", "Quad", s16, kbps({ 0 }));
        row("ima adpcm 11025 stereo", "IMA ADPCM", "11025 Hz", "Stereo", s16, kbps({ 88 }));
        row("ima adpcm 12000 5.1", "IMA ADPCM", "12000 Hz", "5.1 Surround", s16, kbps({ 288 }));
        row("a-law 48000 stereo", "CCITT A-law", "48000 Hz", "Stereo", s16, kbps({ 768 }));
        row("u-law 22050 mono", "CCITT u-law", "22050 Hz", "Mono", s16, kbps({ 176 }));
        row("no audio dash", "No Audio", "-", "", QString(), QStringLiteral("-;"));
        row("no audio rate", "No Audio", "44100 Hz", "Stereo", s16, QString());
        row("opus mono", "Opus", "16000 Hz", "Mono", s16,
            kbps({ 8, 12, 16, 24, 32, 48, 64, 96, 128 }));
        row("opus 5.1 empty", "Opus", "48000 Hz", "5.1 Surround", s16, QString());
        row("unknown codec", "Speex", "8000 Hz", "Mono", s16, QString());
        row("case matters", "mp3", "44100 Hz", "Stereo", s16, QString());
        row("unknown rate", "MP3", "96000 Hz", "Stereo", s16, QString());
    }

    void audioBitrates()
    {
        QFETCH(QString, codec);
        QFETCH(QString, rate);
        QFETCH(QString, channels);
        QFETCH(QString, size);
        QFETCH(QString, expected);
        QCOMPARE(ListAudioBitrates(codec, rate, channels, size), expected);
    }

    void estimate_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<QString>("rate");
        QTest::addColumn<int>("quality");
        QTest::addColumn<int>("unit");
        QTest::addColumn<int>("expected");
        QTest::newRow("720p high") << 1280 << 720 << "30 fps" << 4 << 1 << 7741;
        QTest::newRow("small original") << 320 << 240 << "Original" << 4 << 1 << 774;
        QTest::newRow("vga standard") << 640 << 480 << "25 fps" << 2 << 1 << 1075;
        QTest::newRow("dash is 24") << 320 << 240 << "-" << 4 << 1 << 774;
        QTest::newRow("bits per second") << 640 << 480 << "25 fps" << 2 << 0 << 1075200;
        QTest::newRow("23.976 rounds to 24") << 1000 << 100 << "23.976 fps" << 1 << 0 << 168000;
        QTest::newRow("29.97 rounds to 30") << 1000 << 100 << "29.97 FPS" << 1 << 0 << 210000;
        QTest::newRow("half to even down") << 1000 << 100 << "24.5 fps" << 1 << 0 << 168000;
        QTest::newRow("half to even up") << 1000 << 100 << "25.5 fps" << 1 << 0 << 182000;
        QTest::newRow("width 499 adds two") << 499 << 100 << "10" << 1 << 0 << 104790;
        QTest::newRow("width 500 does not") << 500 << 100 << "10" << 1 << 0 << 35000;
        QTest::newRow("plain kbps") << 1000 << 125 << "20" << 1 << 1 << 175;
        QTest::newRow("overflow gives 0") << 1920 << 1080 << "300" << 4 << 1 << 0;
        QTest::newRow("just inside 32 bit") << 1920 << 1080 << "60" << 4 << 1 << 34836;
        QTest::newRow("non-numeric rate") << 640 << 480 << "fast" << 2 << 1 << 0;
    }

    void estimate()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(QString, rate);
        QFETCH(int, quality);
        QFETCH(int, unit);
        QFETCH(int, expected);
        QCOMPARE(EstimateVideoBitrate(width, height, rate, quality, BitrateUnit(unit)), expected);
    }

    void kbpsRoundingTiesToEven()
    {
        // 35714 x 0.07 = 2499.98 -> 2500 bits -> 2.5 kbps -> 2.
        QCOMPARE(EstimateVideoBitrate(35714, 1, QStringLiteral("1"), 1, BitrateUnit::BitsPerSecond),
            2500);
        QCOMPARE(EstimateVideoBitrate(35714, 1, QStringLiteral("1"), 1, BitrateUnit::Kbps), 2);
        // 50000 x 0.07 = 3500 bits -> 3.5 kbps -> 4.
        QCOMPARE(EstimateVideoBitrate(500, 100, QStringLiteral("1"), 1, BitrateUnit::Kbps), 4);
    }

    void videoBitrateLists()
    {
        QCOMPARE(LowerVideoBitrate(640, 480, 6000), 430);
        QCOMPARE(UpperVideoBitrate(640, 480, 6000), 5161);
        QCOMPARE(ListVideoBitrates(640, 480, 6000),
            QStringLiteral("Smart Fit;512 kbps;768 kbps;900 kbps;1000 kbps;1200 kbps;"
                           "1500 kbps;2000 kbps;3000 kbps;4000 kbps;Custom;"));

        QCOMPARE(LowerVideoBitrate(1280, 720, 8000), 1290);
        QCOMPARE(UpperVideoBitrate(1280, 720, 8000), 8000);
        QCOMPARE(ListVideoBitrates(1280, 720, 8000),
            QStringLiteral("Smart Fit;1500 kbps;2000 kbps;3000 kbps;4000 kbps;6000 kbps;"
                           "8000 kbps;Custom;"));

        QCOMPARE(LowerVideoBitrate(0, 0, 6000), 564);
        QCOMPARE(UpperVideoBitrate(0, 0, 6000), 6000);
        QCOMPARE(ListVideoBitrates(0, 0, 6000),
            QStringLiteral("Smart Fit;768 kbps;900 kbps;1000 kbps;1200 kbps;1500 kbps;"
                           "2000 kbps;3000 kbps;4000 kbps;6000 kbps;Custom;"));

        QCOMPARE(UpperVideoBitrate(1920, 1080, 50000), 34836);
        QVERIFY(
            ListVideoBitrates(1920, 1080, 50000).endsWith(QStringLiteral("30000 kbps;Custom;")));

        QCOMPARE(ListVideoBitrates(640, 480, 0), QStringLiteral("-;"));
        QCOMPARE(ListVideoBitrates(0, 0, 0), QStringLiteral("-;"));
        // A maximum at or below the lower bound drops the lower bound.
        QCOMPARE(LowerVideoBitrate(640, 480, 430), 0);
        QCOMPARE(ListVideoBitrates(640, 480, 100),
            QStringLiteral("Smart Fit;16 kbps;32 kbps;64 kbps;96 kbps;Custom;"));
        // Only one side known: the estimate of a zero area bounds the list at 0.
        QCOMPARE(ListVideoBitrates(640, 0, 6000), QStringLiteral("Smart Fit;Custom;"));
    }
};

QTEST_GUILESS_MAIN(ParameterTablesTest)
#include "parameter_tables_test.moc"
