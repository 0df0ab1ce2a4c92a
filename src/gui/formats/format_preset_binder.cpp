#include "gui/formats/format_preset_binder.h"

#include <QComboBox>
#include <QSignalBlocker>

namespace sonivert {

FormatPresetBinder::FormatPresetBinder(
    QComboBox *formatList, QComboBox *presetList, OutputSettings &settings, QObject *parent)
    : QObject(parent)
    , m_formats(formatList)
    , m_presets(presetList)
    , m_settings(settings)
{
    connect(m_formats, &QComboBox::activated, this, &FormatPresetBinder::selectFormatAt);
    connect(m_presets, &QComboBox::activated, &m_settings, &OutputSettings::selectMainPreset);
    connect(
        &m_settings, &OutputSettings::presetListChanged, this, &FormatPresetBinder::refillPresets);
    connect(
        &m_settings, &OutputSettings::mainPresetChanged, this, &FormatPresetBinder::showMainPreset);
}

void FormatPresetBinder::FillFormatKeywordList(const QString &maker)
{
    const QSignalBlocker blocker(m_formats);
    m_formats->clear();
    const QStringList keywords
        = ListFormatKeywords(m_settings.catalogue().presets, maker).split(QLatin1Char('|'));
    for (const QString &keyword : keywords) {
        if (!keyword.trimmed().isEmpty())
            m_formats->addItem(keyword.trimmed());
    }
}

void FormatPresetBinder::selectFormatAt(int index)
{
    if (index < 0 || index >= m_formats->count())
        return;
    {
        const QSignalBlocker blocker(m_formats);
        m_formats->setCurrentIndex(index);
    }
    m_settings.selectFormat(m_formats->itemText(index).trimmed());
}

void FormatPresetBinder::refillPresets()
{
    const QSignalBlocker blocker(m_presets);
    m_presets->clear();
    for (const PresetEntry &entry : m_settings.offeredPresets())
        m_presets->addItem(entry.text, entry.id);
}

void FormatPresetBinder::showMainPreset(int index)
{
    const QSignalBlocker blocker(m_presets);
    m_presets->setCurrentIndex(index);
}

} // namespace sonivert
