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
        && type <= static_cast<uint8_t>(MessageType::Accepted);
}

} // namespace

Message &Message::Add(std::string key, std::string value)
{
    fields.emplace_back(std::move(key), std::move(value));
    return *this;
}

Message &Message::Add(std::string key, int64_t value)
{
    return Add(std::move(key), std::to_string(value));
}

std::string Message::Text(std::string_view key, std::string_view fallback) const
{
    for (const auto &[name, value] : fields) {
        if (name == key)
            return value;
    }
    return std::string(fallback);
}

int64_t Message::Number(std::string_view key, int64_t fallback) const
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

std::vector<std::string> Message::All(std::string_view key) const
{
    std::vector<std::string> values;
    for (const auto &[name, value] : fields) {
        if (name == key)
            values.push_back(value);
    }
    return values;
}

std::string EncodeFrame(const Message &message)
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

std::optional<Message> DecodePayload(std::string_view payload, std::string *error)
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

void FrameReader::Append(const char *data, size_t size)
{
    if (Failed())
        return;
    // What has been read is dropped before the buffer grows.
    if (start_ > 0 && start_ * 2 >= buffer_.size()) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    buffer_.append(data, size);
}

std::optional<Message> FrameReader::Next()
{
    if (Failed())
        return std::nullopt;
    const std::string_view bytes(buffer_);
    if (bytes.size() - start_ < 4)
        return std::nullopt;
    const uint32_t length = getLength(bytes, start_);
    if (length > MaxFrameBytes) {
        error_ = "a frame announces " + std::to_string(length) + " bytes, more than allowed";
        return std::nullopt;
    }
    if (bytes.size() - start_ - 4 < length)
        return std::nullopt;
    std::string why;
    std::optional<Message> message = DecodePayload(bytes.substr(start_ + 4, length), &why);
    if (!message) {
        error_ = why;
        return std::nullopt;
    }
    start_ += 4 + length;
    if (start_ == buffer_.size()) {
        buffer_.clear();
        start_ = 0;
    }
    return message;
}

} // namespace sonivert::worker
