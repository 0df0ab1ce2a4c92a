#include "support/media_maker.h"

#include <QProcess>

namespace sonivert::test {

bool runFfmpeg(const QStringList &args, QString *errorOutput)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
        QStringList { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
            QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y") }
            + args);
    if (!ffmpeg.waitForFinished(120000)) {
        ffmpeg.kill();
        ffmpeg.waitForFinished();
        return false;
    }
    if (errorOutput)
        *errorOutput = QString::fromUtf8(ffmpeg.readAllStandardError());
    return ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0;
}

bool makeClip(const QString &path, const ClipOptions &o)
{
    const QString duration = QString::number(o.seconds, 'f', 3);
    QStringList args;
    if (o.video) {
        args << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
             << QStringLiteral("testsrc=size=%1x%2:rate=%3:duration=%4")
                    .arg(o.width)
                    .arg(o.height)
                    .arg(o.frameRate, duration);
    }
    if (o.audio) {
        args << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
             << QStringLiteral("sine=frequency=440:sample_rate=%1:duration=%2")
                    .arg(o.sampleRate)
                    .arg(duration);
        args << QStringLiteral("-ac")
             << (o.channelLayout == QLatin1String("mono")         ? QStringLiteral("1")
                        : o.channelLayout == QLatin1String("5.1") ? QStringLiteral("6")
                                                                  : QStringLiteral("2"));
    }
    if (o.video)
        args << QStringLiteral("-pix_fmt") << QStringLiteral("yuv420p");
    args << o.extraOutputArgs << path;
    return runFfmpeg(args);
}

ClipOptions soundClip(double seconds, bool video, int rate, const QString &layout,
    const QStringList &extra, bool audio)
{
    ClipOptions o;
    o.seconds = seconds;
    o.video = video;
    o.audio = audio;
    o.width = 160;
    o.height = 120;
    o.sampleRate = rate;
    o.channelLayout = layout;
    o.extraOutputArgs = extra;
    return o;
}

} // namespace sonivert::test
