#include "core/app/command_line.h"
#include "gui/app/startup.h"

#include <QApplication>
#include <cstdio>

extern "C" {
#include <libavutil/log.h>
}

int main(int argc, char *argv[])
{
    // Answered before any window system is needed: help and version work without a display.
    QStringList rawArguments;
    for (int i = 1; i < argc; ++i)
        rawArguments.append(QString::fromLocal8Bit(argv[i]));
    const auto request = sonivert::readStartArguments(rawArguments).request;
    if (request == sonivert::StartArguments::Request::Help) {
        std::fputs(sonivert::desktopHelpText().toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (request == sonivert::StartArguments::Request::Version) {
        std::fputs("sonivert " SONIVERT_VERSION "\n", stdout);
        return 0;
    }

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
