#pragma once

#include <QList>
#include <QString>
#include <utility>

namespace sonivert {

// The remembered values live as texts in a per-user INI file. The settings key
// ("Software/Corvallo/Sonivert") names the organisation and the application of that file.
// Texts come back exactly as they went in; nothing here shows a message.
bool RegWriteText(const QString &key, const QString &name, const QString &text);
// Several values in one update of the file (each update rewrites it and waits for the disk).
using SettingTexts = QList<std::pair<QString, QString>>;
bool RegWriteTexts(const QString &key, const SettingTexts &texts);
QString RegReadText(const QString &key, const QString &name);

// Where the INI file for a settings key lives (whether or not it exists yet).
QString settingsFilePath(const QString &key);

// The usual text-to-Boolean reading: true/false in any case, or a number where non-zero is true.
// Anything else (including "") gives the fallback.
bool textToBool(const QString &text, bool fallback);

struct LoadedSettings
{
    bool updateActive = true;
};

LoadedSettings LoadSettings(const QString &key);

} // namespace sonivert
