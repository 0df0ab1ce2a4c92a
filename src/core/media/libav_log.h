#pragma once

#include <QString>
#include <functional>

namespace sonivert {

// One whole line of libav*'s log as the ffmpeg program would print it ("[mov,mp4,... @ 0x...]
// moov atom not found"), with its AV_LOG_* level. Called on whatever thread libav logged from.
using LibavLogSink = std::function<void(int level, const QString &line)>;

// From now on libav*'s log lines up to maxLevel (AV_LOG_*) go to sink, never straight to the
// terminal; an empty sink drops them. Replaces the previous sink.
void routeLibavLog(LibavLogSink sink, int maxLevel);

} // namespace sonivert
