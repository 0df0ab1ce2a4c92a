#pragma once

#include <QString>

namespace sonivert {

// Lists travel as one text of entries, each followed by ";" ("44100 Hz;48000 Hz;").

enum class StandardList {
    FrameSizes = 1,
    FrameRates = 2,
    AspectRatios = 3,
};

QString BuildStandardList(StandardList kind);

// Admissible audio bit rates for a codec label at a sample rate, channel layout and sample size,
// e.g. ("MP3", "44100 Hz", "Stereo", "16 bit"). A combination the tables do not name gives "".
QString ListAudioBitrates(const QString &codec, const QString &sampleRate, const QString &channels,
    const QString &sampleSize);

enum class BitrateUnit {
    BitsPerSecond = 0,
    Kbps = 1,
};

// The bit rate a picture of width x height at the frame rate wants for the quality factor
// (4 High, 2 Standard, 1 Small size). Products beyond 32-bit range give 0.
int EstimateVideoBitrate(
    int width, int height, const QString &frameRate, int qualityFactor, BitrateUnit unit);

// "Smart Fit;", the bit-rate steps from the lower to the upper bound, "Custom;"; "-;" when the
// format allows no video bit rate (maximum 0).
QString ListVideoBitrates(int width, int height, int maximumKbps);
int LowerVideoBitrate(int width, int height, int maximumKbps);
int UpperVideoBitrate(int width, int height, int maximumKbps);

} // namespace sonivert
