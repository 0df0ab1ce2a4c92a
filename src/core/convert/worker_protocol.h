#pragma once

// The task protocol between Sonivert and sonivert-worker, in plain C++ so that the worker needs
// nothing but libav. Both directions carry frames: a 4-byte little-endian payload length, then
// the payload: one byte of message type and a list of fields, each a key and a value written as
// a 4-byte little-endian length and that many bytes. A field may repeat ("tag").
//
// Sonivert -> worker: Task (one conversion), Quit.
// Worker -> Sonivert: Ready (once, on start), Progress, Log (one engine log line), End (the task
// is over: "ok" 1 or 0).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sonivert::worker {

inline constexpr uint32_t MaxFrameBytes = 4u * 1024u * 1024u;
inline constexpr int ProtocolVersion = 1;

enum class MessageType : uint8_t {
    Ready = 1,
    Task = 2,
    Progress = 3,
    Log = 4,
    End = 5,
    Quit = 6,
};

struct Message
{
    MessageType type = MessageType::Task;
    std::vector<std::pair<std::string, std::string>> fields;

    Message &add(std::string key, std::string value);
    Message &add(std::string key, int64_t value);
    // The first value of key, or fallback.
    std::string text(std::string_view key, std::string_view fallback = {}) const;
    // The first value of key as a whole number, or fallback when missing or not a number.
    int64_t number(std::string_view key, int64_t fallback) const;
    std::vector<std::string> all(std::string_view key) const;
};

// The frame of a message, length prefix included.
std::string encodeFrame(const Message &message);

// Takes bytes as they arrive and gives back whole messages. A frame that announces more than
// MaxFrameBytes, an unknown type or fields that do not add up make the reader fail for good:
// the stream has lost its framing and cannot be trusted again.
class FrameReader
{
public:
    void append(const char *data, size_t size);
    void append(std::string_view bytes) { append(bytes.data(), bytes.size()); }
    // The next whole message, if one has arrived. Never when failed().
    std::optional<Message> next();
    bool failed() const { return !m_error.empty(); }
    const std::string &error() const { return m_error; }
    // Bytes of a frame that has begun but not ended.
    size_t pending() const { return m_buffer.size() - m_start; }

private:
    std::string m_buffer;
    size_t m_start = 0;
    std::string m_error;
};

// The payload of one frame (without its length), or nothing with the reason in error.
std::optional<Message> decodePayload(std::string_view payload, std::string *error);

} // namespace sonivert::worker
