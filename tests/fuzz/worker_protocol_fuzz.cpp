// Bytes from a worker that lost its mind: the reader must fail cleanly or give messages, and a
// message it gives must survive a round trip through encodeFrame.
#include "core/convert/worker_protocol.h"

#include <cstdlib>

using namespace sonivert::worker;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FrameReader reader;
    // In two pieces, as a pipe may deliver them.
    const size_t half = size / 2;
    reader.append(reinterpret_cast<const char *>(data), half);
    while (reader.next()) { }
    reader.append(reinterpret_cast<const char *>(data) + half, size - half);
    while (std::optional<Message> message = reader.next()) {
        FrameReader again;
        again.append(encodeFrame(*message));
        const std::optional<Message> copy = again.next();
        if (!copy || copy->type != message->type || copy->fields != message->fields)
            std::abort();
        message->number("id", 0);
        message->all("tag");
    }
    return 0;
}
