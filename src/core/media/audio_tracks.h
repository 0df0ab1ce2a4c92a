#pragma once

#include "core/media/media_item.h"

#include <QString>

namespace sonivert {

// The track a row converts, as the person reads it on the row and in its menu: "track 2 (eng)",
// "all tracks"; "" for a file of one track or none.
QString chosenTrackText(const MediaItem &item);

// What the row's audio facts describe, for a heading: "Track 2: fra, Commentary, AC-3, 6
// channels", "Track 1: eng, ... (all 2 tracks, a file each)"; "" for a file of one track or none.
QString chosenTrackDescription(const MediaItem &item);

// "Track 2: eng, Commentary, AC-3, 6 channels" for a menu or a list.
QString audioTrackLabel(const AudioTrack &track);

// What an output of one track of several adds to its name: " (track 2, eng)", " (track 1)".
QString audioTrackNameSuffix(const AudioTrack &track);

// The row converts track `number` (from 1): its audio fields describe that track from now on.
// False, and the row unchanged, when the file has no such track.
bool selectAudioTrack(MediaItem &item, int number);

// Every track of the row gives an output of its own; the fields keep describing the default
// track. False for a file without sound.
bool selectAllAudioTracks(MediaItem &item);

// The row converts the track a fresh probe picks: the one marked default, else the first.
void selectDefaultAudioTrack(MediaItem &item);

} // namespace sonivert
