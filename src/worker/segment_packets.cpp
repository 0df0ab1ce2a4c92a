#include "worker/segment_packets.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace sonivert::worker {

namespace {

constexpr char Magic[8] = { 'S', 'V', 'S', 'E', 'G', '0', '1', '\n' };
constexpr uint32_t MaxPacketBytes = 64u * 1024u * 1024u;

struct FileClose
{
    void operator()(FILE *file) const { std::fclose(file); }
};

bool readExactly(FILE *file, void *data, size_t size)
{
    return size == 0 || std::fread(data, 1, size, file) == size;
}

bool readBlob(FILE *file, std::string *blob)
{
    uint32_t size = 0;
    if (!readExactly(file, &size, sizeof size) || size > MaxPacketBytes)
        return false;
    blob->resize(size);
    return readExactly(file, blob->data(), size);
}

} // namespace

SegmentPacketWriter::~SegmentPacketWriter()
{
    if (m_file)
        std::fclose(m_file);
}

bool SegmentPacketWriter::open(
    const std::string &path, const SegmentRange &range, std::string *error)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    m_file = ::fdopen(fd, "wb");
    if (!m_file) {
        *error = path + ": " + std::strerror(errno);
        ::close(fd);
        return false;
    }
    return put(Magic, sizeof Magic, error) && put(&range.keepFrom, sizeof range.keepFrom, error)
        && put(&range.keepTo, sizeof range.keepTo, error);
}

bool SegmentPacketWriter::put(const void *data, size_t size, std::string *error)
{
    if (size == 0 || std::fwrite(data, 1, size, m_file) == size)
        return true;
    *error = std::strerror(errno ? errno : EIO);
    return false;
}

bool SegmentPacketWriter::write(const SegmentPacket &packet, std::string *error)
{
    const auto blob = [&](const std::string &bytes) {
        const auto size = static_cast<uint32_t>(bytes.size());
        return put(&size, sizeof size, error) && put(bytes.data(), bytes.size(), error);
    };
    const int32_t flags = packet.flags;
    return put(&packet.pts, sizeof packet.pts, error)
        && put(&packet.duration, sizeof packet.duration, error) && put(&flags, sizeof flags, error)
        && blob(packet.data) && blob(packet.skipSamples) && blob(packet.newExtradata);
}

bool SegmentPacketWriter::close(std::string *error)
{
    if (!m_file)
        return true;
    const bool flushed = std::fflush(m_file) == 0;
    const int flushError = errno;
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (flushed && closed)
        return true;
    *error = std::strerror(flushed ? errno : flushError);
    return false;
}

bool readSegmentPackets(const std::string &path, SegmentPackets *segment, std::string *error)
{
    std::unique_ptr<FILE, FileClose> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    char magic[sizeof Magic] = {};
    if (!readExactly(file.get(), magic, sizeof magic) || std::memcmp(magic, Magic, sizeof Magic)
        || !readExactly(file.get(), &segment->range.keepFrom, sizeof(int64_t))
        || !readExactly(file.get(), &segment->range.keepTo, sizeof(int64_t))) {
        *error = path + ": not a segment file";
        return false;
    }
    segment->packets.clear();
    for (;;) {
        SegmentPacket packet;
        const size_t got = std::fread(&packet.pts, 1, sizeof packet.pts, file.get());
        if (got == 0 && std::feof(file.get()))
            return true;
        if (got != sizeof packet.pts)
            break;
        int32_t flags = 0;
        if (!readExactly(file.get(), &packet.duration, sizeof packet.duration)
            || !readExactly(file.get(), &flags, sizeof flags) || !readBlob(file.get(), &packet.data)
            || !readBlob(file.get(), &packet.skipSamples)
            || !readBlob(file.get(), &packet.newExtradata))
            break;
        packet.flags = flags;
        segment->packets.push_back(std::move(packet));
    }
    *error = path + ": the segment file is damaged";
    return false;
}

} // namespace sonivert::worker
