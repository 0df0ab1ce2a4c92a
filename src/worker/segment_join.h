#pragma once

#include "worker/segment_packets.h"

#include <functional>
#include <string>
#include <vector>

namespace sonivert::worker {

// What a join must repair where two segments meet, by the encoder that wrote them.
enum class JoinRepair {
    None, // packets stand alone (PCM, AAC)
    Mp3, // main data borrowed from frames before the join (the bit reservoir)
    Flac, // frame numbers, their CRCs and the stream header
};

struct JoinSpec
{
    JoinRepair repair = JoinRepair::None;
    int64_t delay = 0; // the encoder's delay in samples: packet times run this far ahead
    int frameSamples = 0;
};

// The frames an MP3 segment runs past its end so that a join may move there.
inline constexpr int Mp3JoinFrames = 72;

using PacketSink = std::function<bool(const SegmentPacket &packet)>;

// Reads the segment files in order, keeps each one's packets for its range, repairs the joins and
// hands the packets of one continuous stream to sink. False with the reason in error.
bool joinSegments(const std::vector<std::string> &parts, const JoinSpec &spec,
    const PacketSink &sink, std::string *error);

// The layout of one MP3 frame, for the bit reservoir: where its main data region starts in the
// frame, and the main data it uses, which begins mainDataBegin bytes before that region.
struct Mp3FrameLayout
{
    bool valid = false;
    int sideEnd = 0; // header, CRC and side information
    int mainDataBegin = 0;
    int mainDataBytes = 0;
};
Mp3FrameLayout mp3FrameLayout(const std::string &frame);

// Moves the main data that the frames of next from start on borrow from next's earlier frames
// into the unused end of the main data of tail, trying the join up to extra.size() frames later
// (moving those frames of extra onto tail and start on), else giving tail's last frame a higher
// bit rate for room. False when it fits nowhere.
bool resolveMp3Reservoir(std::vector<SegmentPacket> &tail, const std::vector<SegmentPacket> &extra,
    const std::vector<SegmentPacket> &next, size_t *start);

// One attempt of the above: the frames before (changed only when it fits) followed by next's from
// join on.
bool mp3JoinFits(std::vector<SegmentPacket> &before, const std::vector<SegmentPacket> &next,
    size_t join, bool enlarge);

// A FLAC frame with its frame number rewritten and both CRCs recomputed; empty if it is not one.
std::string renumberFlacFrame(const std::string &frame, uint64_t number);

} // namespace sonivert::worker
