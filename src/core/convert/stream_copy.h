#pragma once

#include <QString>

namespace sonivert {

// The audio codec entry of the family that copies a source's sound as it is.
inline const QString CopyAudioCodecLabel = QStringLiteral("Original audio");

// The upper-case extension of the audio container that holds a copied stream of codec (the
// codec's short name, "aac"): M4A for AAC and ALAC, OGG for Vorbis, WAV for PCM, and so on;
// MKA for a codec no closer container takes, and for a file without sound.
QString streamCopyExtension(const QString &codec);

} // namespace sonivert
