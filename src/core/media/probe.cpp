#include "core/media/probe.h"

#include "core/media/audio_tracks.h"
#include "core/media/decoder.h"
#include "core/media/encryption_evidence.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/time_text.h"

#include <QDir>
#include <QFileInfo>
#include <array>
#include <cmath>
#include <exception>

namespace sonivert {

namespace {

QString twoDecimals(double value)
{
    return QString::number(std::nearbyint(value * 100.0) / 100.0, 'f', 2);
}

// Two decimals without trailing zeros: 2.5, 0.75, 1.
QString shortDecimal(double value)
{
    QString text = QString::number(std::nearbyint(value * 100.0) / 100.0, 'f', 2);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text.replace(QLatin1Char(','), QLatin1Char('.'));
}

void fillItem(MediaItem &item, const QString &path, const Decoder &d)
{
    int64_t duration = d.fileDuration();
    if (duration == UnknownTime)
        duration = 0;
    int32_t low = 0;
    int32_t high = 0;
    splitTime(duration, low, high);

    const int v = d.FirstVideoStreamIndex();
    const int a = d.FirstAudioStreamIndex();
    const int t = d.FirstSubtitleStreamIndex();
    const int width = d.GetVideoInfosWidth(v);
    const int height = d.GetVideoInfosHeight(v);
    // The aspect rule reads a height of 0 as "no picture" and gives "1.1". Our decoder answers -1
    // for an absent stream, which the rule would turn into -1 / -1 = "1", a square picture.
    const QString aspect = d.IsVideoStream(v)
        ? ClassifyAspectRatio(width, height, d.GetVideoInfosDARNumerator(v),
            d.GetVideoInfosDARDenominator(v), d.GetVideoInfosDisplayAspectRatio(v))
        : ClassifyAspectRatio(0, 0, 0, 0, 0.0f);

    item.set(Field::StateIcon, QString());
    item.set(Field::Name, fileNameOf(path));
    item.set(Field::Duration, FormatMediaTime(duration).left(8));
    item.set(Field::Format, QFileInfo(path).suffix().toUpper());
    item.set(Field::State, QString());
    item.set(Field::SrcDuration, twoDecimals(double(duration) / 1000000.0));
    item.srcDurationTag = item.text(Field::SrcDuration);
    item.set(Field::FilePath, folderOf(path));
    item.set(Field::FileSize, d.FileSizeLow());
    item.set(Field::FileDuration, d.GetFileInfoDurationLow());
    item.set(Field::VideoStream, d.IsVideoStream(v));
    item.set(Field::AudioStream, d.IsAudioStream(a));
    item.set(Field::SubtitleStream, d.IsSubtitleStream(t));
    item.set(Field::VideoStreamCount, d.VideoStreamCount());
    item.set(Field::VideoCodecName, NormaliseCodecName(d.GetVideoInfosCodecName(v).trimmed()));
    item.set(Field::VideoWidth, width);
    item.set(Field::VideoHeight, height);
    item.set(Field::VideoBitRate, d.GetVideoInfosBitRate(v));
    item.set(Field::VideoFrameRateNumerator,
        frameRateField(
            d.GetVideoInfosFrameRateNumerator(v), d.GetVideoInfosFrameRateDenominator(v)));
    item.set(Field::VideoSampleAspectRatio, aspect);
    item.set(Field::VideoDurationLow, d.GetVideoInfosDurationLow(v));
    item.set(Field::VideoLanguage, d.GetVideoInfosLanguage(v));
    item.set(Field::AudioStreamCount, d.AudioStreamCount());
    item.set(Field::AudioCodecName, NormaliseCodecName(d.GetAudioInfosCodecName(a).trimmed()));
    item.set(Field::AudioBitRate, d.GetAudioInfosBitRate(a));
    item.set(Field::AudioSampleRate, d.GetAudioInfosSampleRate(a));
    item.set(Field::AudioChannels, d.GetAudioInfosChannels(a));
    item.set(Field::AudioDurationLow, d.GetAudioInfosDurationLow(a));
    item.set(Field::AudioLanguage, d.GetAudioInfosLanguage(a));
    item.set(Field::FileTitle, d.GetFileInfoTitle());
    item.set(Field::FileComment, d.GetFileInfoComment());
    item.set(Field::FileAuthor, d.GetFileInfoAuthor());
    item.set(Field::FileAlbum, d.GetFileInfoAlbum());
    item.set(Field::FileYear, d.GetFileInfoYear());
    item.set(Field::FileTrack, d.GetFileInfoTrack());
    item.set(Field::FileGenre, d.GetFileInfoGenre());
    item.set(Field::FileCopyright, d.GetFileInfoCopyright());
    item.set(Field::TrimStartLow, QStringLiteral("0"));
    item.set(Field::TrimStartHigh, QStringLiteral("0"));
    item.set(Field::TrimEndLow, halfText(low));
    item.set(Field::TrimEndHigh, halfText(high));
    item.set(Field::Filters, QString());
    item.set(Field::Deinterlacing, QStringLiteral("black"));
    item.set(Field::ConvertedFileName, QString());
    item.set(Field::NewAspectRatio, QStringLiteral("Original"));
    item.set(Field::FileDurationLow, halfText(low));
    item.set(Field::FileDurationHigh, halfText(high));
    item.set(Field::ErrMsg, QString());
    item.source = d.converterFacts();
    // The fields above describe the first audio stream; a default track after it takes over.
    if (item.source.audioTrack > 0)
        selectAudioTrack(item, item.source.audioTrack + 1);
    item.stateIcon = ListIcon::Ready;
    item.state = RowState::Ready;
}

} // namespace

QString fileNameOf(const QString &path)
{
    const QFileInfo info(path);
    // Base name, ".", extension; a name without an extension keeps no dangling dot.
    return info.fileName();
}

QString folderOf(const QString &path)
{
    QString folder = QFileInfo(path).absolutePath();
    if (!folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    return folder;
}

ProbeResult probeMediaFile(const QString &path, const ProbeOptions &options)
{
    ProbeResult result;
    result.name = fileNameOf(path);
    // Opening a pipe or a device can block before any read time-out applies.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile() && !info.isDir()) {
        result.message = path + QStringLiteral(": Not a regular file");
        return result;
    }
    Decoder decoder(options.readTimeoutMs);
    decoder.setAbortFlag(options.abort);
    try {
        if (!decoder.OpenFile(path)) {
            result.message = decoder.LastErrorText().trimmed();
            result.encrypted = saysInvalidData(result.message) && containerShowsEncryption(path);
            return result;
        }
        fillItem(result.item, path, decoder);
        decoder.CloseFile();
        result.ok = true;
    } catch (const std::exception &error) {
        // The item is discarded: a failed probe never leaves a partial row.
        decoder.CloseFile();
        result.item = MediaItem();
        result.message = decoder.LastErrorText().trimmed();
        if (result.message.isEmpty())
            result.message = QString::fromLocal8Bit(error.what());
    }
    return result;
}

void ProbeFile(const QString &path, FileListModel &list, FailureReport &report)
{
    const ProbeResult result = probeMediaFile(path);
    if (result.ok)
        list.appendMediaItem(result.item);
    else
        report.AddFailureReport(result.name, result.message, result.encrypted);
    readyLastRow(list);
}

void readyLastRow(FileListModel &list)
{
    if (list.count() > 0)
        list.SetRowState(list.count() - 1, true, RowState::Ready);
}

QString NormaliseCodecName(const QString &name)
{
    const qsizetype open = name.indexOf(QLatin1Char('('));
    if (open < 0)
        return name;
    QString part = name.mid(open).trimmed();
    if (part.startsWith(QLatin1Char('(')))
        part.remove(0, 1);
    if (part.endsWith(QLatin1Char(')')))
        part.chop(1);
    return part;
}

QString ClassifyAspectRatio(
    int width, int height, int darNumerator, int darDenominator, float displayAspectRatio)
{
    if (height == 0)
        return QStringLiteral("1.1");

    struct Pair
    {
        int n;
        int d;
        const char *text;
    };
    static constexpr std::array pairs { Pair { 5, 4, "1.25" }, Pair { 4, 3, "1.33" },
        Pair { 2, 1, "1.41" }, Pair { 3, 2, "1.50" }, Pair { 5, 3, "1.66" },
        Pair { 16, 9, "1.78" } };
    QString text;
    for (const Pair &p : pairs) {
        if (darNumerator == p.n && darDenominator == p.d)
            text = QLatin1String(p.text);
    }

    struct Ratio
    {
        int hundredths;
        const char *text;
    };
    static constexpr std::array ratios { Ratio { 117, "1.17" }, Ratio { 125, "1.25" },
        Ratio { 133, "1.33" }, Ratio { 137, "1.37" }, Ratio { 141, "1.41" }, Ratio { 150, "1.50" },
        Ratio { 166, "1.66" }, Ratio { 177, "1.77" }, Ratio { 178, "1.78" }, Ratio { 185, "1.85" },
        Ratio { 235, "2.35" }, Ratio { 239, "2.39" }, Ratio { 240, "2.4" } };
    const double hundredths = std::nearbyint(double(displayAspectRatio) * 100.0);
    for (const Ratio &r : ratios) {
        if (hundredths == double(r.hundredths)) {
            text = QLatin1String(r.text);
            break;
        }
    }

    if (text.trimmed().isEmpty())
        text = shortDecimal(double(width) / double(height));
    return text;
}

int frameRateField(int numerator, int denominator)
{
    if (numerator == 0 || numerator == -1)
        return numerator;
    if (denominator == 0)
        return numerator;
    return numerator / denominator;
}

} // namespace sonivert
