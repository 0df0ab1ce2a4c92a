#pragma once

#include "core/formats/catalogue_table.h"
#include "core/formats/setting_choices.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <array>
#include <optional>

namespace sonivert {

// The one set of output settings of a run. Choosing a preset fills it from the catalogue; every
// change of a choice runs the consistency rules here, so the dialog and the command line only
// display the lists and pass on what the person picked.
class OutputSettings : public QObject
{
    Q_OBJECT

public:
    explicit OutputSettings(Catalogue &catalogue, QObject *parent = nullptr);

    Catalogue &catalogue() const { return m_catalogue; }

    const ChoiceList &choice(ChoiceListId list) const;
    QString choiceText(ChoiceListId list) const;
    const NumberSetting &number(NumberId id) const;
    QualityLevel qualityLevel() const { return m_quality; }
    bool qualityEnabled() const { return m_qualityEnabled; }
    const PresetDescription &description() const { return m_description; }
    bool applyGuardOpen() const { return m_guardOpen; }
    int appliedPresetRow() const { return m_appliedRow; }

    // The format family and its offered presets, as the main window lists them.
    QString currentFormatKeyword() const { return m_keyword; }
    const QList<PresetEntry> &offeredPresets() const { return m_offered; }
    int mainPresetIndex() const { return m_mainIndex; }
    QString selectedPresetId() const { return m_selectedId; }

    // Lists the family's presets and selects the default one (which applies it).
    void selectFormat(const QString &keyword);
    // The main window's preset list selects the entry and applies it.
    void selectMainPreset(int index);
    // The preset whose row receives the dialog's changes (the dialog's selected row).
    void setSelectedPresetId(const QString &id);
    void applyPresetId(const QString &id);
    void ChangePreset(int row);

    // What the person does in the dialog or on the command line.
    void chooseEntry(ChoiceListId list, int index);
    bool chooseEntryText(ChoiceListId list, const QString &text);
    void setNumber(NumberId id, int value);
    void chooseQualityLevel(QualityLevel level);
    void StoreAudioSettings();

    // The option builder's estimate replaces the bit-rate value without running any rule.
    void setVideoBitrateValue(int kbps);

signals:
    void changed();
    void presetListChanged();
    void mainPresetChanged(int index);

private:
    class Batch;

    ChoiceList &list(ChoiceListId id) { return m_lists[std::size_t(id)]; }
    NumberSetting &num(NumberId id) { return m_numbers[std::size_t(id)]; }
    void fillChoiceList(ChoiceListId id, const QString &text);
    void fillChoiceListFromCell(ChoiceListId id, const QString &cell);
    void fillFromLibraryOrCell(ChoiceListId id, const QString &cell);
    void fillFormatChoices(ChoiceListId id, const QString &format, const QString &column);
    void selectChoice(ChoiceListId id, const QString &value, Fallback fallback);
    void applyNumericSetting(NumberId id, const QString &cell);
    void setValue(NumberId id, int value);
    void setLimits(NumberId id, int minimum, int maximum);

    void selectionChanged(ChoiceListId id);
    void videoCodecChanged();
    void frameSizeChanged();
    void rebuildVideoBitrates();
    void audioCodecChanged();
    void rebuildAudioBitrates(const QString &previous);
    void videoBitrateChanged();
    void refreshEnabledStates();

    Catalogue &m_catalogue;
    std::array<ChoiceList, ChoiceListCount> m_lists;
    std::array<bool, ChoiceListCount> m_locked {};
    std::array<NumberSetting, 3> m_numbers;
    std::array<bool, 3> m_numberLocked {};
    QualityLevel m_quality = QualityLevel::Standard;
    bool m_qualityEnabled = true;
    PresetDescription m_description;
    bool m_guardOpen = true;
    int m_appliedRow = 0;
    int m_batchDepth = 0;
    bool m_dirty = false;

    QString m_keyword;
    QList<PresetEntry> m_offered;
    int m_mainIndex = -1;
    QString m_selectedId;
};

// The settings of the running program, built on appCatalogue().
OutputSettings &appOutputSettings();

} // namespace sonivert
