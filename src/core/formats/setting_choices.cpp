#include "core/formats/setting_choices.h"

#include <array>

namespace sonivert {

namespace {

const std::array<const char *, ChoiceListCount> listNames = {
    "VideoCodec",
    "FrameSize",
    "FPS",
    "FileExtention",
    "AudioCodec",
    "SampleRate",
    "AudioBitrate",
    "Channels",
    "AudioSize",
    "AspectRatio",
    "VideoBitrate",
};

} // namespace

QString choiceListName(ChoiceListId list)
{
    return QLatin1String(listNames[std::size_t(list)]);
}

std::optional<ChoiceListId> choiceListFromName(const QString &name)
{
    for (int i = 0; i < ChoiceListCount; ++i) {
        if (name.compare(QLatin1String(listNames[std::size_t(i)]), Qt::CaseInsensitive) == 0)
            return ChoiceListId(i);
    }
    return std::nullopt;
}

QString ChoiceList::selectedText() const
{
    return selected >= 0 && selected < entries.size() ? entries.at(selected).text : QString();
}

QStringList ChoiceList::texts() const
{
    QStringList result;
    for (const ChoiceEntry &entry : entries)
        result.append(entry.text);
    return result;
}

int ChoiceList::indexOf(const QString &text) const
{
    for (int i = 0; i < entries.size(); ++i) {
        if (entries.at(i).text == text)
            return i;
    }
    return -1;
}

QString qualityLevelName(QualityLevel level)
{
    switch (level) {
    case QualityLevel::High:
        return QStringLiteral("High");
    case QualityLevel::Standard:
        return QStringLiteral("Standard");
    case QualityLevel::SmallSize:
        return QStringLiteral("SmallSize");
    }
    return QString();
}

std::optional<QualityLevel> qualityLevelFromName(const QString &name)
{
    for (QualityLevel level :
        { QualityLevel::High, QualityLevel::Standard, QualityLevel::SmallSize }) {
        if (qualityLevelName(level) == name)
            return level;
    }
    return std::nullopt;
}

int qualityFactor(QualityLevel level)
{
    switch (level) {
    case QualityLevel::High:
        return 4;
    case QualityLevel::Standard:
        return 2;
    case QualityLevel::SmallSize:
        return 1;
    }
    return 2;
}

} // namespace sonivert
