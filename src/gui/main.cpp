#include "gui/app/startup.h"

#include <QApplication>

extern "C" {
#include <libavutil/log.h>
}

int main(int argc, char *argv[])
{
    // Preview playback goes through the same FFmpeg that probes and converts, unless the person
    // chose another media backend.
    if (qEnvironmentVariableIsEmpty("QT_MEDIA_BACKEND"))
        qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    // Problems reach the person as the program's own messages; libav's notes about the files
    // it reads would only clutter a terminal.
    av_log_set_level(AV_LOG_QUIET);
    QApplication app(argc, argv);
    return sonivert::Main(app);
}
