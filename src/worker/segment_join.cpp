#include "worker/segment_join.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace sonivert::worker {

namespace {

// Frames of the earlier segment held back at each join, so that the reservoir of the later one
// can be moved into them.
constexpr size_t HeldFrames = 64;
// How far past the planned join an MP3 join may move to find room for the borrowed data. The
// later segment's frames become the same as the earlier one's within a second or two of the join,
// and where they are the same the borrowed data fits.
constexpr size_t Mp3JoinSlack = Mp3JoinFrames;
// Frames after a join whose main data may still begin before it.
constexpr size_t Mp3BorrowingFrames = 40;
constexpr size_t FlacStreamInfoBytes = 34;

class BitReader
{
public:
    BitReader(const std::string &bytes, size_t offset)
        : m_bytes(bytes)
        , m_bit(offset * 8)
    {
    }
    bool has(size_t bits) const { return m_bit + bits <= m_bytes.size() * 8; }
    unsigned read(int bits)
    {
        unsigned value = 0;
        for (int i = 0; i < bits; ++i, ++m_bit) {
            const auto byte = static_cast<unsigned char>(m_bytes[m_bit / 8]);
            value = (value << 1) | ((byte >> (7 - m_bit % 8)) & 1u);
        }
        return value;
    }
    void skip(int bits) { m_bit += static_cast<size_t>(bits); }

private:
    const std::string &m_bytes;
    size_t m_bit;
};

// FLAC's CRCs (polynomials 0x07 and 0x8005, MSB first), a byte at a time: a join runs them over
// every frame.
struct CrcTables
{
    uint8_t crc8[256];
    uint16_t crc16[256];
    CrcTables()
    {
        for (unsigned i = 0; i < 256; ++i) {
            unsigned c8 = i;
            unsigned c16 = i << 8;
            for (int bit = 0; bit < 8; ++bit) {
                c8 = (c8 & 0x80) ? (c8 << 1) ^ 0x07 : c8 << 1;
                c16 = (c16 & 0x8000) ? (c16 << 1) ^ 0x8005 : c16 << 1;
            }
            crc8[i] = static_cast<uint8_t>(c8);
            crc16[i] = static_cast<uint16_t>(c16);
        }
    }
};

const CrcTables &crcTables()
{
    static const CrcTables tables;
    return tables;
}

uint8_t crc8(const std::string &bytes)
{
    const CrcTables &tables = crcTables();
    uint8_t crc = 0;
    for (const char c : bytes)
        crc = tables.crc8[crc ^ static_cast<uint8_t>(c)];
    return crc;
}

uint16_t crc16(const std::string &bytes)
{
    const CrcTables &tables = crcTables();
    uint16_t crc = 0;
    for (const char c : bytes)
        crc = static_cast<uint16_t>(
            (crc << 8) ^ tables.crc16[(crc >> 8) ^ static_cast<uint8_t>(c)]);
    return crc;
}

// FLAC's UTF-8-like coding of frame numbers (up to 36 bits).
std::string flacNumber(uint64_t value)
{
    if (value < 0x80)
        return std::string(1, static_cast<char>(value));
    int bytes = 2;
    while (bytes < 7 && value >= (uint64_t(1) << (5 * bytes + 1)))
        ++bytes;
    std::string out(static_cast<size_t>(bytes), '\0');
    for (int i = bytes - 1; i > 0; --i) {
        out[static_cast<size_t>(i)] = static_cast<char>(0x80 | (value & 0x3f));
        value >>= 6;
    }
    out[0] = static_cast<char>((0xff00 >> bytes) | value);
    return out;
}

// The length of the coded number that starts with lead, or 0 when lead starts none.
int flacNumberLength(uint8_t lead)
{
    if (!(lead & 0x80))
        return 1;
    int length = 0;
    while (length < 8 && (lead & (0x80 >> length)))
        ++length;
    return length >= 2 && length <= 7 ? length : 0;
}

struct FlacTotals
{
    uint64_t frames = 0;
    uint64_t samples = 0;
    uint32_t minBytes = UINT32_MAX;
    uint32_t maxBytes = 0;
};

// STREAMINFO for the joined frames: sizes and length of the whole, no MD5 (allowed: "unknown").
std::string joinedStreamInfo(std::string info, const FlacTotals &totals)
{
    const auto put24 = [&](size_t at, uint32_t value) {
        info[at] = static_cast<char>(value >> 16);
        info[at + 1] = static_cast<char>(value >> 8);
        info[at + 2] = static_cast<char>(value);
    };
    put24(4, totals.frames ? totals.minBytes : 0);
    put24(7, totals.maxBytes);
    const uint64_t samples = totals.samples & 0xfffffffffULL;
    info[13] = static_cast<char>((static_cast<uint8_t>(info[13]) & 0xf0) | (samples >> 32));
    for (int i = 0; i < 4; ++i)
        info[static_cast<size_t>(14 + i)] = static_cast<char>(samples >> (24 - 8 * i));
    std::fill(info.begin() + 18, info.end(), '\0');
    return info;
}

class Joiner
{
public:
    Joiner(const JoinSpec &spec, const PacketSink &sink)
        : m_spec(spec)
        , m_sink(sink)
    {
    }

    bool add(const SegmentPackets &segment, bool first, bool last, std::string *error);
    bool finish(std::string *error);

private:
    bool emit(const SegmentPacket &packet, std::string *error);
    bool emitHeld(size_t keep, std::string *error);

    const JoinSpec &m_spec;
    const PacketSink &m_sink;
    std::vector<SegmentPacket> m_held; // kept packets not yet handed on
    std::vector<SegmentPacket> m_extra; // the earlier segment's packets just past its range
    FlacTotals m_flac;
    std::string m_streamInfo;
};

bool Joiner::add(const SegmentPackets &segment, bool first, bool last, std::string *error)
{
    const int64_t from = first ? INT64_MIN : segment.range.keepFrom - m_spec.delay;
    const int64_t to = last ? INT64_MAX : segment.range.keepTo - m_spec.delay;
    size_t start = 0;
    while (start < segment.packets.size() && segment.packets[start].pts < from)
        ++start;
    if (!first && m_spec.repair == JoinRepair::Mp3
        && !resolveMp3Reservoir(m_held, m_extra, segment.packets, &start)) {
        *error = "The MP3 segments could not be joined: no room for the bit reservoir";
        return false;
    }
    if (!emitHeld(0, error))
        return false;
    m_extra.clear();
    for (size_t i = start; i < segment.packets.size(); ++i) {
        const SegmentPacket &packet = segment.packets[i];
        if (packet.pts >= to) {
            if (m_extra.size() < Mp3JoinSlack && !packet.data.empty())
                m_extra.push_back(packet);
            continue;
        }
        m_held.push_back(packet);
        if (m_held.size() > 2 * HeldFrames && !emitHeld(HeldFrames, error))
            return false;
    }
    return true;
}

bool Joiner::emitHeld(size_t keep, std::string *error)
{
    if (m_held.size() <= keep)
        return true;
    const auto end = m_held.end() - static_cast<std::ptrdiff_t>(keep);
    for (auto it = m_held.begin(); it != end; ++it) {
        if (!emit(*it, error))
            return false;
    }
    m_held.erase(m_held.begin(), end);
    return true;
}

bool Joiner::emit(const SegmentPacket &packet, std::string *error)
{
    if (m_spec.repair != JoinRepair::Flac)
        return m_sink(packet);
    if (packet.data.empty()) {
        // The encoder's closing word: its STREAMINFO describes one segment only.
        if (packet.newExtradata.size() == FlacStreamInfoBytes)
            m_streamInfo = packet.newExtradata;
        return true;
    }
    SegmentPacket renumbered = packet;
    renumbered.data = renumberFlacFrame(packet.data, m_flac.frames);
    if (renumbered.data.empty()) {
        *error = "The FLAC segments could not be joined: a frame header is damaged";
        return false;
    }
    renumbered.newExtradata.clear();
    ++m_flac.frames;
    m_flac.samples += static_cast<uint64_t>(std::max<int64_t>(packet.duration, 0));
    const auto bytes = static_cast<uint32_t>(renumbered.data.size());
    m_flac.minBytes = std::min(m_flac.minBytes, bytes);
    m_flac.maxBytes = std::max(m_flac.maxBytes, bytes);
    return m_sink(renumbered);
}

bool Joiner::finish(std::string *error)
{
    if (!emitHeld(0, error))
        return false;
    if (m_spec.repair != JoinRepair::Flac || m_streamInfo.empty())
        return true;
    SegmentPacket closing;
    closing.pts = INT64_MIN;
    closing.newExtradata = joinedStreamInfo(m_streamInfo, m_flac);
    return m_sink(closing);
}

} // namespace

Mp3FrameLayout mp3FrameLayout(const std::string &frame)
{
    Mp3FrameLayout layout;
    if (frame.size() < 4)
        return layout;
    BitReader header(frame, 0);
    if (header.read(11) != 0x7ff)
        return layout;
    const unsigned version = header.read(2); // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
    const unsigned layer = header.read(2);
    const bool crc = header.read(1) == 0;
    header.skip(8 + 2 + 1 + 1); // bit rate, sample rate, padding, private
    const bool mono = header.read(2) == 3;
    if (layer != 1 || version == 1)
        return layout;
    const bool mpeg1 = version == 3;
    const int sideBytes = mpeg1 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    layout.sideEnd = 4 + (crc ? 2 : 0) + sideBytes;
    if (frame.size() < static_cast<size_t>(layout.sideEnd))
        return layout;
    BitReader side(frame, static_cast<size_t>(4 + (crc ? 2 : 0)));
    const int channels = mono ? 1 : 2;
    layout.mainDataBegin = static_cast<int>(side.read(mpeg1 ? 9 : 8));
    side.skip(mpeg1 ? (mono ? 5 : 3) + 4 * channels : (mono ? 1 : 2));
    int bits = 0;
    for (int granule = 0; granule < (mpeg1 ? 2 : 1); ++granule) {
        for (int channel = 0; channel < channels; ++channel) {
            bits += static_cast<int>(side.read(12));
            side.skip(mpeg1 ? 47 : 51);
        }
    }
    layout.mainDataBytes = (bits + 7) / 8;
    layout.valid = true;
    return layout;
}

namespace {

// The bytes an MP3 frame of these header fields takes, or 0 for a free or invalid bit rate.
int mp3FrameBytes(unsigned version, unsigned bitrateIndex, unsigned rateIndex, bool padding)
{
    static const int mpeg1[15]
        = { 0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 };
    static const int mpeg2[15] = { 0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 };
    static const int rates[3] = { 44100, 48000, 32000 };
    if (bitrateIndex == 0 || bitrateIndex > 14 || rateIndex > 2)
        return 0;
    const bool one = version == 3;
    const int rate = rates[rateIndex] >> (one ? 0 : version == 2 ? 1 : 2);
    const int kbps = one ? mpeg1[bitrateIndex] : mpeg2[bitrateIndex];
    return (one ? 144000 : 72000) * kbps / rate + (padding ? 1 : 0);
}

// Raises the bit rate of an MP3 frame until it has at least `extra` more bytes at the end of its
// main data region, which its own main data does not use. False when no bit rate gives that much
// or the frame carries a CRC.
bool enlargeMp3Frame(std::string &frame, int64_t extra)
{
    if (frame.size() < 4)
        return false;
    const auto byte1 = static_cast<uint8_t>(frame[1]);
    const auto byte2 = static_cast<uint8_t>(frame[2]);
    const unsigned version = (byte1 >> 3) & 3;
    const bool crc = !(byte1 & 1);
    const unsigned rateIndex = (byte2 >> 2) & 3;
    const bool padding = byte2 & 2;
    const int size = mp3FrameBytes(version, byte2 >> 4, rateIndex, padding);
    if (crc || size != static_cast<int>(frame.size()))
        return false;
    for (unsigned index = (byte2 >> 4) + 1; index <= 14; ++index) {
        const int larger = mp3FrameBytes(version, index, rateIndex, padding);
        if (larger - size >= extra) {
            frame[2] = static_cast<char>((byte2 & 0x0f) | (index << 4));
            frame.resize(static_cast<size_t>(larger), '\0');
            return true;
        }
    }
    return false;
}

} // namespace

bool resolveMp3Reservoir(std::vector<SegmentPacket> &tail, const std::vector<SegmentPacket> &extra,
    const std::vector<SegmentPacket> &next, size_t *start)
{
    // Where the frames of the earlier segment are the same as the later one's (they become so
    // within a second or two) the borrowed data fits; failing that, the last frame before the join
    // takes a higher bit rate to make room.
    for (int pass = 0; pass < 2; ++pass) {
        const size_t shifts = pass == 0 ? extra.size() : 0;
        for (size_t shift = 0; shift <= shifts && *start + shift < next.size(); ++shift) {
            std::vector<SegmentPacket> before(tail);
            before.insert(
                before.end(), extra.begin(), extra.begin() + static_cast<std::ptrdiff_t>(shift));
            const size_t join = *start + shift;
            if (mp3JoinFits(before, next, join, pass == 1)) {
                tail = std::move(before);
                *start = join;
                return true;
            }
        }
    }
    return false;
}

bool mp3JoinFits(std::vector<SegmentPacket> &before, const std::vector<SegmentPacket> &next,
    size_t join, bool enlarge)
{
    if (before.empty())
        return false;
    // The main data of the frames before the join, as one stream.
    int64_t total = 0;
    int64_t usedEnd = 0;
    std::vector<int> sideEnds;
    for (const SegmentPacket &packet : before) {
        const Mp3FrameLayout layout = mp3FrameLayout(packet.data);
        if (!layout.valid)
            return false;
        usedEnd = std::max(usedEnd, total - layout.mainDataBegin + layout.mainDataBytes);
        sideEnds.push_back(layout.sideEnd);
        total += static_cast<int64_t>(packet.data.size()) - layout.sideEnd;
    }
    // What the frames from the join on borrow from before it.
    int64_t need = 0;
    int64_t position = 0;
    for (size_t i = join; i < next.size() && i < join + Mp3BorrowingFrames; ++i) {
        const Mp3FrameLayout layout = mp3FrameLayout(next[i].data);
        if (!layout.valid)
            return false;
        need = std::max<int64_t>(need, layout.mainDataBegin - position);
        position += static_cast<int64_t>(next[i].data.size()) - layout.sideEnd;
    }
    if (need > total - usedEnd) {
        const int64_t size = static_cast<int64_t>(before.back().data.size());
        if (!enlarge || !enlargeMp3Frame(before.back().data, need - (total - usedEnd)))
            return false;
        total += static_cast<int64_t>(before.back().data.size()) - size;
    }
    // The borrowed bytes: the end of the main data of next's frames before the join.
    std::string borrowed;
    for (size_t i = join; i-- > 0 && static_cast<int64_t>(borrowed.size()) < need;) {
        const Mp3FrameLayout layout = mp3FrameLayout(next[i].data);
        if (!layout.valid)
            return false;
        borrowed.insert(0, next[i].data, static_cast<size_t>(layout.sideEnd));
    }
    if (static_cast<int64_t>(borrowed.size()) < need)
        return false;
    borrowed.erase(0, borrowed.size() - static_cast<size_t>(need));
    // Written over the unused end of the earlier frames' main data, from the back.
    int64_t left = need;
    for (size_t r = before.size(); r-- > 0 && left > 0;) {
        std::string &data = before[r].data;
        const int64_t room = static_cast<int64_t>(data.size()) - sideEnds[r];
        const int64_t count = std::min(room, left);
        std::memcpy(data.data() + data.size() - count, borrowed.data() + (left - count),
            static_cast<size_t>(count));
        left -= count;
    }
    return true;
}

std::string renumberFlacFrame(const std::string &frame, uint64_t number)
{
    if (frame.size() < 6 || static_cast<uint8_t>(frame[0]) != 0xff
        || (static_cast<uint8_t>(frame[1]) & 0xfe) != 0xf8)
        return {};
    const bool variable = frame[1] & 1;
    if (variable)
        return {};
    const int numberLength = flacNumberLength(static_cast<uint8_t>(frame[4]));
    if (numberLength == 0)
        return {};
    const unsigned blockCode = static_cast<uint8_t>(frame[2]) >> 4;
    const unsigned rateCode = static_cast<uint8_t>(frame[2]) & 0x0f;
    const size_t extra = (blockCode == 6          ? 1
                                 : blockCode == 7 ? 2
                                                  : 0)
        + (rateCode == 12                            ? 1
                : (rateCode == 13 || rateCode == 14) ? 2
                                                     : 0);
    const size_t headerEnd = 4 + static_cast<size_t>(numberLength) + extra; // before its CRC-8
    if (frame.size() < headerEnd + 3)
        return {};
    const std::string coded = flacNumber(number);
    // The first segment's frames have their numbers already.
    if (frame.compare(4, static_cast<size_t>(numberLength), coded) == 0)
        return frame;
    std::string out
        = frame.substr(0, 4) + coded + frame.substr(4 + static_cast<size_t>(numberLength), extra);
    out += static_cast<char>(crc8(out));
    out.append(frame, headerEnd + 1, frame.size() - headerEnd - 3);
    const uint16_t crc = crc16(out);
    out += static_cast<char>(crc >> 8);
    out += static_cast<char>(crc & 0xff);
    return out;
}

bool joinSegments(const std::vector<std::string> &parts, const JoinSpec &spec,
    const PacketSink &sink, std::string *error)
{
    Joiner joiner(spec, sink);
    for (size_t i = 0; i < parts.size(); ++i) {
        SegmentPackets segment;
        if (!readSegmentPackets(parts[i], &segment, error)
            || !joiner.add(segment, i == 0, i + 1 == parts.size(), error))
            return false;
    }
    return joiner.finish(error);
}

} // namespace sonivert::worker
