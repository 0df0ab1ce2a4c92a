#include "core/convert/ffmpeg_program.h"

#include "core/app/folders.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

namespace sonivert {

QString findFfmpegProgram(const QString &librariesFolder)
{
    QString folder = librariesFolder;
    if (folder.isEmpty())
        folder = folders().librariesFolder;
    if (folder.isEmpty() && QCoreApplication::instance())
        folder = QCoreApplication::applicationDirPath() + QStringLiteral("/Libs");

    if (!folder.isEmpty()) {
        const QFileInfo bundled(folder + QStringLiteral("/ffmpeg"));
        if (bundled.isFile() && bundled.isExecutable())
            return bundled.absoluteFilePath();
    }
    return QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
}

QString missingFfmpegMessage()
{
    return QStringLiteral(
        "The ffmpeg program was not found, so nothing can be converted.\n"
        "Install it (on Debian or Ubuntu: sudo apt install ffmpeg) and start the program again.");
}

} // namespace sonivert
