#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace sonivert::worker {

// One encoded packet of a segment, with the side data a join needs: the encoder's skip samples
// (delay and padding) and a new stream header (FLAC's STREAMINFO at the end).
struct SegmentPacket
{
    int64_t pts = 0; // in samples of the output rate, on the time line of the whole conversion
    int64_t duration = 0;
    int flags = 0;
    std::string data;
    std::string skipSamples; // AV_PKT_DATA_SKIP_SAMPLES, or empty
    std::string newExtradata; // AV_PKT_DATA_NEW_EXTRADATA, or empty
};

// Which samples of the conversion a segment is kept for: [keepFrom, keepTo), keepTo -1 for the
// end of the sound. Both lie on the encoder's frame grid.
struct SegmentRange
{
    int64_t keepFrom = 0;
    int64_t keepTo = -1;
};

// A segment's packets, written to a private file as the encoder gives them.
class SegmentPacketWriter
{
public:
    SegmentPacketWriter() = default;
    SegmentPacketWriter(const SegmentPacketWriter &) = delete;
    SegmentPacketWriter &operator=(const SegmentPacketWriter &) = delete;
    ~SegmentPacketWriter();

    // Creates path (never over an existing file); errno-style text in error on failure.
    bool open(const std::string &path, const SegmentRange &range, std::string *error);
    bool write(const SegmentPacket &packet, std::string *error);
    bool close(std::string *error);

private:
    bool put(const void *data, size_t size, std::string *error);

    FILE *m_file = nullptr;
};

struct SegmentPackets
{
    SegmentRange range;
    std::vector<SegmentPacket> packets;
};

// Reads a whole segment file; false with the reason in error when it is missing or damaged.
bool readSegmentPackets(const std::string &path, SegmentPackets *segment, std::string *error);

} // namespace sonivert::worker
