#include "core/formats/output_settings.h"

#include "core/formats/parameter_tables.h"

#include <algorithm>
#include <cmath>

namespace sonivert {

namespace {

const QString Kbps = QStringLiteral(" kbps");

} // namespace

// Groups the changes of one operation into a single changed() signal.
class OutputSettings::Batch
{
public:
    explicit Batch(OutputSettings &settings)
        : m_settings(settings)
    {
        ++m_settings.m_batchDepth;
    }
    ~Batch()
    {
        if (--m_settings.m_batchDepth == 0)
            emit m_settings.changed();
    }
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

private:
    OutputSettings &m_settings;
};

OutputSettings::OutputSettings(Catalogue &catalogue, QObject *parent)
    : QObject(parent)
    , m_catalogue(catalogue)
    , m_choices(catalogue.formats, [this] {
        return GetCatalogueCell(m_catalogue.presets, m_appliedRow, QStringLiteral("AudioBitrate"))
                   .remove(QLatin1Char('#'))
            + Kbps;
    })
{
}

void OutputSettings::selectFormat(const QString &keyword)
{
    Batch batch(*this);
    m_keyword = keyword.trimmed();
    m_offered = ListFormatPresets(m_catalogue.presets, OfferedMaker, m_keyword);
    m_mainIndex = -1;
    emit presetListChanged();
    selectMainPreset(defaultPresetIndex(int(m_offered.size())));
}

void OutputSettings::selectMainPreset(int index)
{
    if (index < 0 || index >= m_offered.size())
        return;
    Batch batch(*this);
    m_mainIndex = index;
    m_selectedId = m_offered.at(index).id;
    emit mainPresetChanged(index);
    applyPresetId(m_selectedId);
}

void OutputSettings::setSelectedPresetId(const QString &id)
{
    m_selectedId = id;
}

void OutputSettings::applyPresetId(const QString &id)
{
    ChangePreset(FindCatalogueRow(m_catalogue.presets, QStringLiteral("ID"), id));
}

void OutputSettings::ChangePreset(int row)
{
    if (!m_choices.rulesOpen())
        return;
    if (row < 1 || row > m_catalogue.presets.rowCount())
        return;
    Batch batch(*this);
    m_appliedRow = row;
    auto cell = [this, row](const char *caption) {
        return GetCatalogueCell(m_catalogue.presets, row, QLatin1String(caption));
    };
    OutputChoices &c = m_choices;
    c.beginFill();

    const QString format = cell("Format");
    c.fillCodecs(ChoiceListId::VideoCodec, format, QStringLiteral("VideoCodec"));
    c.fillCodecs(ChoiceListId::AudioCodec, format, QStringLiteral("AudioCodec"));
    c.select(ChoiceListId::VideoCodec, cell("VideoCodec"), Fallback::First);
    c.select(ChoiceListId::AudioCodec, cell("AudioCodec"), Fallback::First);

    c.setPresetNumber(NumberId::Width, cell("Width"));
    c.setPresetNumber(NumberId::Height, cell("Height"));
    c.setPresetFrameSize();

    m_description = { cell("Format"), cell("Keyword"), cell("Maker"), cell("Type"),
        cell("Thumbnail"), cell("Image") };

    c.select(ChoiceListId::FPS, cell("FPS"), Fallback::First);
    c.setPresetQuality(cell("QualityLevel"));
    c.setPresetVideoBitrate(cell("VideoBitrate"));

    c.select(ChoiceListId::FileExtention, cell("FileExtention"), Fallback::First);
    c.select(ChoiceListId::AspectRatio, cell("AspectRatio"), Fallback::First);
    c.select(ChoiceListId::SampleRate, cell("SampleRate"), Fallback::Last);
    c.select(ChoiceListId::Channels, cell("Channels"), Fallback::Last);
    c.select(ChoiceListId::AudioSize, cell("AudioSize"), Fallback::Last);

    c.fillList(ChoiceListId::AudioBitrate,
        ListAudioBitrates(choiceText(ChoiceListId::AudioCodec),
            choiceText(ChoiceListId::SampleRate), choiceText(ChoiceListId::Channels),
            choiceText(ChoiceListId::AudioSize)));
    c.select(ChoiceListId::AudioBitrate, cell("AudioBitrate") + Kbps, Fallback::Last);
    c.endFill();
}

void OutputSettings::chooseEntry(ChoiceListId id, int index)
{
    if (index < 0 || index >= choice(id).entries.size())
        return;
    Batch batch(*this);
    m_choices.choose(id, index);
    if (m_choices.rulesOpen())
        StoreAudioSettings();
}

bool OutputSettings::chooseEntryText(ChoiceListId id, const QString &text)
{
    const int index = choice(id).indexOf(text);
    if (index < 0)
        return false;
    chooseEntry(id, index);
    return true;
}

void OutputSettings::setNumber(NumberId id, int value)
{
    Batch batch(*this);
    m_choices.setNumber(id, value);
}

void OutputSettings::chooseQualityLevel(QualityLevel level)
{
    Batch batch(*this);
    if (m_choices.chooseQualityLevel(level))
        StoreAudioSettings();
}

void OutputSettings::StoreAudioSettings()
{
    if (m_selectedId.isEmpty())
        return;
    const int row = FindCatalogueRow(m_catalogue.presets, QStringLiteral("ID"), m_selectedId);
    if (row == 0)
        return;
    for (ChoiceListId id :
        { ChoiceListId::AudioCodec, ChoiceListId::SampleRate, ChoiceListId::AudioBitrate,
            ChoiceListId::Channels, ChoiceListId::AudioSize, ChoiceListId::FileExtention }) {
        if (choice(id).selected < 0)
            continue;
        QString value = choiceText(id);
        // The preset table keeps audio bit rates as bare numbers; applying appends the unit.
        if (id == ChoiceListId::AudioBitrate && value.endsWith(Kbps))
            value.chop(Kbps.size());
        SetCatalogueCell(m_catalogue.presets, row, choiceListName(id), value, false, false);
    }
}

void OutputSettings::setVideoBitrateValue(int kbps)
{
    Batch batch(*this);
    m_choices.setVideoBitrateValue(kbps);
}

OutputSettings &appOutputSettings()
{
    static OutputSettings settings(appCatalogue());
    return settings;
}

} // namespace sonivert
