// ffmpeg's -progress output as a pipe delivers it, cut anywhere: the reader never crashes, never
// reports a negative time, and cuts of the same bytes give the same times.
#include "core/convert/line_reader.h"

#include <cstdlib>

using namespace sonivert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    ProgressReader whole;
    const QList<qint64> expected = whole.feed(bytes);

    // The first byte picks the cut length; the rest goes in pieces of that size.
    ProgressReader cut;
    QList<qint64> times;
    const qsizetype step = size > 0 ? qsizetype(data[0] % 7 + 1) : 1;
    for (qsizetype i = 0; i < bytes.size(); i += step)
        times += cut.feed(bytes.mid(i, step));
    for (const qint64 t : times) {
        if (t < 0)
            std::abort();
    }
    // A line cut at the length limit may split differently; only short lines must agree.
    if (bytes.size() < MaxEngineLineBytes && times != expected)
        std::abort();

    QByteArray buffer = bytes;
    takeLines(buffer, true);
    if (!buffer.isEmpty())
        std::abort();
    return 0;
}
