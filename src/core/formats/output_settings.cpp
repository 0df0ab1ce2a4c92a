#include "core/formats/output_settings.h"

#include "core/formats/parameter_tables.h"

#include <algorithm>
#include <cmath>

namespace sonivert {

namespace {

const QString NoVideo = QStringLiteral("No Video");
const QString NoAudio = QStringLiteral("No Audio");
const QString SmartFit = QStringLiteral("Smart Fit");
const QString Custom = QStringLiteral("Custom");
const QString Kbps = QStringLiteral(" kbps");

int numberFromText(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || std::fabs(value) > 2147483647.0)
        return 0;
    return static_cast<int>(std::nearbyint(value));
}

QString sizeText(int width, int height)
{
    return QString::number(width) + QStringLiteral(" x ") + QString::number(height);
}

QStringList listPieces(const QString &text)
{
    QStringList pieces = text.split(QLatin1Char(';'));
    pieces.removeLast(); // the piece after the last ";" is never an entry
    return pieces;
}

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
{
}

const ChoiceList &OutputSettings::choice(ChoiceListId list) const
{
    return m_lists[std::size_t(list)];
}

QString OutputSettings::choiceText(ChoiceListId list) const
{
    return m_lists[std::size_t(list)].selectedText();
}

const NumberSetting &OutputSettings::number(NumberId id) const
{
    return m_numbers[std::size_t(id)];
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
    if (!m_guardOpen)
        return;
    if (row < 1 || row > m_catalogue.presets.rowCount())
        return;
    Batch batch(*this);
    m_guardOpen = false;
    m_appliedRow = row;
    auto cell = [this, row](const char *caption) {
        return GetCatalogueCell(m_catalogue.presets, row, QLatin1String(caption));
    };

    for (ChoiceList &each : m_lists)
        each = ChoiceList {};
    m_locked.fill(false);
    m_numberLocked.fill(false);

    const QString format = cell("Format");
    fillFormatChoices(ChoiceListId::VideoCodec, format, QStringLiteral("VideoCodec"));
    fillFormatChoices(ChoiceListId::AudioCodec, format, QStringLiteral("AudioCodec"));
    selectChoice(ChoiceListId::VideoCodec, cell("VideoCodec"), Fallback::First);
    selectChoice(ChoiceListId::AudioCodec, cell("AudioCodec"), Fallback::First);

    applyNumericSetting(NumberId::Width, cell("Width"));
    applyNumericSetting(NumberId::Height, cell("Height"));
    const int width = num(NumberId::Width).value;
    const int height = num(NumberId::Height).value;
    if (width == 0 && height == 0)
        selectChoice(ChoiceListId::FrameSize, QStringLiteral("Original"), Fallback::First);
    else
        selectChoice(ChoiceListId::FrameSize, sizeText(width, height), Fallback::Last);
    m_locked[std::size_t(ChoiceListId::FrameSize)] = m_numberLocked[std::size_t(NumberId::Width)];

    m_description = { cell("Format"), cell("Keyword"), cell("Maker"), cell("Type"),
        cell("Thumbnail"), cell("Image") };

    selectChoice(ChoiceListId::FPS, cell("FPS"), Fallback::First);

    QString quality = cell("QualityLevel");
    const bool qualityLocked = quality.startsWith(QLatin1Char('#'));
    quality.remove(QLatin1Char('#'));
    if (const auto level = qualityLevelFromName(quality)) {
        m_quality = *level;
        m_qualityEnabled = !qualityLocked;
    } else {
        m_qualityEnabled = false;
    }

    const QString bitrateCell = cell("VideoBitrate");
    const QString bitrate = QString(bitrateCell).remove(QLatin1Char('#'));
    const int maximum = num(NumberId::VideoBitrate).maximum;
    if (bitrate == SmartFit) {
        fillChoiceList(ChoiceListId::VideoBitrate,
            ListVideoBitrates(num(NumberId::Width).value, num(NumberId::Height).value, maximum));
        selectChoice(ChoiceListId::VideoBitrate, bitrateCell, Fallback::First);
    } else if (bitrate == QLatin1String("0")) {
        fillChoiceList(ChoiceListId::VideoBitrate, ListVideoBitrates(0, 0, 0));
        selectChoice(ChoiceListId::VideoBitrate, bitrateCell, Fallback::First);
        applyNumericSetting(NumberId::VideoBitrate, bitrateCell);
    } else {
        fillChoiceList(ChoiceListId::VideoBitrate,
            ListVideoBitrates(num(NumberId::Width).value, num(NumberId::Height).value, maximum));
        selectChoice(ChoiceListId::VideoBitrate, bitrateCell + Kbps, Fallback::Last);
        applyNumericSetting(NumberId::VideoBitrate, bitrateCell);
    }

    selectChoice(ChoiceListId::FileExtention, cell("FileExtention"), Fallback::First);
    selectChoice(ChoiceListId::AspectRatio, cell("AspectRatio"), Fallback::First);
    selectChoice(ChoiceListId::SampleRate, cell("SampleRate"), Fallback::Last);
    selectChoice(ChoiceListId::Channels, cell("Channels"), Fallback::Last);
    selectChoice(ChoiceListId::AudioSize, cell("AudioSize"), Fallback::Last);

    fillChoiceList(ChoiceListId::AudioBitrate,
        ListAudioBitrates(choiceText(ChoiceListId::AudioCodec),
            choiceText(ChoiceListId::SampleRate), choiceText(ChoiceListId::Channels),
            choiceText(ChoiceListId::AudioSize)));
    selectChoice(ChoiceListId::AudioBitrate, cell("AudioBitrate") + Kbps, Fallback::Last);

    m_guardOpen = true;
    refreshEnabledStates();
}

void OutputSettings::chooseEntry(ChoiceListId id, int index)
{
    ChoiceList &target = list(id);
    if (index < 0 || index >= target.entries.size())
        return;
    Batch batch(*this);
    target.selected = index;
    selectionChanged(id);
    if (m_guardOpen)
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
    const NumberSetting &target = number(id);
    setValue(id, std::clamp(value, target.minimum, std::max(target.minimum, target.maximum)));
    if (id != NumberId::VideoBitrate && choiceText(ChoiceListId::VideoBitrate) == SmartFit)
        videoBitrateChanged();
    refreshEnabledStates();
}

void OutputSettings::chooseQualityLevel(QualityLevel level)
{
    Batch batch(*this);
    m_quality = level;
    if (m_guardOpen && choiceText(ChoiceListId::VideoCodec) != NoVideo) {
        selectChoice(ChoiceListId::VideoBitrate, SmartFit, Fallback::None);
        StoreAudioSettings();
    }
    refreshEnabledStates();
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
    setValue(NumberId::VideoBitrate, kbps);
}

void OutputSettings::fillChoiceList(ChoiceListId id, const QString &text)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    for (QString piece : listPieces(text))
        target.entries.append({ piece.remove(QLatin1Char('#')), 0 });
}

void OutputSettings::fillChoiceListFromCell(ChoiceListId id, const QString &cell)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    if (cell == QLatin1String("#"))
        return;
    for (const QString &piece : listPieces(cell))
        target.entries.append({ piece, 0 });
}

void OutputSettings::fillFromLibraryOrCell(ChoiceListId id, const QString &cell)
{
    const QString word = cell.trimmed();
    if (word == QLatin1String("UseFPSLib"))
        fillChoiceList(id, BuildStandardList(StandardList::FrameRates));
    else if (word == QLatin1String("UseAspectRatioLib"))
        fillChoiceList(id, BuildStandardList(StandardList::AspectRatios));
    else if (word == QLatin1String("UseFrameLib"))
        fillChoiceList(id, BuildStandardList(StandardList::FrameSizes));
    else
        fillChoiceListFromCell(id, cell);
}

void OutputSettings::fillFormatChoices(
    ChoiceListId id, const QString &format, const QString &column)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    const CatalogueTable &formats = m_catalogue.formats;
    for (int row = 1; row <= formats.rowCount(); ++row) {
        if (GetCatalogueCell(formats, row, QStringLiteral("Format")).trimmed() != format.trimmed())
            continue;
        const QString cell = GetCatalogueCell(formats, row, column);
        if (cell != QLatin1String("#"))
            target.entries.append({ cell, row });
    }
}

void OutputSettings::selectChoice(ChoiceListId id, const QString &value, Fallback fallback)
{
    QString shown = value;
    if (value.startsWith(QLatin1Char('#'))) {
        shown.remove(QLatin1Char('#'));
        m_locked[std::size_t(id)] = true;
    }
    ChoiceList &target = list(id);
    int index = target.indexOf(shown);
    if (index < 0) {
        if (target.entries.isEmpty() || fallback == Fallback::None)
            return;
        index = fallback == Fallback::First ? 0 : int(target.entries.size()) - 1;
    }
    target.selected = index;
    selectionChanged(id);
}

void OutputSettings::applyNumericSetting(NumberId id, const QString &cell)
{
    QString text = cell;
    m_numberLocked[std::size_t(id)] = text.startsWith(QLatin1Char('#'));
    text.remove(QLatin1Char('#'));
    setValue(id, text.trimmed() == QLatin1String("-") ? 0 : numberFromText(text));
}

// Like the number box, a value never exceeds the maximum; the minimum is enforced only where a
// rule raises the value to it or the person types a number.
void OutputSettings::setValue(NumberId id, int value)
{
    NumberSetting &target = num(id);
    target.value = std::min(value, target.maximum);
}

void OutputSettings::setLimits(NumberId id, int minimum, int maximum)
{
    NumberSetting &target = num(id);
    target.minimum = minimum;
    target.maximum = maximum;
    target.value = std::max(std::min(target.value, maximum), minimum);
}

void OutputSettings::selectionChanged(ChoiceListId id)
{
    switch (id) {
    case ChoiceListId::VideoCodec:
        videoCodecChanged();
        break;
    case ChoiceListId::FrameSize:
        frameSizeChanged();
        break;
    case ChoiceListId::FPS:
        if (m_guardOpen)
            rebuildVideoBitrates();
        break;
    case ChoiceListId::AudioCodec:
        audioCodecChanged();
        break;
    case ChoiceListId::SampleRate:
    case ChoiceListId::Channels:
    case ChoiceListId::AudioSize:
        if (m_guardOpen)
            rebuildAudioBitrates(choiceText(ChoiceListId::AudioBitrate));
        break;
    case ChoiceListId::VideoBitrate:
        videoBitrateChanged();
        break;
    case ChoiceListId::FileExtention:
    case ChoiceListId::AudioBitrate:
    case ChoiceListId::AspectRatio:
        break;
    }
    refreshEnabledStates();
}

void OutputSettings::videoCodecChanged()
{
    const ChoiceList &codecs = choice(ChoiceListId::VideoCodec);
    if (codecs.selected < 0)
        return;
    const int row = codecs.entries.at(codecs.selected).formatRow;
    auto cell = [this, row](const char *caption) {
        return GetCatalogueCell(m_catalogue.formats, row, QLatin1String(caption));
    };
    const QString fps = choiceText(ChoiceListId::FPS);
    const QString extension = choiceText(ChoiceListId::FileExtention);
    const QString aspect = choiceText(ChoiceListId::AspectRatio);
    const QString size = sizeText(num(NumberId::Width).value, num(NumberId::Height).value);

    fillFromLibraryOrCell(ChoiceListId::FPS, cell("FPS"));
    fillChoiceListFromCell(ChoiceListId::FileExtention, cell("FileExtention"));
    fillFromLibraryOrCell(ChoiceListId::AspectRatio, cell("AspectRatio"));
    fillFromLibraryOrCell(ChoiceListId::FrameSize, cell("FrameSize"));

    setLimits(NumberId::Width, 0, numberFromText(cell("MaxWidth")));
    setLimits(NumberId::Height, 0, numberFromText(cell("MaxHeight")));
    const int maximum = numberFromText(cell("MaxVideoBitrate"));
    setLimits(NumberId::VideoBitrate,
        LowerVideoBitrate(num(NumberId::Width).value, num(NumberId::Height).value, maximum),
        maximum);

    if (!m_guardOpen)
        return;
    selectChoice(ChoiceListId::FPS, fps, Fallback::First);
    selectChoice(ChoiceListId::FileExtention, extension, Fallback::First);
    selectChoice(ChoiceListId::AspectRatio, aspect, Fallback::First);
    if (size == QLatin1String("0 x 0"))
        selectChoice(ChoiceListId::FrameSize, QStringLiteral("Original"), Fallback::First);
    else
        selectChoice(ChoiceListId::FrameSize, size, Fallback::Last);
    // The new codec's bit-rate maximum changes the admissible steps even when the size and rate
    // stay (and a codec without frame sizes selects nothing that would rebuild them).
    rebuildVideoBitrates();
}

void OutputSettings::frameSizeChanged()
{
    const QString size = choiceText(ChoiceListId::FrameSize);
    if (size == QLatin1String("Original")) {
        setValue(NumberId::Width, 0);
        setValue(NumberId::Height, 0);
    } else if (size != Custom && !size.isEmpty() && size != QLatin1String("-")) {
        const QStringList parts = size.split(QStringLiteral(" x "));
        setValue(NumberId::Width, numberFromText(parts.value(0)));
        setValue(NumberId::Height, numberFromText(parts.value(1)));
    }
    if (m_guardOpen)
        rebuildVideoBitrates();
}

void OutputSettings::rebuildVideoBitrates()
{
    const QString previous = choiceText(ChoiceListId::VideoBitrate);
    const int width = num(NumberId::Width).value;
    const int height = num(NumberId::Height).value;
    const int maximum = num(NumberId::VideoBitrate).maximum;
    fillChoiceList(ChoiceListId::VideoBitrate, ListVideoBitrates(width, height, maximum));
    selectChoice(ChoiceListId::VideoBitrate, previous, Fallback::First);
    setLimits(NumberId::VideoBitrate, LowerVideoBitrate(width, height, maximum), maximum);
}

void OutputSettings::audioCodecChanged()
{
    const ChoiceList &codecs = choice(ChoiceListId::AudioCodec);
    if (codecs.selected < 0)
        return;
    const int row = codecs.entries.at(codecs.selected).formatRow;
    const QString sampleRate = choiceText(ChoiceListId::SampleRate);
    const QString bitrate = choiceText(ChoiceListId::AudioBitrate);
    const QString channels = choiceText(ChoiceListId::Channels);
    const QString sampleSize = choiceText(ChoiceListId::AudioSize);

    const CatalogueTable &formats = m_catalogue.formats;
    fillChoiceListFromCell(
        ChoiceListId::SampleRate, GetCatalogueCell(formats, row, QStringLiteral("SampleRate")));
    fillChoiceListFromCell(
        ChoiceListId::Channels, GetCatalogueCell(formats, row, QStringLiteral("Channels")));
    fillChoiceListFromCell(
        ChoiceListId::AudioSize, GetCatalogueCell(formats, row, QStringLiteral("AudioSize")));
    if (!m_guardOpen)
        return;
    selectChoice(ChoiceListId::SampleRate, sampleRate, Fallback::Last);
    selectChoice(ChoiceListId::Channels, channels, Fallback::Last);
    selectChoice(ChoiceListId::AudioSize, sampleSize, Fallback::Last);
    rebuildAudioBitrates(bitrate);
}

// Keeps the rate the person had when the new list still offers it, else the applied preset's.
void OutputSettings::rebuildAudioBitrates(const QString &previous)
{
    fillChoiceList(ChoiceListId::AudioBitrate,
        ListAudioBitrates(choiceText(ChoiceListId::AudioCodec),
            choiceText(ChoiceListId::SampleRate), choiceText(ChoiceListId::Channels),
            choiceText(ChoiceListId::AudioSize)));
    ChoiceList &rates = list(ChoiceListId::AudioBitrate);
    if (rates.entries.isEmpty())
        return;
    const QString presetRate
        = GetCatalogueCell(m_catalogue.presets, m_appliedRow, QStringLiteral("AudioBitrate"))
              .remove(QLatin1Char('#'))
        + Kbps;
    int index = rates.indexOf(previous);
    if (index < 0)
        index = rates.indexOf(presetRate);
    rates.selected = index >= 0 ? index : int(rates.entries.size()) - 1;
}

void OutputSettings::videoBitrateChanged()
{
    const QString text = choiceText(ChoiceListId::VideoBitrate);
    if (text == SmartFit) {
        setValue(NumberId::VideoBitrate,
            EstimateVideoBitrate(num(NumberId::Width).value, num(NumberId::Height).value,
                choiceText(ChoiceListId::FPS), qualityFactor(m_quality), BitrateUnit::Kbps));
    } else if (text.endsWith(Kbps)) {
        setValue(NumberId::VideoBitrate, numberFromText(text.chopped(Kbps.size())));
    }
}

void OutputSettings::refreshEnabledStates()
{
    const bool video = choiceText(ChoiceListId::VideoCodec) != NoVideo;
    const bool audio = choiceText(ChoiceListId::AudioCodec) != NoAudio;
    for (int i = 0; i < ChoiceListCount; ++i) {
        const auto id = ChoiceListId(i);
        bool enabled = !m_locked[std::size_t(i)];
        switch (id) {
        case ChoiceListId::FrameSize:
        case ChoiceListId::FPS:
        case ChoiceListId::AspectRatio:
        case ChoiceListId::VideoBitrate:
            enabled = enabled && video;
            break;
        case ChoiceListId::SampleRate:
        case ChoiceListId::AudioBitrate:
        case ChoiceListId::Channels:
        case ChoiceListId::AudioSize:
            enabled = enabled && audio;
            break;
        default:
            break;
        }
        list(id).enabled = enabled;
    }
    const bool customSize = choiceText(ChoiceListId::FrameSize) == Custom;
    for (NumberId id : { NumberId::Width, NumberId::Height }) {
        num(id).enabled = !m_numberLocked[std::size_t(id)];
        num(id).visible = customSize;
    }
    const bool customBitrate = choiceText(ChoiceListId::VideoBitrate) == Custom;
    num(NumberId::VideoBitrate).visible = customBitrate;
    num(NumberId::VideoBitrate).enabled
        = customBitrate && !m_numberLocked[std::size_t(NumberId::VideoBitrate)];
}

OutputSettings &appOutputSettings()
{
    static OutputSettings settings(appCatalogue());
    return settings;
}

} // namespace sonivert
