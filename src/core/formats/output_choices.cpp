#include "core/formats/output_choices.h"

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

OutputChoices::OutputChoices(
    const CatalogueTable &formats, std::function<QString()> presetAudioRate)
    : m_formats(formats)
    , m_presetAudioRate(std::move(presetAudioRate))
{
}

void OutputChoices::beginFill()
{
    m_rulesOpen = false;
    for (ChoiceList &each : m_lists)
        each = ChoiceList {};
    m_locked.fill(false);
    m_numberLocked.fill(false);
}

void OutputChoices::endFill()
{
    m_rulesOpen = true;
    refreshEnabledStates();
}

void OutputChoices::setPresetFrameSize()
{
    const int width = num(NumberId::Width).value;
    const int height = num(NumberId::Height).value;
    if (width == 0 && height == 0)
        select(ChoiceListId::FrameSize, QStringLiteral("Original"), Fallback::First);
    else
        select(ChoiceListId::FrameSize, sizeText(width, height), Fallback::Last);
    m_locked[std::size_t(ChoiceListId::FrameSize)] = m_numberLocked[std::size_t(NumberId::Width)];
}

void OutputChoices::setPresetQuality(const QString &cell)
{
    QString quality = cell;
    const bool qualityLocked = quality.startsWith(QLatin1Char('#'));
    quality.remove(QLatin1Char('#'));
    if (const auto level = qualityLevelFromName(quality)) {
        m_quality = *level;
        m_qualityEnabled = !qualityLocked;
    } else {
        m_qualityEnabled = false;
    }
}

void OutputChoices::setPresetVideoBitrate(const QString &cell)
{
    const QString bitrate = QString(cell).remove(QLatin1Char('#'));
    const int width = num(NumberId::Width).value;
    const int height = num(NumberId::Height).value;
    const int maximum = num(NumberId::VideoBitrate).maximum;
    if (bitrate == SmartFit) {
        fillList(ChoiceListId::VideoBitrate, ListVideoBitrates(width, height, maximum));
        select(ChoiceListId::VideoBitrate, cell, Fallback::First);
    } else if (bitrate == QLatin1String("0")) {
        fillList(ChoiceListId::VideoBitrate, ListVideoBitrates(0, 0, 0));
        select(ChoiceListId::VideoBitrate, cell, Fallback::First);
        setPresetNumber(NumberId::VideoBitrate, cell);
    } else {
        fillList(ChoiceListId::VideoBitrate, ListVideoBitrates(width, height, maximum));
        select(ChoiceListId::VideoBitrate, cell + Kbps, Fallback::Last);
        setPresetNumber(NumberId::VideoBitrate, cell);
    }
}

bool OutputChoices::choose(ChoiceListId id, int index)
{
    ChoiceList &target = list(id);
    if (index < 0 || index >= target.entries.size())
        return false;
    target.selected = index;
    selectionChanged(id);
    return true;
}

void OutputChoices::setNumber(NumberId id, int value)
{
    const NumberSetting &target = number(id);
    setValue(id, std::clamp(value, target.minimum, std::max(target.minimum, target.maximum)));
    if (id != NumberId::VideoBitrate && choiceText(ChoiceListId::VideoBitrate) == SmartFit)
        videoBitrateChanged();
    refreshEnabledStates();
}

bool OutputChoices::chooseQualityLevel(QualityLevel level)
{
    m_quality = level;
    const bool smartFit = m_rulesOpen && choiceText(ChoiceListId::VideoCodec) != NoVideo;
    if (smartFit)
        select(ChoiceListId::VideoBitrate, SmartFit, Fallback::None);
    refreshEnabledStates();
    return smartFit;
}
void OutputChoices::fillList(ChoiceListId id, const QString &text)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    for (QString piece : listPieces(text))
        target.entries.append({ piece.remove(QLatin1Char('#')), 0 });
}

void OutputChoices::fillFromCell(ChoiceListId id, const QString &cell)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    if (cell == QLatin1String("#"))
        return;
    for (const QString &piece : listPieces(cell))
        target.entries.append({ piece, 0 });
}

void OutputChoices::fillFromLibraryOrCell(ChoiceListId id, const QString &cell)
{
    const QString word = cell.trimmed();
    if (word == QLatin1String("UseFPSLib"))
        fillList(id, BuildStandardList(StandardList::FrameRates));
    else if (word == QLatin1String("UseAspectRatioLib"))
        fillList(id, BuildStandardList(StandardList::AspectRatios));
    else if (word == QLatin1String("UseFrameLib"))
        fillList(id, BuildStandardList(StandardList::FrameSizes));
    else
        fillFromCell(id, cell);
}

void OutputChoices::fillCodecs(ChoiceListId id, const QString &format, const QString &column)
{
    ChoiceList &target = list(id);
    target.entries.clear();
    target.selected = -1;
    const CatalogueTable &formats = m_formats;
    for (int row = 1; row <= formats.rowCount(); ++row) {
        if (GetCatalogueCell(formats, row, QStringLiteral("Format")).trimmed() != format.trimmed())
            continue;
        const QString cell = GetCatalogueCell(formats, row, column);
        if (cell != QLatin1String("#"))
            target.entries.append({ cell, row });
    }
}

void OutputChoices::select(ChoiceListId id, const QString &value, Fallback fallback)
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

void OutputChoices::setPresetNumber(NumberId id, const QString &cell)
{
    QString text = cell;
    m_numberLocked[std::size_t(id)] = text.startsWith(QLatin1Char('#'));
    text.remove(QLatin1Char('#'));
    setValue(id, text.trimmed() == QLatin1String("-") ? 0 : numberFromText(text));
}

// Like the number box, a value never exceeds the maximum; the minimum is enforced only where a
// rule raises the value to it or the person types a number.
void OutputChoices::setValue(NumberId id, int value)
{
    NumberSetting &target = num(id);
    target.value = std::min(value, target.maximum);
}

void OutputChoices::setLimits(NumberId id, int minimum, int maximum)
{
    NumberSetting &target = num(id);
    target.minimum = minimum;
    target.maximum = maximum;
    target.value = std::max(std::min(target.value, maximum), minimum);
}

void OutputChoices::selectionChanged(ChoiceListId id)
{
    switch (id) {
    case ChoiceListId::VideoCodec:
        videoCodecChanged();
        break;
    case ChoiceListId::FrameSize:
        frameSizeChanged();
        break;
    case ChoiceListId::FPS:
        if (m_rulesOpen)
            rebuildVideoBitrates();
        break;
    case ChoiceListId::AudioCodec:
        audioCodecChanged();
        break;
    case ChoiceListId::SampleRate:
    case ChoiceListId::Channels:
    case ChoiceListId::AudioSize:
        if (m_rulesOpen)
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

void OutputChoices::videoCodecChanged()
{
    const ChoiceList &codecs = choice(ChoiceListId::VideoCodec);
    if (codecs.selected < 0)
        return;
    const int row = codecs.entries.at(codecs.selected).formatRow;
    auto cell = [this, row](const char *caption) {
        return GetCatalogueCell(m_formats, row, QLatin1String(caption));
    };
    const QString fps = choiceText(ChoiceListId::FPS);
    const QString extension = choiceText(ChoiceListId::FileExtention);
    const QString aspect = choiceText(ChoiceListId::AspectRatio);
    const QString size = sizeText(num(NumberId::Width).value, num(NumberId::Height).value);

    fillFromLibraryOrCell(ChoiceListId::FPS, cell("FPS"));
    fillFromCell(ChoiceListId::FileExtention, cell("FileExtention"));
    fillFromLibraryOrCell(ChoiceListId::AspectRatio, cell("AspectRatio"));
    fillFromLibraryOrCell(ChoiceListId::FrameSize, cell("FrameSize"));

    setLimits(NumberId::Width, 0, numberFromText(cell("MaxWidth")));
    setLimits(NumberId::Height, 0, numberFromText(cell("MaxHeight")));
    const int maximum = numberFromText(cell("MaxVideoBitrate"));
    setLimits(NumberId::VideoBitrate,
        LowerVideoBitrate(num(NumberId::Width).value, num(NumberId::Height).value, maximum),
        maximum);

    if (!m_rulesOpen)
        return;
    select(ChoiceListId::FPS, fps, Fallback::First);
    select(ChoiceListId::FileExtention, extension, Fallback::First);
    select(ChoiceListId::AspectRatio, aspect, Fallback::First);
    if (size == QLatin1String("0 x 0"))
        select(ChoiceListId::FrameSize, QStringLiteral("Original"), Fallback::First);
    else
        select(ChoiceListId::FrameSize, size, Fallback::Last);
    // The new codec's bit-rate maximum changes the admissible steps even when the size and rate
    // stay (and a codec without frame sizes selects nothing that would rebuild them).
    rebuildVideoBitrates();
}

void OutputChoices::frameSizeChanged()
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
    if (m_rulesOpen)
        rebuildVideoBitrates();
}

void OutputChoices::rebuildVideoBitrates()
{
    const QString previous = choiceText(ChoiceListId::VideoBitrate);
    const int width = num(NumberId::Width).value;
    const int height = num(NumberId::Height).value;
    const int maximum = num(NumberId::VideoBitrate).maximum;
    fillList(ChoiceListId::VideoBitrate, ListVideoBitrates(width, height, maximum));
    select(ChoiceListId::VideoBitrate, previous, Fallback::First);
    setLimits(NumberId::VideoBitrate, LowerVideoBitrate(width, height, maximum), maximum);
}

void OutputChoices::audioCodecChanged()
{
    const ChoiceList &codecs = choice(ChoiceListId::AudioCodec);
    if (codecs.selected < 0)
        return;
    const int row = codecs.entries.at(codecs.selected).formatRow;
    const QString sampleRate = choiceText(ChoiceListId::SampleRate);
    const QString bitrate = choiceText(ChoiceListId::AudioBitrate);
    const QString channels = choiceText(ChoiceListId::Channels);
    const QString sampleSize = choiceText(ChoiceListId::AudioSize);

    const CatalogueTable &formats = m_formats;
    fillFromCell(
        ChoiceListId::SampleRate, GetCatalogueCell(formats, row, QStringLiteral("SampleRate")));
    fillFromCell(
        ChoiceListId::Channels, GetCatalogueCell(formats, row, QStringLiteral("Channels")));
    fillFromCell(
        ChoiceListId::AudioSize, GetCatalogueCell(formats, row, QStringLiteral("AudioSize")));
    if (!m_rulesOpen)
        return;
    select(ChoiceListId::SampleRate, sampleRate, Fallback::Last);
    select(ChoiceListId::Channels, channels, Fallback::Last);
    select(ChoiceListId::AudioSize, sampleSize, Fallback::Last);
    rebuildAudioBitrates(bitrate);
}

// Keeps the rate the person had when the new list still offers it, else the applied preset's.
void OutputChoices::rebuildAudioBitrates(const QString &previous)
{
    fillList(ChoiceListId::AudioBitrate,
        ListAudioBitrates(choiceText(ChoiceListId::AudioCodec),
            choiceText(ChoiceListId::SampleRate), choiceText(ChoiceListId::Channels),
            choiceText(ChoiceListId::AudioSize)));
    ChoiceList &rates = list(ChoiceListId::AudioBitrate);
    if (rates.entries.isEmpty())
        return;
    const QString presetRate = m_presetAudioRate ? m_presetAudioRate() : QString();
    int index = rates.indexOf(previous);
    if (index < 0)
        index = rates.indexOf(presetRate);
    rates.selected = index >= 0 ? index : int(rates.entries.size()) - 1;
}

void OutputChoices::videoBitrateChanged()
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

void OutputChoices::refreshEnabledStates()
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

} // namespace sonivert
