#include "core/formats/remembered_output.h"

#include "core/app/settings_store.h"
#include "core/formats/output_settings.h"

#include <array>
#include <utility>

namespace sonivert {

namespace {

const QString kFormat = QStringLiteral("OutputFormat");
const QString kPreset = QStringLiteral("OutputPreset");
const QString kChanges = QStringLiteral("OutputSettings");
const QString kQuality = QStringLiteral("QualityLevel");

const std::array<std::pair<const char *, NumberId>, 3> kNumbers = { {
    { "Width", NumberId::Width },
    { "Height", NumberId::Height },
    { "VideoBitrateValue", NumberId::VideoBitrate },
} };

void replay(OutputSettings &settings, const QString &name, const QString &value)
{
    if (const auto list = choiceListFromName(name)) {
        if (settings.choice(*list).enabled && settings.choiceText(*list) != value)
            settings.chooseEntryText(*list, value);
        return;
    }
    if (name == kQuality) {
        const auto level = qualityLevelFromName(value);
        if (level && settings.qualityEnabled() && settings.qualityLevel() != *level)
            settings.chooseQualityLevel(*level);
        return;
    }
    for (const auto &[numberName, id] : kNumbers) {
        const NumberSetting &number = settings.number(id);
        bool ok = false;
        const int wanted = value.toInt(&ok);
        if (name == QLatin1String(numberName) && ok && number.enabled && number.visible
            && number.value != wanted)
            settings.setNumber(id, wanted);
    }
}

} // namespace

void rememberOutputSettings(const QString &settingsKey, const OutputSettings &settings)
{
    RegWriteTexts(settingsKey, outputSettingsTexts(settings));
}

SettingTexts outputSettingsTexts(const OutputSettings &settings)
{
    const int preset = settings.mainPresetIndex();
    SettingTexts texts { { kFormat, settings.currentFormatKeyword() },
        { kPreset,
            preset >= 0 && preset < settings.offeredPresets().size()
                ? settings.offeredPresets().at(preset).id
                : QString() } };
    // In list order, which is the order the rules expect them to be chosen in.
    QStringList changes;
    for (int i = 0; i < ChoiceListCount; ++i) {
        const ChoiceList &list = settings.choice(ChoiceListId(i));
        if (list.enabled && list.selected >= 0)
            changes.append(
                choiceListName(ChoiceListId(i)) + QLatin1Char('=') + list.selectedText());
    }
    for (const auto &[name, id] : kNumbers) {
        const NumberSetting &number = settings.number(id);
        if (number.enabled && number.visible)
            changes.append(QLatin1String(name) + QLatin1Char('=') + QString::number(number.value));
    }
    if (settings.qualityEnabled())
        changes.append(kQuality + QLatin1Char('=') + qualityLevelName(settings.qualityLevel()));
    texts.append({ kChanges, changes.join(QLatin1Char('\n')) });
    return texts;
}

bool restoreOutputSettings(const QString &settingsKey, OutputSettings &settings)
{
    const QString keyword = RegReadText(settingsKey, kFormat).trimmed();
    bool offered = false;
    for (const QString &family :
        ListFormatKeywords(settings.catalogue().presets, OfferedMaker).split(QLatin1Char('|')))
        offered = offered || (!keyword.isEmpty() && family.trimmed() == keyword);
    if (!offered)
        return false;
    settings.selectFormat(keyword);
    const QString presetId = RegReadText(settingsKey, kPreset).trimmed();
    for (int i = 0; i < settings.offeredPresets().size(); ++i) {
        if (settings.offeredPresets().at(i).id == presetId) {
            settings.selectMainPreset(i);
            break;
        }
    }
    const QStringList changes = RegReadText(settingsKey, kChanges).split(QLatin1Char('\n'));
    for (const QString &change : changes) {
        const qsizetype equals = change.indexOf(QLatin1Char('='));
        if (equals > 0)
            replay(settings, change.left(equals), change.mid(equals + 1));
    }
    return true;
}

} // namespace sonivert
