#pragma once

#include "core/app/settings_store.h"

#include <QString>

namespace sonivert {

class OutputSettings;

// The output choice a person comes back to: the format family, its preset and the changes made
// to it in the settings dialog, kept in the settings store under the settings key.
void rememberOutputSettings(const QString &settingsKey, const OutputSettings &settings);
// What rememberOutputSettings stores, for a caller that writes it together with other values.
SettingTexts outputSettingsTexts(const OutputSettings &settings);

// Selects the remembered family and preset and replays the changes that still apply. False when
// nothing usable is remembered (the family is no longer offered); the settings are then as given.
bool restoreOutputSettings(const QString &settingsKey, OutputSettings &settings);

} // namespace sonivert
