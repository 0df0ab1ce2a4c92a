#include "gui/app/startup.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // Preview playback goes through the same FFmpeg that probes and converts, unless the person
    // chose another media backend.
    if (qEnvironmentVariableIsEmpty("QT_MEDIA_BACKEND"))
        qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    return sonivert::Main(app);
}
