#pragma once

#include <QByteArray>
#include <QList>
#include <QtGlobal>

namespace sonivert {

// A line that never ends must not grow without bound: it is cut at this length.
inline constexpr qsizetype MaxEngineLineBytes = 64 * 1024;

// Splits the complete lines off buffer ("\n" or "\r" ends one; empty lines are dropped) and
// leaves the unfinished rest in it; with flushAll the rest counts as a line too.
QList<QByteArray> takeLines(QByteArray &buffer, bool flushAll);

// Reads ffmpeg's "-progress" output: key=value lines in blocks, each closed by a "progress="
// line. The output time of a block is its last valid out_time_us, or the one before it.
class ProgressReader
{
public:
    // Takes more bytes, cut anywhere; returns the output time of every block they closed, in
    // order, once a time is known.
    QList<qint64> feed(const QByteArray &bytes);
    qint64 outTimeUs() const { return m_outTimeUs; }

private:
    QByteArray m_buffer;
    qint64 m_outTimeUs = -1;
};

} // namespace sonivert
