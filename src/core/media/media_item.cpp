#include "core/media/media_item.h"

#include <QStringList>

namespace sonivert {

namespace {

const QStringList &fieldKeys()
{
    static const QStringList keys {
        QStringLiteral(" "),
        QStringLiteral("Name"),
        QStringLiteral("Duration"),
        QStringLiteral("Format"),
        QString(),
        QStringLiteral("SrcDuration"),
        QStringLiteral("FilePath"),
        QStringLiteral("FileSize"),
        QStringLiteral("FileDuration"),
        QStringLiteral("VideoStream"),
        QStringLiteral("AudioStream"),
        QStringLiteral("SubtitleStream"),
        QStringLiteral("VideoStreamCount"),
        QStringLiteral("VideoCodecName"),
        QStringLiteral("VideoWidth"),
        QStringLiteral("VideoHeight"),
        QStringLiteral("VideoBitRate"),
        QStringLiteral("VideoFrameRateNumerator"),
        QStringLiteral("VideoSampleAspectRatio"),
        QStringLiteral("VideoDurationLow"),
        QStringLiteral("VideoLanguage"),
        QStringLiteral("AudioStreamCount"),
        QStringLiteral("AudioCodecName"),
        QStringLiteral("AudioBitRate"),
        QStringLiteral("AudioSampleRate"),
        QStringLiteral("AudioChannels"),
        QStringLiteral("AudioDurationLow"),
        QStringLiteral("AudioLanguage"),
        QStringLiteral("FileTitle"),
        QStringLiteral("FileComment"),
        QStringLiteral("FileAuthor"),
        QStringLiteral("FileAlbum"),
        QStringLiteral("FileYear"),
        QStringLiteral("FileTrack"),
        QStringLiteral("FileGenre"),
        QStringLiteral("FileCopyright"),
        QStringLiteral("Trim StartLow"),
        QStringLiteral("Trim StartHigh"),
        QStringLiteral("Trim EndLow"),
        QStringLiteral("Trim EndHigh"),
        QStringLiteral("Filters"),
        QStringLiteral("Deinterlacing"),
        QStringLiteral("ConvertedFileName"),
        QStringLiteral("NewAspectRatio"),
        QStringLiteral("FileDurationLow"),
        QStringLiteral("FileDurationHigh"),
        QStringLiteral("ErrMsg"),
    };
    return keys;
}

bool inRange(int index)
{
    return index >= 0 && index < MediaFieldCount;
}

QVariant emptyValue(FieldType type)
{
    switch (type) {
    case FieldType::Integer:
        return QVariant(0);
    case FieldType::Boolean:
        return QVariant(false);
    case FieldType::Text:
        break;
    }
    return QVariant(QString());
}

// Reads a value the way the row's integer cells do: whole numbers, or numeric text rounded.
int toInteger(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? -1 : 0;
    bool ok = false;
    const qlonglong whole = value.toLongLong(&ok);
    if (ok)
        return int(int32_t(uint32_t(uint64_t(whole))));
    return 0;
}

bool toBoolean(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        bool ok = false;
        const qlonglong number = text.toLongLong(&ok);
        return ok && number != 0;
    }
    return value.toBool();
}

QString toText(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    return value.toString();
}

} // namespace

FieldType fieldTypeOf(int index)
{
    switch (index) {
    case Field::FileSize:
    case Field::FileDuration:
    case Field::VideoStreamCount:
    case Field::VideoWidth:
    case Field::VideoHeight:
    case Field::VideoBitRate:
    case Field::VideoFrameRateNumerator:
    case Field::VideoDurationLow:
    case Field::AudioStreamCount:
    case Field::AudioBitRate:
    case Field::AudioSampleRate:
    case Field::AudioChannels:
    case Field::AudioDurationLow:
    case Field::FileYear:
    case Field::FileTrack:
        return FieldType::Integer;
    case Field::VideoStream:
    case Field::AudioStream:
    case Field::SubtitleStream:
        return FieldType::Boolean;
    default:
        return FieldType::Text;
    }
}

QString fieldKey(int index)
{
    return inRange(index) ? fieldKeys().at(index) : QString();
}

int fieldIndexOfKey(const QString &key)
{
    // Column 4's caption is empty; an empty key names no field.
    if (key.isEmpty())
        return -1;
    return int(fieldKeys().indexOf(key));
}

MediaItem::MediaItem()
{
    for (int i = 0; i < MediaFieldCount; ++i)
        fields[size_t(i)] = emptyValue(fieldTypeOf(i));
}

QVariant MediaItem::get(int index) const
{
    if (!inRange(index))
        return QVariant();
    return fields[size_t(index)];
}

bool MediaItem::set(int index, const QVariant &value)
{
    if (!inRange(index))
        return false;
    QVariant &slot = fields[size_t(index)];
    switch (fieldTypeOf(index)) {
    case FieldType::Integer:
        slot = QVariant(toInteger(value));
        break;
    case FieldType::Boolean:
        slot = QVariant(toBoolean(value));
        break;
    case FieldType::Text:
        slot = QVariant(toText(value));
        break;
    }
    return true;
}

QString MediaItem::text(int index) const
{
    return inRange(index) ? toText(get(index)) : QString();
}

int MediaItem::integer(int index) const
{
    return inRange(index) ? toInteger(get(index)) : 0;
}

bool MediaItem::boolean(int index) const
{
    return inRange(index) && toBoolean(get(index));
}

QString halfText(int32_t half)
{
    return QString::number(half);
}

int64_t joinHalfTexts(const QString &low, const QString &high)
{
    bool okLow = false;
    bool okHigh = false;
    const int32_t l = low.trimmed().toInt(&okLow);
    const int32_t h = high.trimmed().toInt(&okHigh);
    return int64_t((uint64_t(uint32_t(okHigh ? h : 0)) << 32) | uint64_t(uint32_t(okLow ? l : 0)));
}

} // namespace sonivert
