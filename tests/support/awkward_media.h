#pragma once

#include <QList>
#include <QString>

namespace sonivert::test {

// Every awkward clip holds this much sound, a sine tone, whatever its container claims.
inline constexpr double AwkwardSoundSeconds = 3.0;

struct AwkwardClip
{
    QString label;
    QString path;
};

// Makes clips whose containers mislead a converter that trusts them: a non-zero start time, an
// AVI with and without index, a MOV edit list, an ASF whose duration field reads 0, an ASF written
// as a stream (no duration, no index), sound before the ASF pre-roll ends, an MP4 edit list that
// starts the sound late, a Matroska duration shorter than the sound, FLV with late sound, MPEG-PS,
// DV, 3GP, WebM and Ogg. An empty list when ffmpeg fails; error says which clip.
QList<AwkwardClip> makeAwkwardClips(const QString &folder, QString *error);

// An M4A of AwkwardSoundSeconds whose last third decodes to nothing: ffmpeg converts it, exits
// 0, and leaves an output two thirds as long.
bool makeDamagedSound(const QString &path);

// The sound a file decodes to, in seconds, as the ffmpeg program decodes it; -1 when it cannot.
double decodedSeconds(const QString &path);

} // namespace sonivert::test
