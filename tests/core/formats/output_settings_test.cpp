#include "core/formats/output_settings.h"
#include "core/formats/parameter_tables.h"
#include "support/catalogue_rows.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

const auto L = test::Row;

// A small catalogue whose rows exercise each rule on its own.
Catalogue testCatalogue()
{
    Catalogue c;
    c.formats.columns = test::formatTableColumns();
    c.formats.rows = {
        L({ "AUD", "No Video", "MP3", "MP3;", "#", "#", "#", "22050 Hz;44100 Hz;48000 Hz;",
            "Mono;Stereo;", "16 bit;", "0", "0", "0" }),
        L({ "AUD", "#", "Ogg Vorbis", "#", "#", "#", "#", "16000 Hz;22050 Hz;44100 Hz;",
            "Mono;Stereo;", "16 bit;", "0", "0", "0" }),
        L({ "AUD", "#", "PCM little-endian", "#", "#", "#", "#", "8000 Hz;44100 Hz;48000 Hz;",
            "Mono;Stereo;5.1 Surround;", "8 bit;16 bit;24 bit;32 bit;", "0", "0", "0" }),
        L({ "VID", "MPEG-1", "MP2", "MPG;", "UseFPSLib", "UseAspectRatioLib", "UseFrameLib",
            "44100 Hz;48000 Hz;", "Mono;Stereo;", "16 bit;", "1920", "1080", "6000" }),
        L({ "VID", "H.264", "No Audio", "MP4;MKV;", "25 fps;30 fps;", "Original;16:9;",
            "640 x 480;1280 x 720;Custom;", "-;", "#", "#", "1280", "720", "8000" }),
        L({ "VID", "No Video", "#", "M4A;", "#", "#", "#", "#", "#", "#", "0", "0", "0" }),
    };
    c.presets.columns = test::presetTableColumns();
    c.presets.rows = {
        L({ "A0", "[%Custom%]", "AudioFormat", "Audio", "", "", "", "AUD", "No Video", "MP3", "-",
            "-", "-", "-", "0", "MP3", "-", "44100 Hz", "Stereo", "16 bit", "192", "No" }),
        L({ "A1", "MP3 192", "AudioFormat", "Audio", "thumb", "Audio", "img", "AUD", "No Video",
            "MP3", "-", "-", "-", "-", "0", "MP3", "-", "44100 Hz", "Stereo", "16 bit", "192",
            "No" }),
        L({ "A2", "Locked", "AudioFormat", "Audio", "", "", "", "AUD", "No Video", "Ogg Vorbis",
            "-", "-", "-", "#Standard", "0", "#MP3", "-", "#22050 Hz", "Stereo", "16 bit", "#64",
            "No" }),
        L({ "A3", "Odd rate", "AudioFormat", "Audio", "", "", "", "AUD", "No Video", "MP3", "-",
            "-", "-", "-", "0", "MP3", "-", "44100 Hz", "Stereo", "16 bit", "100", "No" }),
        L({ "A4", "PCM", "AudioFormat", "Audio", "", "", "", "AUD", "No Video", "PCM little-endian",
            "-", "-", "-", "-", "0", "MP3", "-", "48000 Hz", "5.1 Surround", "32 bit", "9216",
            "No" }),
        L({ "V1", "VGA", "DeviceFormat", "Video", "", "", "", "VID", "MPEG-1", "MP2", "640", "480",
            "25 fps", "Standard", "Smart Fit", "MPG", "Smart Fit", "44100 Hz", "Stereo", "16 bit",
            "192", "No" }),
        L({ "V2", "Odd size", "DeviceFormat", "Video", "", "", "", "VID", "MPEG-1", "MP2", "320",
            "250", "30 fps", "High", "1000", "MPG", "4:3", "48000 Hz", "Mono", "16 bit", "128",
            "No" }),
        L({ "V3", "Silent", "DeviceFormat", "Video", "", "", "", "VID", "H.264", "No Audio",
            "#1280", "#720", "#30 fps", "#High", "#0", "MP4", "16:9", "-", "-", "-", "-", "No" }),
        L({ "V4", "Source", "DeviceFormat", "Video", "", "", "", "VID", "MPEG-1", "MP2", "-", "-",
            "Original", "High", "0", "MPG", "Original", "44100 Hz", "Stereo", "16 bit", "128",
            "No" }),
    };
    return c;
}

// Every codec label the option builder turns into an encoder option, and Opus.
const QStringList builderAudioLabels = L({ "MPEG-2/4", "AAC", "MP3", "MP2", "Ogg Vorbis",
    "IMA ADPCM", "AMR ACELP", "CCITT A-law", "CCITT u-law", "AC3", "WMA", "RealAudio 3.0 (dnet)",
    "PCM little-endian", "PCM big-endian", "Microsoft ADPCM", "IMA_ADPCM", "FLAC", "MS GSM 6.10",
    "Opus", "Original audio", "No Audio" });
const QStringList builderVideoLabels = L({ "MPEG-1", "MPEG-2", "MPEG4 (DivX/Xvid compatible)",
    "H.263 FLV Video", "H.264", "IBM Motion JPEG", "Sorenson Video 1", "Intel ITU H.263", "H.263",
    "VP8", "Huffman Lossless", "Microsoft MPEG4 V2", "Microsoft MPEG4 V3", "Xvid MPEG4",
    "DivX MPEG4", "RealVideo", "Windows Media Video V7", "Windows Media Video V8",
    "DV - Digital Video Format", "Uncompressed", "No Video" });

} // namespace

class OutputSettingsTest : public QObject
{
    Q_OBJECT

    Catalogue m_catalogue;

    OutputSettings *apply(const char *id)
    {
        auto *settings = new OutputSettings(m_catalogue, this);
        settings->setSelectedPresetId(QLatin1String(id));
        settings->applyPresetId(QLatin1String(id));
        return settings;
    }

    static QString text(const OutputSettings &s, ChoiceListId id) { return s.choiceText(id); }
    static bool on(const OutputSettings &s, ChoiceListId id) { return s.choice(id).enabled; }

private slots:
    void init() { m_catalogue = testCatalogue(); }

    void audioPresetFillsEveryList()
    {
        OutputSettings &s = *apply("A1");
        QCOMPARE(s.choice(ChoiceListId::VideoCodec).texts(), L({ "No Video" }));
        QCOMPARE(s.choice(ChoiceListId::VideoCodec).entries.first().formatRow, 1);
        QCOMPARE(s.choice(ChoiceListId::AudioCodec).texts(),
            L({ "MP3", "Ogg Vorbis", "PCM little-endian" }));
        QCOMPARE(s.choice(ChoiceListId::AudioCodec).entries.at(2).formatRow, 3);
        QCOMPARE(text(s, ChoiceListId::FileExtention), QStringLiteral("MP3"));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("44100 Hz"));
        QCOMPARE(text(s, ChoiceListId::Channels), QStringLiteral("Stereo"));
        QCOMPARE(text(s, ChoiceListId::AudioSize), QStringLiteral("16 bit"));
        QCOMPARE(
            s.choice(ChoiceListId::AudioBitrate).texts().join(QLatin1Char(';')) + QLatin1Char(';'),
            ListAudioBitrates(QStringLiteral("MP3"), QStringLiteral("44100 Hz"),
                QStringLiteral("Stereo"), QStringLiteral("16 bit")));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("192 kbps"));
        QVERIFY(s.choice(ChoiceListId::FrameSize).entries.isEmpty());
        QCOMPARE(s.choice(ChoiceListId::VideoBitrate).texts(), L({ "-" }));
        QCOMPARE(s.number(NumberId::Width).value, 0);
        QCOMPARE(s.number(NumberId::VideoBitrate).maximum, 0);
        // "No Video" disables frame size, rate, aspect and bit rate but not the extension.
        QVERIFY(!on(s, ChoiceListId::FrameSize));
        QVERIFY(!on(s, ChoiceListId::FPS));
        QVERIFY(!on(s, ChoiceListId::AspectRatio));
        QVERIFY(!on(s, ChoiceListId::VideoBitrate));
        QVERIFY(on(s, ChoiceListId::FileExtention));
        QVERIFY(on(s, ChoiceListId::SampleRate));
        QVERIFY(!s.qualityEnabled());
        QCOMPARE(s.description().thumbnail, QStringLiteral("thumb"));
        QCOMPARE(s.description().image, QStringLiteral("img"));
        QCOMPARE(s.description().format, QStringLiteral("AUD"));
        QCOMPARE(s.appliedPresetRow(), 2);
        QVERIFY(s.applyGuardOpen());
    }

    void lockedValuesDisableTheirControls()
    {
        OutputSettings &s = *apply("A2");
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("Ogg Vorbis"));
        QCOMPARE(text(s, ChoiceListId::FileExtention), QStringLiteral("MP3"));
        QVERIFY(!on(s, ChoiceListId::FileExtention));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("22050 Hz"));
        QVERIFY(!on(s, ChoiceListId::SampleRate));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("64 kbps"));
        QVERIFY(!on(s, ChoiceListId::AudioBitrate));
        QVERIFY(on(s, ChoiceListId::Channels));
        QCOMPARE(s.qualityLevel(), QualityLevel::Standard);
        QVERIFY(!s.qualityEnabled());

        // A lock outlives the rules: another codec keeps the sample rate fixed.
        s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("MP3"));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("22050 Hz"));
        QVERIFY(!on(s, ChoiceListId::SampleRate));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("64 kbps"));
    }

    void missingPresetRateSelectsLast()
    {
        OutputSettings &s = *apply("A3");
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("320 kbps"));
        OutputSettings &pcm = *apply("A4");
        QCOMPARE(pcm.choice(ChoiceListId::AudioBitrate).texts(), L({ "9216 kbps" }));
        QCOMPARE(text(pcm, ChoiceListId::Channels), QStringLiteral("5.1 Surround"));
    }

    void unknownPresetChangesNothing()
    {
        OutputSettings &s = *apply("A1");
        QSignalSpy changed(&s, &OutputSettings::changed);
        s.ChangePreset(0);
        s.applyPresetId(QStringLiteral("no such preset"));
        s.ChangePreset(m_catalogue.presets.rowCount() + 1);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("MP3"));
        QVERIFY(s.applyGuardOpen());
    }

    void sampleRateRebuildsAudioBitrates()
    {
        OutputSettings &s = *apply("A1");
        QVERIFY(s.chooseEntryText(ChoiceListId::SampleRate, QStringLiteral("22050 Hz")));
        QCOMPARE(s.choice(ChoiceListId::AudioBitrate).texts(),
            L({ "64 kbps", "80 kbps", "96 kbps", "112 kbps", "128 kbps", "160 kbps" }));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("160 kbps"));
        // The previous choice survives when the new list has it.
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioBitrate, QStringLiteral("96 kbps")));
        QVERIFY(s.chooseEntryText(ChoiceListId::SampleRate, QStringLiteral("48000 Hz")));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("96 kbps"));
        QVERIFY(s.chooseEntryText(ChoiceListId::Channels, QStringLiteral("Mono")));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("96 kbps"));
        QCOMPARE(
            s.choice(ChoiceListId::AudioBitrate).entries.first().text, QStringLiteral("48 kbps"));
    }

    void audioCodecKeepsRatesAndFallsBackToThePreset()
    {
        // No selected preset: nothing is stored, so the preset row keeps its own rate.
        OutputSettings &s = *new OutputSettings(m_catalogue, this);
        s.applyPresetId(QStringLiteral("A1"));
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("PCM little-endian")));
        QCOMPARE(s.choice(ChoiceListId::AudioSize).texts(),
            L({ "8 bit", "16 bit", "24 bit", "32 bit" }));
        QCOMPARE(text(s, ChoiceListId::AudioSize), QStringLiteral("16 bit"));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("44100 Hz"));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("1408 kbps"));
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioSize, QStringLiteral("24 bit")));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("2112 kbps"));
        QVERIFY(s.chooseEntryText(ChoiceListId::SampleRate, QStringLiteral("8000 Hz")));
        // Back to MP3: 8000 Hz is not offered there (the last rate is taken) and the previous
        // bit rate is missing, so the preset's own 192 kbps comes back when admissible.
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("MP3")));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("48000 Hz"));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("192 kbps"));
        QVERIFY(!s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("mp3")));
    }

    void videoPresetUsesStandardLists()
    {
        OutputSettings &s = *apply("V1");
        QCOMPARE(s.choice(ChoiceListId::VideoCodec).texts(), L({ "MPEG-1", "H.264", "No Video" }));
        QCOMPARE(s.choice(ChoiceListId::AudioCodec).texts(), L({ "MP2", "No Audio" }));
        QCOMPARE(s.choice(ChoiceListId::FrameSize).entries.size(), 29);
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("640 x 480"));
        QCOMPARE(text(s, ChoiceListId::FPS), QStringLiteral("25 fps"));
        QCOMPARE(text(s, ChoiceListId::AspectRatio), QStringLiteral("Smart Fit"));
        QCOMPARE(
            s.choice(ChoiceListId::VideoBitrate).texts().join(QLatin1Char(';')) + QLatin1Char(';'),
            ListVideoBitrates(640, 480, 6000));
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("Smart Fit"));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 1075);
        QCOMPARE(s.number(NumberId::VideoBitrate).maximum, 6000);
        QVERIFY(!s.number(NumberId::VideoBitrate).visible);
        QVERIFY(!s.number(NumberId::Width).visible);
        QCOMPARE(s.number(NumberId::Width).maximum, 1920);
        QVERIFY(s.qualityEnabled());

        s.chooseQualityLevel(QualityLevel::High);
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 2150);
        s.chooseQualityLevel(QualityLevel::Standard);
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 1075);

        QVERIFY(s.chooseEntryText(ChoiceListId::VideoBitrate, QStringLiteral("900 kbps")));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 900);
        // The quality level brings Smart Fit back.
        s.chooseQualityLevel(QualityLevel::SmallSize);
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("Smart Fit"));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 538);

        QVERIFY(s.chooseEntryText(ChoiceListId::VideoBitrate, QStringLiteral("Custom")));
        QVERIFY(s.number(NumberId::VideoBitrate).visible);
        QVERIFY(s.number(NumberId::VideoBitrate).enabled);
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 538);
        s.setNumber(NumberId::VideoBitrate, 99999);
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 6000);
    }

    void frameSizeAndRateRebuildVideoBitrates()
    {
        OutputSettings &s = *apply("V1");
        QVERIFY(s.chooseEntryText(ChoiceListId::VideoBitrate, QStringLiteral("1500 kbps")));
        QVERIFY(s.chooseEntryText(ChoiceListId::FrameSize, QStringLiteral("1280 x 720")));
        QCOMPARE(s.number(NumberId::Width).value, 1280);
        QCOMPARE(s.number(NumberId::Height).value, 720);
        QCOMPARE(
            s.choice(ChoiceListId::VideoBitrate).texts().join(QLatin1Char(';')) + QLatin1Char(';'),
            ListVideoBitrates(1280, 720, 6000));
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("1500 kbps"));
        QCOMPARE(s.number(NumberId::VideoBitrate).minimum, 1290);

        // 256 kbps leaves the list at 1920 x 1080, so the choice falls back to Smart Fit.
        QVERIFY(s.chooseEntryText(ChoiceListId::FrameSize, QStringLiteral("320 x 240")));
        QVERIFY(s.chooseEntryText(ChoiceListId::VideoBitrate, QStringLiteral("384 kbps")));
        QVERIFY(s.chooseEntryText(ChoiceListId::FrameSize, QStringLiteral("1920 x 1080")));
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("Smart Fit"));

        QVERIFY(s.chooseEntryText(ChoiceListId::FrameSize, QStringLiteral("Original")));
        QCOMPARE(s.number(NumberId::Width).value, 0);
        QCOMPARE(s.number(NumberId::VideoBitrate).minimum, 564);

        QVERIFY(s.chooseEntryText(ChoiceListId::FrameSize, QStringLiteral("Custom")));
        QVERIFY(s.number(NumberId::Width).visible);
        QVERIFY(s.number(NumberId::Height).enabled);
        s.setNumber(NumberId::Width, 99999);
        QCOMPARE(s.number(NumberId::Width).value, 1920);
        s.setNumber(NumberId::Width, -5);
        QCOMPARE(s.number(NumberId::Width).value, 0);
        // With Smart Fit a new size gives a new estimate.
        s.setNumber(NumberId::Width, 640);
        s.setNumber(NumberId::Height, 480);
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 1075);

        QVERIFY(s.chooseEntryText(ChoiceListId::FPS, QStringLiteral("1 fps")));
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("Smart Fit"));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 430); // raised to the minimum
    }

    void videoCodecReselectsWhatItCan()
    {
        OutputSettings &s = *apply("V1");
        QVERIFY(s.chooseEntryText(ChoiceListId::FPS, QStringLiteral("30 fps")));
        QVERIFY(s.chooseEntryText(ChoiceListId::VideoCodec, QStringLiteral("H.264")));
        QCOMPARE(s.choice(ChoiceListId::FPS).texts(), L({ "25 fps", "30 fps" }));
        QCOMPARE(text(s, ChoiceListId::FPS), QStringLiteral("30 fps"));
        QCOMPARE(text(s, ChoiceListId::FileExtention), QStringLiteral("MP4"));
        QCOMPARE(text(s, ChoiceListId::AspectRatio), QStringLiteral("Original"));
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("640 x 480"));
        QCOMPARE(s.number(NumberId::Width).maximum, 1280);
        QCOMPARE(s.number(NumberId::VideoBitrate).maximum, 8000);
        QCOMPARE(
            s.choice(ChoiceListId::VideoBitrate).texts().join(QLatin1Char(';')) + QLatin1Char(';'),
            ListVideoBitrates(640, 480, 8000));

        QVERIFY(s.chooseEntryText(ChoiceListId::VideoCodec, QStringLiteral("No Video")));
        QVERIFY(!on(s, ChoiceListId::FrameSize));
        QVERIFY(!on(s, ChoiceListId::FPS));
        QVERIFY(!on(s, ChoiceListId::AspectRatio));
        QVERIFY(!on(s, ChoiceListId::VideoBitrate));
        QVERIFY(on(s, ChoiceListId::FileExtention));
        QCOMPARE(text(s, ChoiceListId::FileExtention), QStringLiteral("M4A"));
        QCOMPARE(s.choice(ChoiceListId::VideoBitrate).texts(), L({ "-" }));

        QVERIFY(s.chooseEntryText(ChoiceListId::VideoCodec, QStringLiteral("MPEG-1")));
        QVERIFY(on(s, ChoiceListId::FrameSize));
        QCOMPARE(text(s, ChoiceListId::FileExtention), QStringLiteral("MPG"));
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("Smart Fit"));
    }

    void noAudioDisablesTheAudioLists()
    {
        OutputSettings &s = *new OutputSettings(m_catalogue, this);
        s.applyPresetId(QStringLiteral("V1"));
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("No Audio")));
        for (ChoiceListId id : { ChoiceListId::SampleRate, ChoiceListId::AudioBitrate,
                 ChoiceListId::Channels, ChoiceListId::AudioSize })
            QVERIFY(!on(s, id));
        QCOMPARE(s.choice(ChoiceListId::SampleRate).texts(), L({ "-" }));
        QCOMPARE(s.choice(ChoiceListId::AudioBitrate).texts(), L({ "-" }));
        QVERIFY(s.choice(ChoiceListId::Channels).entries.isEmpty());
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("MP2")));
        QVERIFY(on(s, ChoiceListId::SampleRate));
        QCOMPARE(text(s, ChoiceListId::SampleRate), QStringLiteral("48000 Hz"));
        QCOMPARE(text(s, ChoiceListId::Channels), QStringLiteral("Stereo"));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("192 kbps"));
    }

    void sizeMissingFromTheFormatSelectsCustom()
    {
        OutputSettings &s = *apply("V2");
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("Custom"));
        QCOMPARE(s.number(NumberId::Width).value, 320);
        QCOMPARE(s.number(NumberId::Height).value, 250);
        QVERIFY(s.number(NumberId::Width).visible);
        QCOMPARE(text(s, ChoiceListId::VideoBitrate), QStringLiteral("1000 kbps"));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 1000);
        QCOMPARE(text(s, ChoiceListId::AspectRatio), QStringLiteral("4:3"));
        QCOMPARE(s.qualityLevel(), QualityLevel::High);
    }

    void lockedVideoPreset()
    {
        OutputSettings &s = *apply("V3");
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("1280 x 720"));
        QVERIFY(!on(s, ChoiceListId::FrameSize));
        QVERIFY(!s.number(NumberId::Width).enabled);
        QCOMPARE(text(s, ChoiceListId::FPS), QStringLiteral("30 fps"));
        QVERIFY(!on(s, ChoiceListId::FPS));
        QCOMPARE(s.choice(ChoiceListId::VideoBitrate).texts(), L({ "-" }));
        QVERIFY(!on(s, ChoiceListId::VideoBitrate));
        QCOMPARE(s.qualityLevel(), QualityLevel::High);
        QVERIFY(!s.qualityEnabled());
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("No Audio"));
        QVERIFY(!on(s, ChoiceListId::SampleRate));
        QVERIFY(on(s, ChoiceListId::AspectRatio));
        // Another codec leaves the locked lists locked.
        QVERIFY(s.chooseEntryText(ChoiceListId::VideoCodec, QStringLiteral("MPEG-1")));
        QVERIFY(!on(s, ChoiceListId::FPS));
        QVERIFY(!on(s, ChoiceListId::FrameSize));
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("1280 x 720"));
    }

    void dashSizeAndZeroBitrate()
    {
        OutputSettings &s = *apply("V4");
        QCOMPARE(text(s, ChoiceListId::FrameSize), QStringLiteral("Original"));
        QCOMPARE(s.number(NumberId::Width).value, 0);
        QCOMPARE(s.number(NumberId::Height).value, 0);
        QCOMPARE(s.choice(ChoiceListId::VideoBitrate).texts(), L({ "-" }));
        QCOMPARE(s.number(NumberId::VideoBitrate).value, 0);
        QCOMPARE(text(s, ChoiceListId::FPS), QStringLiteral("Original"));
    }

    void changesStayWithThePreset()
    {
        OutputSettings &s = *apply("A1");
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioCodec, QStringLiteral("Ogg Vorbis")));
        QVERIFY(s.chooseEntryText(ChoiceListId::AudioBitrate, QStringLiteral("128 kbps")));
        const int row
            = FindCatalogueRow(m_catalogue.presets, QStringLiteral("ID"), QStringLiteral("A1"));
        QCOMPARE(GetCatalogueCell(m_catalogue.presets, row, QStringLiteral("AudioCodec")),
            QStringLiteral("Ogg Vorbis"));
        QCOMPARE(GetCatalogueCell(m_catalogue.presets, row, QStringLiteral("AudioBitrate")),
            QStringLiteral("128"));
        s.setSelectedPresetId(QStringLiteral("A3"));
        s.applyPresetId(QStringLiteral("A3"));
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("MP3"));
        s.setSelectedPresetId(QStringLiteral("A1"));
        s.applyPresetId(QStringLiteral("A1"));
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("Ogg Vorbis"));
        QCOMPARE(text(s, ChoiceListId::AudioBitrate), QStringLiteral("128 kbps"));

        // A locked cell keeps its lock when the dialog writes to it.
        OutputSettings &locked = *apply("A2");
        QVERIFY(locked.chooseEntryText(ChoiceListId::Channels, QStringLiteral("Mono")));
        const int lockedRow
            = FindCatalogueRow(m_catalogue.presets, QStringLiteral("ID"), QStringLiteral("A2"));
        QCOMPARE(GetCatalogueCell(m_catalogue.presets, lockedRow, QStringLiteral("SampleRate")),
            QStringLiteral("#22050 Hz"));
        QCOMPARE(GetCatalogueCell(m_catalogue.presets, lockedRow, QStringLiteral("Channels")),
            QStringLiteral("Mono"));
        QCOMPARE(GetCatalogueCell(m_catalogue.presets, lockedRow, QStringLiteral("FileExtention")),
            QStringLiteral("#MP3"));
    }

    void formatSelectionOffersTheDefaultPreset()
    {
        OutputSettings s(m_catalogue);
        QSignalSpy lists(&s, &OutputSettings::presetListChanged);
        QSignalSpy main(&s, &OutputSettings::mainPresetChanged);
        s.selectFormat(QStringLiteral(" Audio "));
        QCOMPARE(s.currentFormatKeyword(), QStringLiteral("Audio"));
        QCOMPARE(s.offeredPresets().size(), 5);
        QCOMPARE(s.offeredPresets().first().text, QStringLiteral("[Custom]"));
        QCOMPARE(lists.count(), 1);
        QCOMPARE(main.count(), 1);
        QCOMPARE(s.mainPresetIndex(), 1);
        QCOMPARE(s.selectedPresetId(), QStringLiteral("A1"));
        QCOMPARE(s.appliedPresetRow(), 2);
        s.selectMainPreset(4);
        QCOMPARE(text(s, ChoiceListId::AudioCodec), QStringLiteral("PCM little-endian"));
        s.selectMainPreset(9);
        QCOMPARE(s.mainPresetIndex(), 4);
        // Device formats are not offered.
        s.selectFormat(QStringLiteral("Video"));
        QVERIFY(s.offeredPresets().isEmpty());
        QCOMPARE(s.mainPresetIndex(), -1);
    }

    void everyBuiltInPresetGivesCompleteSettings()
    {
        QTemporaryDir dir;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, dir.path()));
        OutputSettings s(catalogue);
        int applied = 0;
        for (int row = 1; row <= catalogue.presets.rowCount(); ++row) {
            auto cell = [&](const char *caption) {
                return GetCatalogueCell(catalogue.presets, row, QLatin1String(caption))
                    .remove(QLatin1Char('#'));
            };
            const QString id = cell("ID");
            s.setSelectedPresetId(id);
            s.applyPresetId(id);
            ++applied;
            const QByteArray where = id.toUtf8();
            QVERIFY2(builderVideoLabels.contains(text(s, ChoiceListId::VideoCodec)), where);
            QVERIFY2(builderAudioLabels.contains(text(s, ChoiceListId::AudioCodec)), where);
            QCOMPARE(text(s, ChoiceListId::VideoCodec), cell("VideoCodec"));
            QCOMPARE(text(s, ChoiceListId::AudioCodec), cell("AudioCodec"));
            QCOMPARE(text(s, ChoiceListId::FileExtention), cell("FileExtention"));
            QVERIFY2(!text(s, ChoiceListId::FileExtention).isEmpty(), where);
            if (cell("AudioCodec") == QLatin1String("Original audio")) {
                // A copy has nothing to tune: every list holds its one locked entry.
                for (ChoiceListId list : { ChoiceListId::AudioCodec, ChoiceListId::SampleRate,
                         ChoiceListId::Channels, ChoiceListId::AudioBitrate,
                         ChoiceListId::AudioSize, ChoiceListId::FileExtention })
                    QVERIFY2(!s.choice(list).enabled, where);
                QCOMPARE(s.choice(ChoiceListId::AudioBitrate).texts(), L({ "-" }));
            } else if (cell("AudioCodec") != QLatin1String("No Audio")) {
                // The preset's own values are admissible: nothing fell back.
                QCOMPARE(text(s, ChoiceListId::SampleRate), cell("SampleRate"));
                QCOMPARE(text(s, ChoiceListId::Channels), cell("Channels"));
                QCOMPARE(text(s, ChoiceListId::AudioSize), cell("AudioSize"));
                QCOMPARE(text(s, ChoiceListId::AudioBitrate),
                    cell("AudioBitrate") + QStringLiteral(" kbps"));
            }
            if (cell("VideoCodec") != QLatin1String("No Video")) {
                for (ChoiceListId list : { ChoiceListId::FrameSize, ChoiceListId::FPS,
                         ChoiceListId::AspectRatio, ChoiceListId::VideoBitrate })
                    QVERIFY2(s.choice(list).selected >= 0, where);
                QCOMPARE(text(s, ChoiceListId::FPS), cell("FPS"));
                QCOMPARE(text(s, ChoiceListId::AspectRatio), cell("AspectRatio"));
                QVERIFY2(s.number(NumberId::VideoBitrate).maximum > 0, where);
            } else {
                QCOMPARE(s.choice(ChoiceListId::VideoBitrate).texts(), L({ "-" }));
            }
        }
        QCOMPARE(applied, catalogue.presets.rowCount());
    }

    void everyOfferedCombinationHasBitrates()
    {
        // Whatever the person picks in the dialog, the bit-rate list is never empty.
        QTemporaryDir dir;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, dir.path()));
        const CatalogueTable &formats = catalogue.formats;
        auto pieces = [](const QString &cell) {
            return cell == QLatin1String("#") ? QStringList()
                                              : cell.split(QLatin1Char(';'), Qt::SkipEmptyParts);
        };
        int combinations = 0;
        for (int row = 1; row <= formats.rowCount(); ++row) {
            const QString codec = GetCatalogueCell(formats, row, QStringLiteral("AudioCodec"));
            if (codec == QLatin1String("#"))
                continue;
            QVERIFY2(builderAudioLabels.contains(codec), qPrintable(codec));
            const QStringList rates
                = pieces(GetCatalogueCell(formats, row, QStringLiteral("SampleRate")));
            QStringList channels
                = pieces(GetCatalogueCell(formats, row, QStringLiteral("Channels")));
            QStringList sizes = pieces(GetCatalogueCell(formats, row, QStringLiteral("AudioSize")));
            if (codec == QLatin1String("No Audio")) {
                QCOMPARE(rates, L({ "-" }));
                continue;
            }
            if (codec == QLatin1String("Original audio")) {
                QCOMPARE(
                    ListAudioBitrates(codec, rates.value(0), channels.value(0), sizes.value(0)),
                    QStringLiteral("-;"));
                continue;
            }
            QVERIFY2(
                !rates.isEmpty() && !channels.isEmpty() && !sizes.isEmpty(), qPrintable(codec));
            // Channels are a prefix of the order the option builder reads by position.
            QCOMPARE(channels, L({ "Mono", "Stereo", "5.1 Surround" }).mid(0, channels.size()));
            for (const QString &rate : rates) {
                for (const QString &layout : channels) {
                    for (const QString &size : sizes) {
                        const QString list = ListAudioBitrates(codec, rate, layout, size);
                        QVERIFY2(!list.isEmpty() && !list.startsWith(QLatin1String("0 kbps")),
                            qPrintable(codec + QLatin1Char(' ') + rate + QLatin1Char(' ') + layout
                                + QLatin1Char(' ') + size));
                        ++combinations;
                    }
                }
            }
        }
        QVERIFY(combinations > 100);
    }
};

QTEST_GUILESS_MAIN(OutputSettingsTest)
#include "output_settings_test.moc"
