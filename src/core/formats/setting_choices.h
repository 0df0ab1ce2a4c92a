#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace sonivert {

// The eleven choice lists, in the order the option builder and the dialog address them.
enum class ChoiceListId : int {
    VideoCodec = 0,
    FrameSize,
    FPS,
    FileExtention,
    AudioCodec,
    SampleRate,
    AudioBitrate,
    Channels,
    AudioSize,
    AspectRatio,
    VideoBitrate,
};
inline constexpr int ChoiceListCount = 11;

QString choiceListName(ChoiceListId list);
std::optional<ChoiceListId> choiceListFromName(const QString &name); // any letter case

struct ChoiceEntry
{
    QString text;
    int formatRow = 0; // the format-table row a codec entry came from; 0 for other lists
};

struct ChoiceList
{
    QList<ChoiceEntry> entries;
    int selected = -1;
    bool enabled = true;

    QString selectedText() const;
    QStringList texts() const;
    int indexOf(const QString &text) const; // exact, -1 when absent
};

enum class NumberId {
    Width,
    Height,
    VideoBitrate,
};

struct NumberSetting
{
    int value = 0;
    int minimum = 0;
    int maximum = 0;
    bool enabled = true;
    bool visible = true;
};

enum class QualityLevel {
    High,
    Standard,
    SmallSize,
};

QString qualityLevelName(QualityLevel level);
std::optional<QualityLevel> qualityLevelFromName(const QString &name);
int qualityFactor(QualityLevel level);

struct PresetDescription
{
    QString format;
    QString keyword;
    QString maker;
    QString type;
    QString thumbnail;
    QString image;
};

enum class Fallback {
    None,
    First,
    Last,
};

} // namespace sonivert
