#pragma once

#include <QString>
#include <cstdint>

namespace sonivert {

// What the engine needs to know about an input before it converts it.
struct InputFacts
{
    bool ok = false; // the file exists and can be read
    QString errorText; // "PATH: reason" when it cannot
    bool understood = true; // libavformat could open it; else the facts below are guesses
    int64_t durationUs = -1; // -1 when unknown
    bool hasAudio = false;
    // The container carries no song tags but the first audio stream does (Ogg, Opus, FLAC in
    // Ogg): ffmpeg copies only container tags by default, so those must be mapped explicitly.
    bool tagsOnAudioStreamOnly = false;
};

InputFacts ReadInputFacts(const QString &path);

} // namespace sonivert
