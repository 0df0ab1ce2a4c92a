#pragma once

#include <QString>

namespace sonivert {

// The ffmpeg program: "ffmpeg" in the Libs folder beside this program when it holds one, else
// the one on PATH; "" when there is none. librariesFolder "" means the Libs folder of the
// application folders, or beside the running program when those are not set up.
QString findFfmpegProgram(const QString &librariesFolder = QString());

// What to tell the person when FindFfmpegProgram found nothing.
QString missingFfmpegMessage();

} // namespace sonivert
