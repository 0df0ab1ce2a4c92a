#include "core/convert/worker_protocol.h"

#include <charconv>

namespace sonivert::worker {

namespace {

void putLength(std::string &out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<char>((value >> shift) & 0xffu));
}

uint32_t getLength(std::string_view bytes, size_t at)
{
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | static_cast<uint8_t>(bytes[at + static_cast<size_t>(i)]);
    return value;
}

bool knownType(uint8_t type)
{
    return type >= static_cast<uint8_t>(MessageType::Ready)
        && type <= static_cast<uint8_t>(MessageType::Quit);
}

} // namespace

Message &Message::add(std::string key, std::string value)
{
    fields.emplace_back(std::move(key), std::move(value));
    return *this;
}

Message &Message::add(std::string key, int64_t value)
{
    return add(std::move(key), std::to_string(value));
}

std::string Message::text(std::string_view key, std::string_view fallback) const
{
    for (const auto &[name, value] : fields) {
        if (name == key)
            return value;
    }
    return std::string(fallback);
}

int64_t Message::number(std::string_view key, int64_t fallback) const
{
    for (const auto &[name, value] : fields) {
        if (name != key)
            continue;
        int64_t number = 0;
        const char *end = value.data() + value.size();
        const auto [ptr, ec] = std::from_chars(value.data(), end, number);
        return ec == std::errc() && ptr == end ? number : fallback;
    }
    return fallback;
}

std::vector<std::string> Message::all(std::string_view key) const
{
    std::vector<std::string> values;
    for (const auto &[name, value] : fields) {
        if (name == key)
            values.push_back(value);
    }
    return values;
}

std::string encodeFrame(const Message &message)
{
    std::string payload;
    payload.push_back(static_cast<char>(message.type));
    for (const auto &[key, value] : message.fields) {
        putLength(payload, static_cast<uint32_t>(key.size()));
        payload += key;
        putLength(payload, static_cast<uint32_t>(value.size()));
        payload += value;
    }
    std::string frame;
    putLength(frame, static_cast<uint32_t>(payload.size()));
    return frame + payload;
}

std::optional<Message> decodePayload(std::string_view payload, std::string *error)
{
    const auto fail = [error](const char *why) -> std::optional<Message> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    if (payload.empty())
        return fail("empty frame");
    const auto type = static_cast<uint8_t>(payload[0]);
    if (!knownType(type))
        return fail("unknown message type");
    Message message;
    message.type = static_cast<MessageType>(type);
    size_t at = 1;
    const auto takeString = [&](std::string &out) {
        if (payload.size() - at < 4)
            return false;
        const uint32_t length = getLength(payload, at);
        at += 4;
        if (payload.size() - at < length)
            return false;
        out.assign(payload.substr(at, length));
        at += length;
        return true;
    };
    while (at < payload.size()) {
        std::string key;
        std::string value;
        if (!takeString(key) || !takeString(value))
            return fail("a field runs past the end of its frame");
        message.fields.emplace_back(std::move(key), std::move(value));
    }
    return message;
}

void FrameReader::append(const char *data, size_t size)
{
    if (failed())
        return;
    // What has been read is dropped before the buffer grows.
    if (m_start > 0 && m_start * 2 >= m_buffer.size()) {
        m_buffer.erase(0, m_start);
        m_start = 0;
    }
    m_buffer.append(data, size);
}

std::optional<Message> FrameReader::next()
{
    if (failed())
        return std::nullopt;
    const std::string_view bytes(m_buffer);
    if (bytes.size() - m_start < 4)
        return std::nullopt;
    const uint32_t length = getLength(bytes, m_start);
    if (length > MaxFrameBytes) {
        m_error = "a frame announces " + std::to_string(length) + " bytes, more than allowed";
        return std::nullopt;
    }
    if (bytes.size() - m_start - 4 < length)
        return std::nullopt;
    std::string why;
    std::optional<Message> message = decodePayload(bytes.substr(m_start + 4, length), &why);
    if (!message) {
        m_error = why;
        return std::nullopt;
    }
    m_start += 4 + length;
    if (m_start == m_buffer.size()) {
        m_buffer.clear();
        m_start = 0;
    }
    return message;
}

} // namespace sonivert::worker
