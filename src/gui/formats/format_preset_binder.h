#pragma once

#include "core/formats/output_settings.h"

#include <QObject>

class QComboBox;

namespace sonivert {

// Binds the main window's format list ("Cmb_OutputFormat") and preset list ("Cmd_OutputPreset")
// to the output settings: picking a family lists its presets and selects the default one, picking
// a preset applies it, and the lists follow what the settings dialog selects.
class FormatPresetBinder : public QObject
{
    Q_OBJECT

public:
    FormatPresetBinder(QComboBox *formatList, QComboBox *presetList, OutputSettings &settings,
        QObject *parent = nullptr);

    // Fills the format list with the families of the maker, in catalogue order.
    void FillFormatKeywordList(const QString &maker = OfferedMaker);
    // Selects the family at index (the program's start uses 0) and applies its default preset.
    void selectFormatAt(int index);

private:
    void refillPresets();
    void showMainPreset(int index);

    QComboBox *m_formats;
    QComboBox *m_presets;
    OutputSettings &m_settings;
};

} // namespace sonivert
