#pragma once

#include "core/formats/output_settings.h"

#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace sonivert::cli {

// --format KEYWORD, --preset NAME|ID and --set LIST=ENTRY, shared by the commands that need a set
// of output settings.
struct SettingsOptions
{
    QString format; // "" = the first family
    QString preset; // "" = the family's default preset
    QList<QPair<QString, QString>> assignments;
};

// Moves the settings options (also in the --option=value form) out of args into options.
// False with a message when one lacks its value.
bool takeSettingsOptions(QStringList &args, SettingsOptions &options, QString &error);

// Loads the catalogue stored in the program through a private temporary folder.
bool loadCliCatalogue(Catalogue &catalogue, QString &error);

// The offered family keywords in list order.
QStringList offeredKeywords(const Catalogue &catalogue);

// The keyword as the catalogue spells it, matched without regard to case; "" when unknown.
QString resolveFormatKeyword(const Catalogue &catalogue, const QString &given);

// Selects the family and the preset, then applies the assignments in order with the same rules
// the settings dialog runs. False with a message that names what is admissible.
bool applySettingsOptions(OutputSettings &settings, const SettingsOptions &options, QString &error);

// The settings as "sonivert-cli settings --json" prints them and the convert plan embeds them:
// {"lists": {NAME: {entries, selected, enabled}}, "Width", "Height", "VideoBitrateValue"
// (each {value, min, max, enabled}), "QualityLevel"}. A number is enabled when it can be changed.
QJsonObject outputSettingsJson(const OutputSettings &settings);

} // namespace sonivert::cli
