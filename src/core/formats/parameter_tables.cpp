#include "core/formats/parameter_tables.h"

#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace sonivert {

namespace {

using Rates = std::vector<int>;

const std::array<const char *, 29> frameSizes = {
    "Original",
    "80 x 60",
    "96 x 72",
    "128 x 96",
    "160 x 120",
    "176 x 120",
    "176 x 144",
    "192 x 144",
    "240 x 180",
    "240 x 160",
    "320 x 200",
    "320 x 240",
    "352 x 288",
    "480 x 320",
    "640 x 360",
    "640 x 480",
    "720 x 480",
    "720 x 576",
    "768 x 576",
    "800 x 480",
    "854 x 480",
    "960 x 540",
    "960 x 640",
    "1024 x 576",
    "1024 x 600",
    "1280 x 720",
    "1440 x 1080",
    "1920 x 1080",
    "Custom",
};

const std::array<const char *, 14> frameRates = {
    "Original",
    "1 fps",
    "2 fps",
    "3 fps",
    "5 fps",
    "10 fps",
    "12 fps",
    "15 fps",
    "20 fps",
    "23.976 fps",
    "24 fps",
    "25 fps",
    "29.97 fps",
    "30 fps",
};

const std::array<const char *, 4> aspectRatios = { "Smart Fit", "4:3", "16:9", "Original" };

const std::array<int, 25> videoBitrateSteps = { 16, 32, 64, 96, 128, 256, 384, 512, 768, 900, 1000,
    1200, 1500, 2000, 3000, 4000, 6000, 8000, 10000, 12000, 15000, 30000, 35000, 40000, 50000 };

QString kbpsList(const Rates &rates)
{
    QString text;
    for (int rate : rates)
        text += QString::number(rate) + QStringLiteral(" kbps;");
    return text;
}

Rates scaled(const Rates &rates, int factor)
{
    Rates result;
    for (int rate : rates)
        result.push_back(rate * factor);
    return result;
}

Rates joined(Rates base, std::initializer_list<int> more)
{
    base.insert(base.end(), more);
    return base;
}

bool isOneOf(const QString &text, std::initializer_list<const char *> choices)
{
    for (const char *choice : choices) {
        if (text == QLatin1String(choice))
            return true;
    }
    return false;
}

// The AAC family is one mono ladder; stereo doubles it and 5.1 takes six times it.
Rates aacMonoRates(const QString &sampleRate)
{
    const Rates at8000 = { 8, 16, 24, 32, 40, 48 };
    const Rates at12000 = joined(at8000, { 56, 64 });
    const Rates at16000 = joined(at12000, { 80, 96 });
    const Rates at22050 = joined(at16000, { 112, 128 });
    const Rates at24000 = joined(at22050, { 144 });
    if (sampleRate == QLatin1String("8000 Hz"))
        return at8000;
    if (isOneOf(sampleRate, { "11025 Hz", "12000 Hz" }))
        return at12000;
    if (sampleRate == QLatin1String("16000 Hz"))
        return at16000;
    if (sampleRate == QLatin1String("22050 Hz"))
        return at22050;
    if (sampleRate == QLatin1String("24000 Hz"))
        return at24000;
    if (isOneOf(sampleRate, { "32000 Hz", "44100 Hz", "48000 Hz" }))
        return joined(at24000, { 160 });
    return {};
}

QString aacRates(const QString &sampleRate, const QString &channels, bool surroundAllowed)
{
    const Rates mono = aacMonoRates(sampleRate);
    if (channels == QLatin1String("Mono"))
        return kbpsList(mono);
    if (channels == QLatin1String("Stereo"))
        return kbpsList(scaled(mono, 2));
    if (surroundAllowed && channels == QLatin1String("5.1 Surround"))
        return kbpsList(scaled(mono, 6));
    return QString();
}

QString mp3Rates(const QString &sampleRate, const QString &channels)
{
    const bool mono = channels == QLatin1String("Mono");
    if (!mono && channels != QLatin1String("Stereo"))
        return QString();
    if (sampleRate == QLatin1String("8000 Hz"))
        return kbpsList(mono ? Rates { 16, 24, 32, 40, 48, 56, 64, 80 }
                             : Rates { 32, 48, 64, 80, 96, 112, 128, 160 });
    if (isOneOf(sampleRate, { "11025 Hz", "12000 Hz", "16000 Hz" }))
        return kbpsList(
            mono ? Rates { 24, 32, 40, 48, 56, 64, 80 } : Rates { 48, 64, 80, 96, 112, 128, 160 });
    if (isOneOf(sampleRate, { "22050 Hz", "24000 Hz" }))
        return kbpsList(
            mono ? Rates { 32, 40, 48, 56, 64, 80 } : Rates { 64, 80, 96, 112, 128, 160 });
    if (sampleRate == QLatin1String("32000 Hz"))
        return kbpsList(mono ? Rates { 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 }
                             : Rates { 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 });
    if (isOneOf(sampleRate, { "44100 Hz", "48000 Hz" }))
        return kbpsList(mono ? Rates { 48, 56, 64, 80, 96, 112, 128, 144, 160 }
                             : Rates { 96, 112, 128, 160, 192, 224, 256, 288, 320 });
    return QString();
}

QString mp2Rates(const QString &sampleRate, const QString &channels)
{
    const bool mono = channels == QLatin1String("Mono");
    if (!mono && channels != QLatin1String("Stereo"))
        return QString();
    if (isOneOf(sampleRate, { "22050 Hz", "24000 Hz" }))
        return kbpsList(
            mono ? Rates { 32, 40, 48, 56, 64, 80 } : Rates { 64, 80, 96, 112, 128, 160 });
    if (isOneOf(sampleRate, { "32000 Hz", "44100 Hz", "48000 Hz" }))
        return kbpsList(mono ? Rates { 32, 48, 56, 64, 80, 96, 112, 128, 160 }
                             : Rates { 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 });
    return QString();
}

QString vorbisRates(const QString &sampleRate, const QString &channels)
{
    const bool mono = channels == QLatin1String("Mono");
    if (!mono && channels != QLatin1String("Stereo"))
        return QString();
    if (sampleRate == QLatin1String("8000 Hz"))
        return kbpsList(mono ? Rates { 8, 16, 24, 32, 40 } : Rates { 16, 32, 48, 64, 80 });
    if (isOneOf(sampleRate, { "11025 Hz", "12000 Hz" }))
        return kbpsList(mono ? Rates { 16, 24, 32, 40, 48 } : Rates { 16, 32, 48, 64, 80, 96 });
    if (sampleRate == QLatin1String("16000 Hz"))
        return kbpsList(mono ? Rates { 16, 24, 32, 40, 48, 56, 64, 80, 96 }
                             : Rates { 32, 48, 64, 80, 96, 112, 128, 160, 192 });
    if (isOneOf(sampleRate, { "22050 Hz", "24000 Hz" }))
        return kbpsList(mono ? Rates { 16, 24, 32, 40, 48, 56, 64, 80 }
                             : Rates { 32, 48, 64, 80, 96, 112, 128, 160 });
    if (isOneOf(sampleRate, { "32000 Hz", "44100 Hz", "48000 Hz" }))
        return kbpsList(mono ? Rates { 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 }
                             : Rates { 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 });
    return QString();
}

QString adpcmRates(const QString &sampleRate, const QString &channels)
{
    const bool mono = channels == QLatin1String("Mono");
    if (!mono && channels != QLatin1String("Stereo"))
        return QString();
    if (sampleRate == QLatin1String("8000 Hz"))
        return kbpsList({ mono ? 32 : 64 });
    if (sampleRate == QLatin1String("11025 Hz"))
        return kbpsList({ mono ? 44 : 88 });
    if (sampleRate == QLatin1String("22050 Hz"))
        return kbpsList({ mono ? 88 : 176 });
    if (sampleRate == QLatin1String("44100 Hz"))
        return kbpsList({ mono ? 176 : 325 });
    return QString();
}

// Opus is rate-independent: libopus resamples internally and its useful range depends only on
// how many channels share the stream.
QString opusRates(const QString &channels)
{
    if (channels == QLatin1String("Mono"))
        return kbpsList({ 8, 12, 16, 24, 32, 48, 64, 96, 128 });
    if (channels == QLatin1String("Stereo"))
        return kbpsList({ 16, 24, 32, 48, 64, 96, 128, 160, 192, 256 });
    return QString();
}

// The computed rates keep the 16-bit arithmetic the tables were designed with.
std::int16_t rateFactor(const QString &sampleRate)
{
    QString number = sampleRate;
    number.remove(QStringLiteral("Hz"));
    bool ok = false;
    const int rate = number.trimmed().toInt(&ok);
    if (!ok)
        return 0;
    return static_cast<std::int16_t>(rate * 8 / 1000);
}

std::int16_t channelCount(const QString &channels)
{
    if (channels == QLatin1String("Mono"))
        return 1;
    if (channels == QLatin1String("Stereo"))
        return 2;
    if (channels == QLatin1String("5.1 Surround"))
        return 6;
    return 0;
}

std::int16_t bytesPerSample(const QString &sampleSize)
{
    if (sampleSize == QLatin1String("8 bit"))
        return 1;
    if (sampleSize == QLatin1String("16 bit"))
        return 2;
    if (sampleSize == QLatin1String("24 bit"))
        return 3;
    if (sampleSize == QLatin1String("32 bit"))
        return 4;
    return 0;
}

QString singleEntry(std::int16_t kbps)
{
    return kbpsList({ kbps });
}

int roundHalfEven(double value)
{
    return static_cast<int>(std::nearbyint(value));
}

int frameRateNumber(const QString &frameRate)
{
    if (frameRate == QLatin1String("Original") || frameRate == QLatin1String("-"))
        return 24;
    QString number = frameRate;
    number.remove(QStringLiteral(" fps"), Qt::CaseInsensitive);
    bool ok = false;
    const double value = number.trimmed().toDouble(&ok);
    return ok ? roundHalfEven(value) : 0;
}

} // namespace

QString BuildStandardList(StandardList kind)
{
    QString text;
    auto append = [&text](const auto &entries) {
        for (const char *entry : entries) {
            if (*entry != '\0')
                text += QLatin1String(entry) + QLatin1Char(';');
        }
    };
    switch (kind) {
    case StandardList::FrameSizes:
        append(frameSizes);
        break;
    case StandardList::FrameRates:
        append(frameRates);
        break;
    case StandardList::AspectRatios:
        append(aspectRatios);
        break;
    }
    return text;
}

QString ListAudioBitrates(const QString &codec, const QString &sampleRate, const QString &channels,
    const QString &sampleSize)
{
    if (codec == QLatin1String("MPEG-2/4"))
        return aacRates(sampleRate, channels, true);
    if (codec == QLatin1String("AAC"))
        return aacRates(sampleRate, channels, false);
    if (isOneOf(codec, { "MP3", "AC3" }))
        return mp3Rates(sampleRate, channels);
    if (codec == QLatin1String("MP2"))
        return mp2Rates(sampleRate, channels);
    if (codec == QLatin1String("Ogg Vorbis"))
        return vorbisRates(sampleRate, channels);
    if (isOneOf(codec, { "Microsoft ADPCM", "IMA_ADPCM" }))
        return adpcmRates(sampleRate, channels);
    if (codec == QLatin1String("Opus"))
        return opusRates(channels);
    if (isOneOf(codec, { "RealAudio 3.0 (dnet)", "WMA" }))
        return kbpsList({ 32, 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 288, 320 });
    if (codec == QLatin1String("AMR ACELP"))
        return QStringLiteral(
            "4.75 kbps;5.15 kbps;5.90 kbps;6.70 kbps;7.40 kbps;7.95 kbps;10.2 kbps;12.2 kbps;");
    if (codec == QLatin1String("MS GSM 6.10"))
        return kbpsList({ 13 });
    if (codec == QLatin1String("FLAC"))
        return kbpsList({ 768 });

    const std::int16_t k = rateFactor(sampleRate);
    const std::int16_t count = channelCount(channels);
    if (isOneOf(codec, { "PCM little-endian", "PCM big-endian" }))
        return singleEntry(static_cast<std::int16_t>(bytesPerSample(sampleSize) * k * count));
    if (codec == QLatin1String("IMA ADPCM"))
        return singleEntry(static_cast<std::int16_t>(k / 2 * count));
    if (isOneOf(codec, { "CCITT A-law", "CCITT u-law" }))
        return singleEntry(static_cast<std::int16_t>(k * count));
    // A copied stream keeps the bit rate it has.
    if (codec == QLatin1String("Original audio"))
        return QStringLiteral("-;");
    if (codec == QLatin1String("No Audio"))
        return sampleRate == QLatin1String("-") ? QStringLiteral("-;") : QString();
    return QString();
}

int EstimateVideoBitrate(
    int width, int height, const QString &frameRate, int qualityFactor, BitrateUnit unit)
{
    const int fps = frameRateNumber(frameRate);
    const int q = width < 500 ? qualityFactor + 2 : qualityFactor;
    std::int32_t pixels = 0;
    if (__builtin_mul_overflow(width, height, &pixels)
        || __builtin_mul_overflow(pixels, fps, &pixels)
        || __builtin_mul_overflow(pixels, q, &pixels))
        return 0;
    int bits = roundHalfEven(pixels * 0.07);
    if (unit == BitrateUnit::Kbps)
        bits = roundHalfEven(bits / 1000.0);
    return bits;
}

int UpperVideoBitrate(int width, int height, int maximumKbps)
{
    if (width == 0 && height == 0)
        return maximumKbps;
    return std::min(EstimateVideoBitrate(width, height, QStringLiteral("60"), 4, BitrateUnit::Kbps),
        maximumKbps);
}

int LowerVideoBitrate(int width, int height, int maximumKbps)
{
    if (width == 0 && height == 0) {
        width = 720;
        height = 560;
    }
    const int lower
        = EstimateVideoBitrate(width, height, QStringLiteral("20"), 1, BitrateUnit::Kbps);
    return maximumKbps <= lower ? 0 : lower;
}

QString ListVideoBitrates(int width, int height, int maximumKbps)
{
    if (maximumKbps == 0)
        return QStringLiteral("-;");
    const int upper = UpperVideoBitrate(width, height, maximumKbps);
    const int lower = LowerVideoBitrate(width, height, maximumKbps);
    QString text = QStringLiteral("Smart Fit;");
    for (int step : videoBitrateSteps) {
        if (lower <= step && step <= upper)
            text += QString::number(step) + QStringLiteral(" kbps;");
    }
    return text + QStringLiteral("Custom;");
}

} // namespace sonivert
