#include "core/media/info_text.h"

#include "core/media/time_text.h"

#include <QDateTime>
#include <QFileInfo>
#include <QLocale>
#include <QMimeDatabase>

namespace sonivert {

namespace {

const QString notAvailable = QStringLiteral("Not Available");

// Applies the "Not Available" rule, then the label's conversion to what is left.
template<typename Convert> InfoText infoText(const QString &raw, Convert convert)
{
    if (isNotAvailableValue(raw))
        return InfoText { notAvailable, false };
    return InfoText { convert(raw), true };
}

QString asIs(const QString &raw)
{
    return raw;
}

QString pixels(const QString &raw)
{
    return raw + QStringLiteral(" pixels");
}

QString framesPerSecond(const QString &raw)
{
    return raw + QStringLiteral(" frames/second");
}

QString hertz(const QString &raw)
{
    return raw + QStringLiteral(" Hz");
}

QString frameSize(const MediaItem &item)
{
    return item.text(Field::VideoWidth) + QStringLiteral(" x ") + item.text(Field::VideoHeight);
}

QString sizeText(qint64 size)
{
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    return FormatByteSize(double(size)) + QStringLiteral(" (") + locale.toString(size)
        + QStringLiteral(" bytes)");
}

} // namespace

bool isNotAvailableValue(const QString &value)
{
    const QString t = value.trimmed();
    return t.isEmpty() || t == QLatin1String("0") || t == QLatin1String("x")
        || t == QLatin1String("-1 x -1") || t == QLatin1String("-1") || t == QLatin1String("1:1");
}

QString bitRateText(const QString &value)
{
    bool ok = false;
    const qlonglong rate = value.trimmed().toLongLong(&ok);
    return QString::number(ok ? rate / 1000 : 0) + QStringLiteral(" kbps");
}

QString channelText(const QString &value)
{
    const QString v = value.trimmed();
    if (v == QLatin1String("1"))
        return QStringLiteral("1 Channel (Mono)");
    if (v == QLatin1String("2"))
        return QStringLiteral("2 Channels (Stereo)");
    return v + QStringLiteral(" Channels");
}

QString aspectDescription(const QString &aspectText)
{
    struct Entry
    {
        const char *text;
        const char *description;
    };
    static constexpr Entry entries[] = {
        { "1.17", "1.17:1 - (Academy Scope)" },
        { "1.25", "1.25:1 - (5:4)" },
        { "1.33", "1.33:1 - (4:3)" },
        { "1.37", "1.37:1 - (Academy ratio)" },
        { "1.41", "1.41:1 - (2:1)" },
        { "1.5", "1.50:1 - (3:2)" },
        { "1.66", "1.66:1 - (5:3)  Super 16mm" },
        { "1.77", "1.77:1 - (16:9)  Widescreen" },
        { "1.78", "1.78:1 - (16:9)  Widescreen" },
        { "1.85", "1.85:1 - (35mm Standard)" },
        { "2.35", "2.35:1 - (35mm Anamorphic post-1970)" },
        { "2.39", "2.39:1 - (35mm Anamorphic post-1970)" },
        { "2.4", "2.40:1 - (Widescreen Cinema Standard)" },
    };
    const QString t = aspectText.trimmed();
    QString description = t + QStringLiteral(":1");
    for (const Entry &entry : entries) {
        if (t == QLatin1String(entry.text)) {
            description = QLatin1String(entry.description);
            break;
        }
    }
    return description.replace(QLatin1Char(','), QLatin1Char('.'));
}

QString attributeText(int attributes)
{
    QString text;
    if (attributes & FileAttribute::Hidden)
        text += QStringLiteral("Hidden,");
    if (attributes & FileAttribute::ReadOnly)
        text += QStringLiteral("Read-only,");
    if (attributes & FileAttribute::System)
        text += QStringLiteral("System,");
    if (attributes & FileAttribute::Normal)
        text += QStringLiteral("Normal,");
    if (attributes & FileAttribute::Archive)
        text += QStringLiteral("Archive,");
    if (text.endsWith(QLatin1Char(',')))
        text.chop(1);
    return text.replace(QLatin1Char(','), QStringLiteral(", "));
}

int linuxFileAttributes(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return 0;
    int attributes = 0;
    if (info.fileName().startsWith(QLatin1Char('.')))
        attributes |= FileAttribute::Hidden;
    if (!info.isWritable())
        attributes |= FileAttribute::ReadOnly;
    if (attributes == 0)
        attributes = FileAttribute::Normal;
    return attributes;
}

std::array<InfoText, InputInfoLabelCount> inputFileInfoTexts(const MediaItem &item)
{
    return {
        infoText(item.text(Field::VideoCodecName), asIs),
        infoText(frameSize(item), pixels),
        infoText(item.text(Field::VideoBitRate), bitRateText),
        infoText(item.text(Field::VideoFrameRateNumerator), framesPerSecond),
        infoText(item.text(Field::AudioCodecName), asIs),
        infoText(item.text(Field::AudioSampleRate), hertz),
        infoText(item.text(Field::AudioBitRate), bitRateText),
        infoText(item.text(Field::AudioChannels), channelText),
        infoText(item.text(Field::VideoSampleAspectRatio), asIs),
    };
}

QString fileDateText(const QDateTime &time)
{
    if (!time.isValid())
        return QString();
    return QLocale().toString(time, QStringLiteral("dddd, MMMM dd, yyyy, hh:mm:ss AP"));
}

FileFacts readFileFacts(const MediaItem &item)
{
    FileFacts facts;
    facts.path = item.text(Field::FilePath).trimmed() + item.text(Field::Name);
    const QFileInfo info(facts.path);
    if (!info.exists())
        return facts;
    facts.read = true;
    facts.typeDescription = QMimeDatabase().mimeTypeForFile(info).comment();
    facts.sizeText = sizeText(info.size());
    facts.created = fileDateText(info.birthTime());
    facts.accessed = fileDateText(info.lastRead());
    facts.modified = fileDateText(info.lastModified());
    facts.attributes = linuxFileAttributes(facts.path);
    return facts;
}

std::array<InfoText, PropertiesLabelCount> propertiesInfoTexts(
    const MediaItem &item, const FileFacts &facts)
{
    const QFileInfo name(item.text(Field::Name));
    std::array<InfoText, PropertiesLabelCount> labels;
    if (!facts.read) {
        // The "Not Available" rule runs last, after every fact was read, so it never ran.
        labels[0] = InfoText { name.completeBaseName(), true };
        labels[1] = InfoText { name.suffix().toUpper(), true };
        return labels;
    }
    labels[0] = infoText(name.completeBaseName(), asIs);
    labels[1] = infoText(name.suffix().toUpper(), asIs);
    labels[2] = infoText(facts.typeDescription, asIs);
    labels[3] = infoText(facts.sizeText, asIs);
    labels[4] = infoText(facts.created, asIs);
    labels[5] = infoText(facts.accessed, asIs);
    labels[6] = infoText(facts.modified, asIs);
    labels[7] = infoText(attributeText(facts.attributes), asIs);
    labels[8] = infoText(item.text(Field::VideoCodecName), asIs);
    labels[9] = infoText(frameSize(item), pixels);
    labels[10] = infoText(item.text(Field::VideoBitRate), bitRateText);
    labels[11] = infoText(item.text(Field::VideoFrameRateNumerator), framesPerSecond);
    labels[12] = infoText(aspectDescription(item.text(Field::VideoSampleAspectRatio)), asIs);
    labels[14] = infoText(item.text(Field::AudioCodecName), asIs);
    labels[15] = infoText(item.text(Field::AudioBitRate), bitRateText);
    labels[16] = infoText(item.text(Field::AudioSampleRate), hertz);
    labels[17] = infoText(item.text(Field::AudioChannels), channelText);
    const int tags[] = { Field::FileTitle, Field::FileComment, Field::FileAuthor, Field::FileAlbum,
        Field::FileYear, Field::FileTrack, Field::FileGenre, Field::FileCopyright };
    for (int i = 0; i < 8; ++i)
        labels[size_t(19 + i)] = infoText(item.text(tags[i]), asIs);
    return labels;
}

} // namespace sonivert
