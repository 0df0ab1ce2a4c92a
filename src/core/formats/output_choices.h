#pragma once

#include "core/formats/catalogue_table.h"
#include "core/formats/setting_choices.h"

#include <QString>
#include <array>
#include <functional>

namespace sonivert {

// The eleven choice lists, three numbers and the quality level of the output settings, with the
// rules that keep them consistent whenever one changes: a codec fills the lists that depend on
// it, a frame size sets the width and height, Smart Fit estimates the video bit rate, locked and
// inapplicable entries are disabled. Where the values come from (a preset row, the person) is
// OutputSettings' business.
class OutputChoices
{
public:
    // presetAudioRate: the applied preset's audio bit rate ("192 kbps"), the fallback when a
    // rebuilt bit-rate list no longer offers the person's rate.
    OutputChoices(const CatalogueTable &formats, std::function<QString()> presetAudioRate);

    const ChoiceList &choice(ChoiceListId id) const { return m_lists[std::size_t(id)]; }
    QString choiceText(ChoiceListId id) const { return choice(id).selectedText(); }
    const NumberSetting &number(NumberId id) const { return m_numbers[std::size_t(id)]; }
    QualityLevel qualityLevel() const { return m_quality; }
    bool qualityEnabled() const { return m_qualityEnabled; }
    // Closed while a preset fills the lists: the rules that re-select keep still meanwhile.
    bool rulesOpen() const { return m_rulesOpen; }

    // Filling from a preset row, between BeginFill and EndFill. A cell starting with "#" locks
    // its control.
    void beginFill();
    void endFill();
    void fillCodecs(ChoiceListId id, const QString &format, const QString &column);
    void fillList(ChoiceListId id, const QString &text); // "a;b;c;"
    void select(ChoiceListId id, const QString &value, Fallback fallback);
    void setPresetNumber(NumberId id, const QString &cell);
    void setPresetFrameSize(); // from the width and height, locked like the width
    void setPresetQuality(const QString &cell);
    void setPresetVideoBitrate(const QString &cell);

    // What the person does. Choose is false for an index outside the list; ChooseQualityLevel is
    // true when it re-selected Smart Fit.
    bool choose(ChoiceListId id, int index);
    void setNumber(NumberId id, int value);
    bool chooseQualityLevel(QualityLevel level);
    // The option builder's estimate replaces the bit-rate value without running any rule.
    void setVideoBitrateValue(int kbps) { setValue(NumberId::VideoBitrate, kbps); }

private:
    ChoiceList &list(ChoiceListId id) { return m_lists[std::size_t(id)]; }
    NumberSetting &num(NumberId id) { return m_numbers[std::size_t(id)]; }
    void fillFromCell(ChoiceListId id, const QString &cell);
    void fillFromLibraryOrCell(ChoiceListId id, const QString &cell);
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

    const CatalogueTable &m_formats;
    std::function<QString()> m_presetAudioRate;
    std::array<ChoiceList, ChoiceListCount> m_lists;
    std::array<bool, ChoiceListCount> m_locked {};
    std::array<NumberSetting, 3> m_numbers;
    std::array<bool, 3> m_numberLocked {};
    QualityLevel m_quality = QualityLevel::Standard;
    bool m_qualityEnabled = true;
    bool m_rulesOpen = true;
};

} // namespace sonivert
