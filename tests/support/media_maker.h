#pragma once

#include <QString>
#include <QStringList>

namespace sonivert::test {

// Runs the ffmpeg program with the given arguments (after "-hide_banner -loglevel error -y")
// and returns true when it exits 0. Test media are made this way, never committed.
bool runFfmpeg(const QStringList &args, QString *errorOutput = nullptr);

struct ClipOptions
{
    double seconds = 1.0;
    bool video = true;
    bool audio = true;
    int width = 320;
    int height = 240;
    QString frameRate = QStringLiteral("25");
    int sampleRate = 44100;
    QString channelLayout = QStringLiteral("stereo");
    QStringList extraOutputArgs; // e.g. {"-metadata", "title=Song"}
};

// Generates a clip from lavfi sources (test pattern and sine tone) into path; the container
// follows the extension. Returns true on success.
bool makeClip(const QString &path, const ClipOptions &options = {});

// A small clip of the given sound (160x120 picture when video), for engine comparisons.
ClipOptions soundClip(double seconds, bool video, int rate, const QString &layout,
    const QStringList &extra = {}, bool audio = true);

} // namespace sonivert::test
