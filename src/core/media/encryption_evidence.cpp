#include "core/media/encryption_evidence.h"

#include <QFile>
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace sonivert {

namespace {

// A damaged or hostile header must not keep the scan busy: every structure visited costs one
// step, and nesting deeper than any real file is not followed.
constexpr int scanSteps = 20000;
constexpr int maxDepth = 12;

class HeaderReader
{
public:
    explicit HeaderReader(QFile &file)
        : m_file(file)
        , m_size(file.size())
    {
    }

    qint64 size() const { return m_size; }

    bool read(qint64 offset, void *buffer, qint64 length)
    {
        if (offset < 0 || length < 0 || offset + length > m_size || !m_file.seek(offset))
            return false;
        return m_file.read(static_cast<char *>(buffer), length) == length;
    }

    // False once the scan has taken all its steps.
    bool step() { return --m_steps >= 0; }

private:
    QFile &m_file;
    qint64 m_size;
    int m_steps = scanSteps;
};

std::uint64_t bigEndian(const unsigned char *bytes, int count)
{
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

std::uint64_t littleEndian(const unsigned char *bytes, int count)
{
    std::uint64_t value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = (value << 8) | bytes[i];
    return value;
}

constexpr std::uint32_t fourCc(const char (&text)[5])
{
    return (std::uint32_t(std::uint8_t(text[0])) << 24)
        | (std::uint32_t(std::uint8_t(text[1])) << 16) | (std::uint32_t(std::uint8_t(text[2])) << 8)
        | std::uint32_t(std::uint8_t(text[3]));
}

// MP4, MOV, 3GP: ISO base media boxes

// Sample entries renamed by Common Encryption (encv, enca, ...) and by Apple's FairPlay (drms,
// drmi), the scheme information that travels with them, and the protection system headers.
bool isProtectionBox(std::uint32_t type)
{
    static constexpr std::array types { fourCc("encv"), fourCc("enca"), fourCc("enct"),
        fourCc("encs"), fourCc("encm"), fourCc("encf"), fourCc("drms"), fourCc("drmi"),
        fourCc("sinf"), fourCc("pssh"), fourCc("senc") };
    return std::find(types.begin(), types.end(), type) != types.end();
}

// Boxes whose payload holds the boxes that can carry protection; the value is how many bytes of
// their own fields come before those children.
int childrenOffset(std::uint32_t type)
{
    switch (type) {
    case fourCc("moov"):
    case fourCc("trak"):
    case fourCc("mdia"):
    case fourCc("minf"):
    case fourCc("stbl"):
    case fourCc("moof"):
    case fourCc("traf"):
        return 0;
    case fourCc("stsd"):
        return 8; // version, flags, entry count
    default:
        return -1;
    }
}

bool boxesShowEncryption(HeaderReader &reader, qint64 begin, qint64 end, int depth)
{
    qint64 position = begin;
    while (position + 8 <= end) {
        if (!reader.step())
            return false;
        unsigned char header[16];
        if (!reader.read(position, header, 8))
            return false;
        std::uint64_t size = bigEndian(header, 4);
        const auto type = std::uint32_t(bigEndian(header + 4, 4));
        qint64 headerSize = 8;
        if (size == 1) {
            if (!reader.read(position + 8, header + 8, 8))
                return false;
            size = bigEndian(header + 8, 8);
            headerSize = 16;
        } else if (size == 0) {
            size = std::uint64_t(end - position);
        }
        if (size < std::uint64_t(headerSize))
            return false;
        // A cut-off file still shows what its last box holds.
        const qint64 boxEnd = size > std::uint64_t(end - position) ? end : position + qint64(size);
        if (isProtectionBox(type))
            return true;
        const int offset = childrenOffset(type);
        if (offset >= 0 && depth < maxDepth
            && boxesShowEncryption(reader, position + headerSize + offset, boxEnd, depth + 1))
            return true;
        position = boxEnd;
    }
    return false;
}

bool looksLikeIsoMedia(HeaderReader &reader)
{
    unsigned char header[8];
    if (!reader.read(0, header, 8))
        return false;
    static constexpr std::array firstBoxes { fourCc("ftyp"), fourCc("moov"), fourCc("mdat"),
        fourCc("free"), fourCc("skip"), fourCc("wide"), fourCc("pnot"), fourCc("styp"),
        fourCc("sidx"), fourCc("moof"), fourCc("pdin"), fourCc("uuid") };
    const auto type = std::uint32_t(bigEndian(header + 4, 4));
    return std::find(firstBoxes.begin(), firstBoxes.end(), type) != firstBoxes.end();
}

// ASF, WMV, WMA: GUID-tagged objects, little-endian

using Guid = std::array<unsigned char, 16>;

// GUIDs as they are stored: the first three groups little-endian.
constexpr Guid asfHeader { 0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0x00, 0xAA,
    0x00, 0x62, 0xCE, 0x6C };
constexpr Guid asfHeaderExtension { 0xB5, 0x03, 0xBF, 0x5F, 0x2E, 0xA9, 0xCF, 0x11, 0x8E, 0xE3,
    0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65 };
constexpr Guid asfStreamProperties { 0x91, 0x07, 0xDC, 0xB7, 0xB7, 0xA9, 0xCF, 0x11, 0x8E, 0xE6,
    0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65 };
constexpr Guid asfContentEncryption { 0xFB, 0xB3, 0x11, 0x22, 0x23, 0xBD, 0xD2, 0x11, 0xB4, 0xB7,
    0x00, 0xA0, 0xC9, 0x55, 0xFC, 0x6E };
constexpr Guid asfExtendedContentEncryption { 0x14, 0xE6, 0x8A, 0x29, 0x22, 0x26, 0x17, 0x4C, 0xB9,
    0x35, 0xDA, 0xE0, 0x7E, 0xE9, 0x28, 0x9C };
constexpr Guid asfAdvancedContentEncryption { 0x33, 0x85, 0x05, 0x43, 0x81, 0x69, 0xE6, 0x49, 0x9B,
    0x74, 0xAD, 0x12, 0xCB, 0x86, 0xD5, 0x8C };

constexpr qint64 asfObjectHeader = 24; // GUID and 64-bit size
constexpr qint64 asfHeaderFields = 30; // header object: GUID, size, object count, two reserved
constexpr qint64 asfExtensionFields = 46; // header extension: GUID, size, GUID, 16 bits, size
constexpr qint64 asfStreamFlagsOffset = 72; // flags of a stream properties object
constexpr unsigned asfEncryptedStream = 0x8000;

bool sameGuid(const unsigned char *bytes, const Guid &guid)
{
    return std::memcmp(bytes, guid.data(), guid.size()) == 0;
}

bool asfObjectsShowEncryption(HeaderReader &reader, qint64 begin, qint64 end, int depth)
{
    qint64 position = begin;
    while (position + asfObjectHeader <= end) {
        if (!reader.step())
            return false;
        unsigned char header[asfObjectHeader];
        if (!reader.read(position, header, asfObjectHeader))
            return false;
        const std::uint64_t size = littleEndian(header + 16, 8);
        if (size < std::uint64_t(asfObjectHeader))
            return false;
        const qint64 objectEnd
            = size > std::uint64_t(end - position) ? end : position + qint64(size);
        if (sameGuid(header, asfContentEncryption) || sameGuid(header, asfExtendedContentEncryption)
            || sameGuid(header, asfAdvancedContentEncryption))
            return true;
        if (sameGuid(header, asfStreamProperties)) {
            unsigned char flags[2];
            if (position + asfStreamFlagsOffset + 2 <= objectEnd
                && reader.read(position + asfStreamFlagsOffset, flags, 2)
                && (littleEndian(flags, 2) & asfEncryptedStream) != 0)
                return true;
        }
        if (sameGuid(header, asfHeaderExtension) && depth < maxDepth
            && asfObjectsShowEncryption(
                reader, position + asfExtensionFields, objectEnd, depth + 1))
            return true;
        position = objectEnd;
    }
    return false;
}

bool asfShowsEncryption(HeaderReader &reader)
{
    unsigned char header[asfHeaderFields];
    if (!reader.read(0, header, asfHeaderFields) || !sameGuid(header, asfHeader))
        return false;
    const std::uint64_t size = littleEndian(header + 16, 8);
    const qint64 end = size > std::uint64_t(reader.size()) ? reader.size() : qint64(size);
    return asfObjectsShowEncryption(reader, asfHeaderFields, end, 0);
}

// Matroska, WebM: EBML elements

constexpr std::uint32_t ebmlHeader = 0x1A45DFA3;
constexpr std::uint32_t mkvSegment = 0x18538067;
constexpr std::uint32_t mkvCluster = 0x1F43B675;
constexpr std::uint32_t mkvTracks = 0x1654AE6B;
constexpr std::uint32_t mkvTrackEntry = 0xAE;
constexpr std::uint32_t mkvContentEncodings = 0x6D80;
constexpr std::uint32_t mkvContentEncoding = 0x6240;
constexpr std::uint32_t mkvContentEncodingType = 0x5033;
constexpr std::uint32_t mkvContentEncryption = 0x5035;
constexpr std::uint64_t unknownSize = ~std::uint64_t(0);

struct Element
{
    std::uint32_t id = 0;
    std::uint64_t size = 0; // unknownSize when the element runs to the end of its parent
    qint64 payload = 0; // where its content starts
};

// A variable-length number: the count of leading zero bits of the first byte gives its length.
bool readVariableNumber(
    HeaderReader &reader, qint64 &position, int maxLength, bool keepMarker, std::uint64_t &value)
{
    unsigned char bytes[8];
    if (!reader.read(position, bytes, 1))
        return false;
    int length = 1;
    while (length <= maxLength && (bytes[0] & (0x80 >> (length - 1))) == 0)
        ++length;
    if (length > maxLength || !reader.read(position + 1, bytes + 1, length - 1))
        return false;
    value = keepMarker ? bytes[0] : bytes[0] & ((0x80 >> (length - 1)) - 1);
    bool allOnes = value == std::uint64_t((0x80 >> (length - 1)) - 1);
    for (int i = 1; i < length; ++i) {
        value = (value << 8) | bytes[i];
        allOnes = allOnes && bytes[i] == 0xFF;
    }
    if (!keepMarker && allOnes)
        value = unknownSize;
    position += length;
    return true;
}

bool readElement(HeaderReader &reader, qint64 position, Element &element)
{
    std::uint64_t id = 0;
    if (!readVariableNumber(reader, position, 4, true, id)
        || !readVariableNumber(reader, position, 8, false, element.size))
        return false;
    element.id = std::uint32_t(id);
    element.payload = position;
    return true;
}

bool isMatroskaParent(std::uint32_t id)
{
    return id == mkvSegment || id == mkvTracks || id == mkvTrackEntry || id == mkvContentEncodings
        || id == mkvContentEncoding;
}

bool elementsShowEncryption(HeaderReader &reader, qint64 begin, qint64 end, int depth)
{
    qint64 position = begin;
    while (position < end) {
        if (!reader.step())
            return false;
        Element element;
        if (!readElement(reader, position, element))
            return false;
        if (element.id == mkvContentEncryption)
            return true;
        if (element.id == mkvCluster)
            return false; // the track headers come before the first cluster
        const bool unknown = element.size == unknownSize;
        if (unknown && !isMatroskaParent(element.id))
            return false;
        const qint64 room = end - element.payload;
        if (room < 0)
            return false;
        const qint64 elementEnd = unknown || element.size > std::uint64_t(room)
            ? end
            : element.payload + qint64(element.size);
        if (element.id == mkvContentEncodingType && element.size >= 1 && element.size <= 8) {
            unsigned char bytes[8];
            // 1 means the content is encrypted (0 is compression).
            if (reader.read(element.payload, bytes, qint64(element.size))
                && bigEndian(bytes, int(element.size)) == 1)
                return true;
        }
        if (isMatroskaParent(element.id) && depth < maxDepth
            && elementsShowEncryption(reader, element.payload, elementEnd, depth + 1))
            return true;
        position = elementEnd;
    }
    return false;
}

bool matroskaShowsEncryption(HeaderReader &reader)
{
    Element element;
    if (!readElement(reader, 0, element) || element.id != ebmlHeader)
        return false;
    return elementsShowEncryption(reader, 0, reader.size(), 0);
}

} // namespace

bool containerShowsEncryption(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    HeaderReader reader(file);
    if (asfShowsEncryption(reader) || matroskaShowsEncryption(reader))
        return true;
    return looksLikeIsoMedia(reader) && boxesShowEncryption(reader, 0, reader.size(), 0);
}

} // namespace sonivert
