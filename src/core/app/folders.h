#pragma once

#include <QString>

namespace sonivert {

enum class SpecialFolder {
    AppData,
    Music,
    Documents,
    Desktop,
};

// The folder followed by "/", or "" when the desktop does not have it (it must exist).
QString GetSpecialFolder(SpecialFolder folder);

struct AppFolders
{
    QString programFolder; // no trailing "/"
    QString dataFolder;
    QString tempFolder;
    QString skinFolder;
    QString presetFolder;
    QString userPresetFolder;
    QString userPresetFileName;
    QString analyzerReportFile;
    QString librariesFolder; // no trailing "/"
    QString inputPath;
    QString outputPath;
};

// Computes the folders, creates the data and temporary folders and reads the remembered input
// and output folders from the settings under settingsKey. The result is also kept process-wide.
const AppFolders &SetupFolders(const QString &programFolder, const QString &settingsKey);
const AppFolders &folders();

// Music, else documents, else desktop; "" when none exists.
QString defaultUserFolder();

// The documents folder, whether or not it exists yet: where output goes when no other folder
// can be had (the output check creates it).
QString documentsFolder();

// True when the folder named by boxText exists (or could be created) and a file can be written
// in it. An empty text becomes the documents folder. Never touches a file the user already has.
// When it fails, why says so in a few words for the person ("This folder cannot be written to.").
bool CheckOutputFolder(QString &boxText, QString *why = nullptr);

// Appends the separator the output folder box keeps at its end; blank text stays as it is.
QString withTrailingSeparator(const QString &folder);

} // namespace sonivert
