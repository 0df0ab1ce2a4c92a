#pragma once

#include <QString>
#include <QStringList>

namespace sonivert {

// More paths than this in one import are ignored.
inline constexpr int MaxImportPaths = 100000;

// "|3gp|3gpp|...|webm|": the extensions the command line and drag and drop accept.
QString supportedExtensionsText();
// Compared in lower case, without the dot: "MKV" and "mkv" are accepted, "txt" is not.
bool isSupportedExtension(const QString &extension);
bool isSupportedFile(const QString &path);

// The open dialog's filters as Qt wants them, "Label (*.a *.b *.A *.B)", in their fixed order;
// the first entry is the default.
QStringList importDialogFilters();

// The folder of the first chosen file with a trailing "/"; saved as "InputPath" under the
// settings key. Returns the folder (the next initial folder of the dialog).
QString rememberInputFolder(const QString &firstPath, const QString &settingsKey);

} // namespace sonivert
