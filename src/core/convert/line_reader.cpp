#include "core/convert/line_reader.h"

namespace sonivert {

QList<QByteArray> takeLines(QByteArray &buffer, bool flushAll)
{
    QList<QByteArray> lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < buffer.size(); ++i) {
        const char c = buffer.at(i);
        if (c == '\n' || c == '\r') {
            if (i > start)
                lines << buffer.mid(start, i - start);
            start = i + 1;
        } else if (i - start >= MaxEngineLineBytes) {
            lines << buffer.mid(start, i - start);
            start = i;
        }
    }
    buffer.remove(0, start);
    if (flushAll && !buffer.isEmpty()) {
        lines << buffer;
        buffer.clear();
    }
    return lines;
}

QList<qint64> ProgressReader::feed(const QByteArray &bytes)
{
    QList<qint64> times;
    m_buffer += bytes;
    for (const QByteArray &line : takeLines(m_buffer, false)) {
        if (line.startsWith("out_time_us=")) {
            bool ok = false;
            const qint64 value = line.mid(12).toLongLong(&ok);
            if (ok && value >= 0)
                m_outTimeUs = value;
        } else if (line.startsWith("progress=") && m_outTimeUs >= 0) {
            times << m_outTimeUs;
        }
    }
    return times;
}

} // namespace sonivert
