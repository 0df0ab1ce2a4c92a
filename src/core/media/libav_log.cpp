#include "core/media/libav_log.h"

#include <QMutex>
#include <QMutexLocker>
#include <cstdarg>
#include <string>

extern "C" {
#include <libavutil/log.h>
}

namespace sonivert {

namespace {

QMutex sinkMutex;
LibavLogSink currentSink;
int currentMaxLevel = AV_LOG_QUIET;

void logCallback(void *component, int level, const char *format, va_list args)
{
    {
        QMutexLocker lock(&sinkMutex);
        if (!currentSink || level > currentMaxLevel)
            return;
    }
    // libav builds a line from several calls, one per thread at a time.
    static thread_local std::string pending;
    static thread_local int printPrefix = 1;
    char text[2048];
    av_log_format_line2(component, level, format, args, text, sizeof text, &printPrefix);
    pending += text;
    size_t end;
    while ((end = pending.find('\n')) != std::string::npos) {
        const QString line = QString::fromUtf8(pending.data(), qsizetype(end)).trimmed();
        pending.erase(0, end + 1);
        if (line.isEmpty())
            continue;
        QMutexLocker lock(&sinkMutex);
        if (currentSink)
            currentSink(level, line);
    }
}

} // namespace

void routeLibavLog(LibavLogSink sink, int maxLevel)
{
    {
        QMutexLocker lock(&sinkMutex);
        currentSink = std::move(sink);
        currentMaxLevel = maxLevel;
    }
    av_log_set_callback(logCallback);
}

} // namespace sonivert
