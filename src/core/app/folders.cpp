#include "core/app/folders.h"

#include "core/app/settings_store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

namespace sonivert {

namespace {

AppFolders &storedFolders()
{
    static AppFolders folders;
    return folders;
}

QStandardPaths::StandardLocation locationOf(SpecialFolder folder)
{
    switch (folder) {
    case SpecialFolder::AppData:
        return QStandardPaths::GenericDataLocation;
    case SpecialFolder::Music:
        return QStandardPaths::MusicLocation;
    case SpecialFolder::Documents:
        return QStandardPaths::DocumentsLocation;
    case SpecialFolder::Desktop:
        return QStandardPaths::DesktopLocation;
    }
    return QStandardPaths::HomeLocation;
}

QString rememberedFolder(const QString &settingsKey, const QString &name)
{
    const QString stored = RegReadText(settingsKey, name).trimmed();
    return stored.isEmpty() ? defaultUserFolder() : stored;
}

QString skinFolderBeside(const QString &programFolder)
{
    const QString besideProgram = programFolder + QStringLiteral("/Skin/");
    if (QFileInfo(besideProgram).isDir())
        return besideProgram;
    const QString installed = programFolder + QStringLiteral("/../share/sonivert/Skin/");
    if (QFileInfo(installed).isDir())
        return QDir::cleanPath(installed) + QLatin1Char('/');
    return besideProgram;
}

bool probeWritable(const QString &folder)
{
    // The probe never replaces a file of the user's: "log.txt" is only written when no such file
    // exists, and otherwise a fresh temporary name stands in for it.
    const QString probePath = QDir(folder).filePath(QStringLiteral("log.txt"));
    if (!QFileInfo::exists(probePath)) {
        QFile probe(probePath);
        if (probe.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            const bool written = probe.write("0\n") == 2;
            probe.close();
            return probe.remove() && written;
        }
    }
    QTemporaryFile probe(QDir(folder).filePath(QStringLiteral(".sonivert-probe-XXXXXX")));
    return probe.open() && probe.write("0\n") == 2;
}

} // namespace

QString GetSpecialFolder(SpecialFolder folder)
{
    // Qt names ~/Music even where it does not exist; only a real folder counts.
    const QString path = QStandardPaths::writableLocation(locationOf(folder));
    if (path.isEmpty() || !QFileInfo(path).isDir())
        return QString();
    return QDir::cleanPath(path) + QLatin1Char('/');
}

QString defaultUserFolder()
{
    for (SpecialFolder f :
        { SpecialFolder::Music, SpecialFolder::Documents, SpecialFolder::Desktop }) {
        const QString path = GetSpecialFolder(f);
        if (!path.isEmpty())
            return path;
    }
    return QString();
}

const AppFolders &SetupFolders(const QString &programFolder, const QString &settingsKey)
{
    AppFolders f;
    f.programFolder = programFolder;
    QString appData = GetSpecialFolder(SpecialFolder::AppData);
    if (appData.isEmpty()) {
        // A fresh account may not have ~/.local/share yet; it is ours to create.
        appData
            = QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
            + QLatin1Char('/');
    }
    f.dataFolder = appData + QStringLiteral("Corvallo/Sonivert/");
    QDir().mkpath(f.dataFolder);
    f.tempFolder = f.dataFolder + QStringLiteral("Temp/");
    QDir().mkpath(f.tempFolder);
    f.skinFolder = skinFolderBeside(programFolder);
    f.presetFolder = programFolder + QStringLiteral("/Preset/");
    f.userPresetFolder = f.dataFolder + QStringLiteral("User/Preset/");
    f.userPresetFileName = QStringLiteral("user.dat");
    f.analyzerReportFile = f.tempFolder + QStringLiteral("analyzer-reports.tmp");
    f.librariesFolder = programFolder + QStringLiteral("/Libs");
    f.inputPath = rememberedFolder(settingsKey, QStringLiteral("InputPath"));
    f.outputPath = rememberedFolder(settingsKey, QStringLiteral("OutputPath"));
    // An account without music, documents or desktop folders still gets a place for output.
    if (f.outputPath.isEmpty())
        f.outputPath = documentsFolder();
    storedFolders() = f;
    return storedFolders();
}

const AppFolders &folders()
{
    return storedFolders();
}

QString documentsFolder()
{
    QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (path.isEmpty())
        path = QDir::homePath() + QStringLiteral("/Documents");
    return QDir::cleanPath(path) + QLatin1Char('/');
}

bool CheckOutputFolder(QString &boxText, QString *why)
{
    const auto refuse = [why](const QString &reason) {
        if (why)
            *why = reason;
        return false;
    };
    if (boxText.trimmed().isEmpty())
        boxText = documentsFolder();
    const QString folder = boxText.trimmed();
    const QFileInfo info(folder);
    if (info.exists() && !info.isDir())
        return refuse(QStringLiteral("This is a file, not a folder."));
    if (!info.exists() && !QDir().mkpath(folder))
        return refuse(QStringLiteral("This folder does not exist and cannot be created."));
    if (!probeWritable(folder))
        return refuse(QStringLiteral("This folder cannot be written to."));
    return true;
}

QString withTrailingSeparator(const QString &folder)
{
    const QString trimmed = folder.trimmed();
    if (trimmed.isEmpty() || trimmed.endsWith(QLatin1Char('/')))
        return folder;
    return trimmed + QLatin1Char('/');
}

} // namespace sonivert
