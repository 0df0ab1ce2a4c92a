#pragma once

#include "core/formats/catalogue_table.h"
#include "core/formats/output_choices.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <array>
#include <optional>

namespace sonivert {

// The one set of output settings of a run. Choosing a preset fills it from the catalogue; every
// change of a choice runs the consistency rules of OutputChoices, so the dialog and the command
// line only display the lists and pass on what the person picked. A person's audio choices are
// kept in the selected preset's row; changes are announced once per operation.
class OutputSettings : public QObject
{
    Q_OBJECT

public:
    explicit OutputSettings(Catalogue &catalogue, QObject *parent = nullptr);

    Catalogue &catalogue() const { return m_catalogue; }

    const ChoiceList &choice(ChoiceListId list) const { return m_choices.choice(list); }
    QString choiceText(ChoiceListId list) const { return m_choices.choiceText(list); }
    const NumberSetting &number(NumberId id) const { return m_choices.number(id); }
    QualityLevel qualityLevel() const { return m_choices.qualityLevel(); }
    bool qualityEnabled() const { return m_choices.qualityEnabled(); }
    const PresetDescription &description() const { return m_description; }
    bool applyGuardOpen() const { return m_choices.rulesOpen(); }
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

    Catalogue &m_catalogue;
    OutputChoices m_choices;
    PresetDescription m_description;
    int m_appliedRow = 0;
    int m_batchDepth = 0;

    QString m_keyword;
    QList<PresetEntry> m_offered;
    int m_mainIndex = -1;
    QString m_selectedId;
};

// The settings of the running program, built on appCatalogue().
OutputSettings &appOutputSettings();

} // namespace sonivert
