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

void OutputSettings::SelectFormat(const QString &keyword)
{
    Batch batch(*this);
    m_keyword = keyword.trimmed();
    m_offered = ListFormatPresets(m_catalogue.presets, OfferedMaker, m_keyword);
    m_mainIndex = -1;
    emit presetListChanged();
    SelectMainPreset(DefaultPresetIndex(int(m_offered.size())));
}

void OutputSettings::SelectMainPreset(int index)
{
    if (index < 0 || index >= m_offered.size())
        return;
    Batch batch(*this);
    m_mainIndex = index;
    m_selectedId = m_offered.at(index).id;
    emit mainPresetChanged(index);
    ApplyPresetId(m_selectedId);
}

void OutputSettings::SetSelectedPresetId(const QString &id)
{
    m_selectedId = id;
}

void OutputSettings::ApplyPresetId(const QString &id)
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
    c.BeginFill();

    const QString format = cell("Format");
    c.FillCodecs(ChoiceListId::VideoCodec, format, QStringLiteral("VideoCodec"));
    c.FillCodecs(ChoiceListId::AudioCodec, format, QStringLiteral("AudioCodec"));
    c.Select(ChoiceListId::VideoCodec, cell("VideoCodec"), Fallback::First);
    c.Select(ChoiceListId::AudioCodec, cell("AudioCodec"), Fallback::First);

    c.SetPresetNumber(NumberId::Width, cell("Width"));
    c.SetPresetNumber(NumberId::Height, cell("Height"));
    c.SetPresetFrameSize();

    m_description = { cell("Format"), cell("Keyword"), cell("Maker"), cell("Type"),
        cell("Thumbnail"), cell("Image") };

    c.Select(ChoiceListId::FPS, cell("FPS"), Fallback::First);
    c.SetPresetQuality(cell("QualityLevel"));
    c.SetPresetVideoBitrate(cell("VideoBitrate"));

    c.Select(ChoiceListId::FileExtention, cell("FileExtention"), Fallback::First);
    c.Select(ChoiceListId::AspectRatio, cell("AspectRatio"), Fallback::First);
    c.Select(ChoiceListId::SampleRate, cell("SampleRate"), Fallback::Last);
    c.Select(ChoiceListId::Channels, cell("Channels"), Fallback::Last);
    c.Select(ChoiceListId::AudioSize, cell("AudioSize"), Fallback::Last);

    c.FillList(ChoiceListId::AudioBitrate,
        ListAudioBitrates(choiceText(ChoiceListId::AudioCodec),
            choiceText(ChoiceListId::SampleRate), choiceText(ChoiceListId::Channels),
            choiceText(ChoiceListId::AudioSize)));
    c.Select(ChoiceListId::AudioBitrate, cell("AudioBitrate") + Kbps, Fallback::Last);
    c.EndFill();
}

void OutputSettings::ChooseEntry(ChoiceListId id, int index)
{
    if (index < 0 || index >= choice(id).entries.size())
        return;
    Batch batch(*this);
    m_choices.Choose(id, index);
    if (m_choices.rulesOpen())
        StoreAudioSettings();
}

bool OutputSettings::ChooseEntryText(ChoiceListId id, const QString &text)
{
    const int index = choice(id).indexOf(text);
    if (index < 0)
        return false;
    ChooseEntry(id, index);
    return true;
}

void OutputSettings::SetNumber(NumberId id, int value)
{
    Batch batch(*this);
    m_choices.SetNumber(id, value);
}

void OutputSettings::ChooseQualityLevel(QualityLevel level)
{
    Batch batch(*this);
    if (m_choices.ChooseQualityLevel(level))
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
        SetCatalogueCell(m_catalogue.presets, row, ChoiceListName(id), value, false, false);
    }
}

void OutputSettings::SetVideoBitrateValue(int kbps)
{
    Batch batch(*this);
    m_choices.SetVideoBitrateValue(kbps);
}

OutputSettings &AppOutputSettings()
{
    static OutputSettings settings(AppCatalogue());
    return settings;
}

} // namespace sonivert
