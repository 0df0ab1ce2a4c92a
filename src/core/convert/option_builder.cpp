#include "core/convert/option_builder.h"

#include "core/convert/stream_copy.h"
#include "core/formats/output_settings.h"
#include "core/formats/parameter_tables.h"
#include "core/media/audio_tracks.h"
#include "core/media/media_item.h"
#include "core/media/time_text.h"

#include <QHash>
#include <cmath>

namespace sonivert {

namespace {

QString chosenCodec(const SourceFacts &facts)
{
    return facts.audioTrack >= 0 && facts.audioTrack < facts.audioTracks.size()
        ? facts.audioTracks.at(facts.audioTrack).codec
        : QString();
}

bool isNoValueText(const QString &lowText)
{
    const QString low = lowText.trimmed();
    return low.isEmpty() || low == QLatin1String("-1");
}

// The probe stores an unknown duration as the engine's no-value time; a range ending there
// has no end that could be cut to.
bool isUnknown(int64_t microseconds)
{
    return microseconds == UnknownTime;
}

QString audioCodecOption(const QString &label, const QString &sampleSize)
{
    static const QHash<QString, QString> options = {
        { QStringLiteral("MPEG-2/4"), QStringLiteral(" -acodec libfaac") },
        { QStringLiteral("AAC"), QStringLiteral(" -acodec aac") },
        { QStringLiteral("MP3"), QStringLiteral(" -acodec libmp3lame") },
        { QStringLiteral("MP2"), QStringLiteral(" -acodec mp2") },
        { QStringLiteral("Ogg Vorbis"), QStringLiteral(" -acodec libvorbis") },
        { QStringLiteral("IMA ADPCM"), QStringLiteral(" -acodec adpcm_ima_wav") },
        { QStringLiteral("AMR ACELP"), QStringLiteral(" -acodec libopencore_amrnb") },
        { QStringLiteral("CCITT A-law"), QStringLiteral(" -acodec pcm_alaw") },
        { QStringLiteral("CCITT u-law"), QStringLiteral(" -acodec pcm_mulaw") },
        { QStringLiteral("AC3"), QStringLiteral(" -acodec ac3") },
        { QStringLiteral("WMA"), QStringLiteral(" -acodec wmav2") },
        { QStringLiteral("RealAudio 3.0 (dnet)"), QStringLiteral(" -acodec ac3") },
        { QStringLiteral("Microsoft ADPCM"), QStringLiteral(" -acodec adpcm_ms") },
        { QStringLiteral("IMA_ADPCM"), QStringLiteral(" -acodec adpcm_ima_wav") },
        { QStringLiteral("FLAC"), QStringLiteral(" -acodec flac") },
        { QStringLiteral("MS GSM 6.10"), QStringLiteral(" -acodec libgsm_ms") },
        { QStringLiteral("Opus"), QStringLiteral(" -acodec libopus") },
    };
    static const QHash<QString, QString> littleEndian = {
        { QStringLiteral("8 bit"), QStringLiteral(" -acodec pcm_u8") },
        { QStringLiteral("16 bit"), QStringLiteral(" -acodec pcm_s16le") },
        { QStringLiteral("24 bit"), QStringLiteral(" -acodec pcm_s24le") },
        { QStringLiteral("32 bit"), QStringLiteral(" -acodec pcm_s32le") },
    };
    static const QHash<QString, QString> bigEndian = {
        { QStringLiteral("8 bit"), QStringLiteral(" -acodec pcm_s8") },
        { QStringLiteral("16 bit"), QStringLiteral(" -acodec pcm_s16be") },
        { QStringLiteral("24 bit"), QStringLiteral(" -acodec pcm_s24be") },
        { QStringLiteral("32 bit"), QStringLiteral(" -acodec pcm_s32be") },
    };
    if (label == QLatin1String("PCM little-endian"))
        return littleEndian.value(sampleSize);
    if (label == QLatin1String("PCM big-endian"))
        return bigEndian.value(sampleSize);
    return options.value(label);
}

QStringList videoCodecWords(
    const QString &label, int width, int height, const QString &outputExtension)
{
    static const QHash<QString, QStringList> words = {
        { QStringLiteral("MPEG-1"), { QStringLiteral("-vcodec"), QStringLiteral("mpeg1video") } },
        { QStringLiteral("MPEG-2"), { QStringLiteral("-vcodec"), QStringLiteral("mpeg2video") } },
        { QStringLiteral("MPEG4 (DivX/Xvid compatible)"),
            { QStringLiteral("-vcodec"), QStringLiteral("mpeg4") } },
        { QStringLiteral("H.263 FLV Video"), { QStringLiteral("-vcodec"), QStringLiteral("flv") } },
        { QStringLiteral("H.264"), { QStringLiteral("-vcodec"), QStringLiteral("libx264") } },
        { QStringLiteral("IBM Motion JPEG"),
            { QStringLiteral("-vcodec"), QStringLiteral("mjpeg") } },
        { QStringLiteral("Sorenson Video 1"),
            { QStringLiteral("-vcodec"), QStringLiteral("svq1") } },
        { QStringLiteral("Intel ITU H.263"),
            { QStringLiteral("-vcodec"), QStringLiteral("h263p") } },
        { QStringLiteral("H.263"), { QStringLiteral("-vcodec"), QStringLiteral("h263") } },
        { QStringLiteral("VP8"), { QStringLiteral("-vcodec"), QStringLiteral("libvpx") } },
        { QStringLiteral("Huffman Lossless"),
            { QStringLiteral("-vcodec"), QStringLiteral("huffyuv") } },
        { QStringLiteral("Microsoft MPEG4 V2"),
            { QStringLiteral("-vcodec"), QStringLiteral("msmpeg4v2") } },
        { QStringLiteral("Microsoft MPEG4 V3"),
            { QStringLiteral("-vcodec"), QStringLiteral("msmpeg4v3") } },
        { QStringLiteral("Xvid MPEG4"),
            { QStringLiteral("-vcodec"), QStringLiteral("mpeg4"), QStringLiteral("-vtag"),
                QStringLiteral("xvid") } },
        { QStringLiteral("DivX MPEG4"),
            { QStringLiteral("-vcodec"), QStringLiteral("mpeg4"), QStringLiteral("-vtag"),
                QStringLiteral("DivX") } },
        { QStringLiteral("RealVideo"), { QStringLiteral("-vcodec"), QStringLiteral("rv20") } },
        { QStringLiteral("Windows Media Video V7"),
            { QStringLiteral("-vcodec"), QStringLiteral("wmv1") } },
        { QStringLiteral("Windows Media Video V8"),
            { QStringLiteral("-vcodec"), QStringLiteral("wmv2") } },
    };
    if (label == QLatin1String("DV - Digital Video Format")) {
        const QString size = QStringLiteral("%1 x %2").arg(width).arg(height);
        if (size == QLatin1String("720 x 480"))
            return { QStringLiteral("-target"), QStringLiteral("ntsc-dv"),
                QStringLiteral("-vcodec"), QStringLiteral("dvvideo") };
        if (size == QLatin1String("720 x 576"))
            return { QStringLiteral("-target"), QStringLiteral("pal-dv"), QStringLiteral("-vcodec"),
                QStringLiteral("dvvideo") };
        return {};
    }
    if (label == QLatin1String("Uncompressed")) {
        if (outputExtension == QLatin1String("GIF"))
            return { QStringLiteral("-pix_fmt"), QStringLiteral("rgb24") };
        if (outputExtension == QLatin1String("AVI"))
            return { QStringLiteral("-vcodec"), QStringLiteral("rawvideo") };
        return {};
    }
    return words.value(label);
}

QString channelsOption(int position)
{
    switch (position) {
    case 0:
        return QStringLiteral(" -ac 1");
    case 1:
        return QStringLiteral(" -ac 2");
    case 2:
        return QStringLiteral(" -ac 6");
    default:
        return QString();
    }
}

int frameRateOption(const QString &fpsText, int sourceRate)
{
    if (fpsText.trimmed() == QLatin1String("Original"))
        return sourceRate >= 100 ? 30 : sourceRate;
    QString number = fpsText;
    number.remove(QStringLiteral("fps"));
    const double value = number.trimmed().toDouble(); // C locale whatever the desktop's
    return int(std::nearbyint(value));
}

QString aspectOption(const EncoderOptionSettings &settings, const QString &sourceAspect)
{
    const QString choice = settings.aspectRatio.trimmed();
    if (choice == QLatin1String("Original"))
        return sourceAspect;
    if (choice == QLatin1String("Smart Fit")) {
        if (settings.width != 0 && settings.height != 0)
            return SmartFitAspect(settings.width, settings.height);
        return sourceAspect;
    }
    return settings.aspectRatio;
}

// -1 unless the value is "0" or the choice "Smart Fit".
int estimateVideoBitrate(const EncoderOptionSettings &settings, int sourceWidth, int sourceHeight)
{
    if (settings.videoBitrateValue != QLatin1String("0")
        && settings.videoBitrateChoice != QLatin1String("Smart Fit"))
        return -1;
    const int q = qualityFactor(settings.quality);
    const bool sized = settings.width != 0 && settings.height != 0;
    int estimate = EstimateVideoBitrate(sized ? settings.width : sourceWidth,
        sized ? settings.height : sourceHeight, settings.fps, q, BitrateUnit::Kbps);
    // The value lives in a number box, which keeps it within its limit.
    if (settings.videoBitrateMaximum >= 0)
        estimate = std::min(estimate, settings.videoBitrateMaximum);
    return estimate;
}

} // namespace

EncoderOptionSettings readEncoderOptionSettings(const OutputSettings &settings)
{
    EncoderOptionSettings s;
    s.videoCodec = settings.choiceText(ChoiceListId::VideoCodec);
    s.fps = settings.choiceText(ChoiceListId::FPS);
    s.fileExtension = settings.choiceText(ChoiceListId::FileExtention);
    s.audioCodec = settings.choiceText(ChoiceListId::AudioCodec);
    s.sampleRate = settings.choiceText(ChoiceListId::SampleRate);
    s.audioBitrate = settings.choiceText(ChoiceListId::AudioBitrate);
    s.channelsPosition = settings.choice(ChoiceListId::Channels).selected;
    s.audioSize = settings.choiceText(ChoiceListId::AudioSize);
    s.aspectRatio = settings.choiceText(ChoiceListId::AspectRatio);
    s.videoBitrateChoice = settings.choiceText(ChoiceListId::VideoBitrate);
    s.width = settings.number(NumberId::Width).value;
    s.height = settings.number(NumberId::Height).value;
    const NumberSetting &bitrate = settings.number(NumberId::VideoBitrate);
    s.videoBitrateValue = QString::number(bitrate.value);
    s.videoBitrateMaximum = bitrate.maximum;
    s.quality = settings.qualityLevel();
    return s;
}

EncodePlan planEncoding(const MediaItem &item, const EncoderOptionSettings &settings)
{
    EncodePlan plan;
    const int sourceWidth = item.integer(Field::VideoWidth);
    const int sourceHeight = item.integer(Field::VideoHeight);
    const int width = settings.width;
    const int height = settings.height;

    plan.audio = settings.audioCodec.trimmed() != QLatin1String("No Audio");
    plan.copyAudio = settings.audioCodec.trimmed() == CopyAudioCodecLabel;
    if (plan.copyAudio) {
        plan.sampleRate.clear();
        plan.audioBitrateKbps = 0;
    } else if (plan.audio) {
        const QString channels = channelsOption(settings.channelsPosition);
        plan.channels = channels.isEmpty() ? 0 : channels.mid(5).toInt();
        plan.sampleRate = QString(settings.sampleRate).remove(QStringLiteral("Hz")).trimmed();
        const QString kbps
            = QString(settings.audioBitrate).remove(QStringLiteral("kbps")).trimmed();
        plan.audioBitrateKbps = ToIntegerOr(kbps, 64);
        plan.audioEncoder = audioCodecOption(settings.audioCodec.trimmed(), settings.audioSize)
                                .remove(QStringLiteral(" -acodec "));
    }

    plan.video = settings.videoCodec.trimmed() != QLatin1String("No Video");
    if (plan.video) {
        plan.frameRate
            = frameRateOption(settings.fps, item.integer(Field::VideoFrameRateNumerator));
        plan.aspect = aspectOption(settings, item.text(Field::VideoSampleAspectRatio));
        plan.videoBitrateEstimate = estimateVideoBitrate(settings, sourceWidth, sourceHeight);
        plan.videoBitrateKbps = plan.videoBitrateEstimate >= 0
            ? ToIntegerOr(QString::number(plan.videoBitrateEstimate), 200)
            : ToIntegerOr(settings.videoBitrateValue, 200);
        plan.videoCodecWords = videoCodecWords(
            settings.videoCodec.trimmed(), width, height, currentOutputExtension(settings));

        QString size = QStringLiteral("%1:%2").arg(width).arg(height);
        if (size == QLatin1String("0:0"))
            size = QStringLiteral("%1:%2").arg(sourceWidth).arg(sourceHeight);
        AppendVideoFilter(plan.videoFilters, QStringLiteral("scale=") + size);
        if (item.text(Field::Deinterlacing).trimmed() == QLatin1String("1"))
            AppendVideoFilter(plan.videoFilters, QStringLiteral("yadif"));
        AppendVideoFilter(plan.videoFilters, item.text(Field::Filters));
    }

    plan.durationOption
        = BuildDurationOption(item.text(Field::TrimStartLow), item.text(Field::TrimStartHigh),
            item.text(Field::TrimEndLow), item.text(Field::TrimEndHigh));
    return plan;
}

QString optionString(const EncodePlan &plan)
{
    QString s = QStringLiteral("-VideoOutputHook ");
    if (plan.copyAudio) {
        s += QStringLiteral(" -acodec copy");
    } else if (plan.audio) {
        if (plan.channels > 0)
            s += QStringLiteral(" -ac ") + QString::number(plan.channels);
        s += QStringLiteral(" -ar ") + plan.sampleRate;
        s += QStringLiteral(" -ab ") + QString::number(plan.audioBitrateKbps) + QLatin1Char('k');
        if (!plan.audioEncoder.isEmpty())
            s += QStringLiteral(" -acodec ") + plan.audioEncoder;
    } else {
        s += QStringLiteral(" -an ");
    }
    if (plan.video) {
        s += QStringLiteral(" -r ") + QString::number(plan.frameRate);
        s += QStringLiteral(" -aspect ") + plan.aspect;
        s += QStringLiteral(" -vb ") + QString::number(plan.videoBitrateKbps) + QLatin1Char('k');
        for (const QString &word : plan.videoCodecWords)
            s += QLatin1Char(' ') + word;
    } else {
        s += QStringLiteral(" -vn");
        if (plan.copyAudio)
            s += QStringLiteral(" -sn -dn");
    }
    s += plan.durationOption;
    if (!plan.videoFilters.isEmpty())
        s += QStringLiteral(" -vf \"") + plan.videoFilters + QLatin1Char('"');
    return s;
}

QString ffmpegAudioEncoder(const EncodePlan &plan)
{
    // This ffmpeg has no libfaac; its own AAC encoder is the faithful stand-in.
    if (plan.audioEncoder == QLatin1String("libfaac"))
        return QStringLiteral("aac");
    return plan.audioEncoder;
}

QStringList ffmpegOutputWords(const EncodePlan &plan)
{
    QStringList words;
    // An empty value adds no word, as the option string's reader sees it.
    const auto add = [&words](const QString &option, const QString &value) {
        words << option;
        if (!value.isEmpty())
            words << value;
    };
    if (plan.copyAudio) {
        words << QStringLiteral("-acodec") << QStringLiteral("copy");
    } else if (plan.audio) {
        if (plan.channels > 0)
            add(QStringLiteral("-ac"), QString::number(plan.channels));
        add(QStringLiteral("-ar"), plan.sampleRate);
        add(QStringLiteral("-ab"), QString::number(plan.audioBitrateKbps) + QLatin1Char('k'));
        if (!plan.audioEncoder.isEmpty())
            add(QStringLiteral("-acodec"), ffmpegAudioEncoder(plan));
    } else {
        words << QStringLiteral("-an");
    }
    if (plan.video) {
        add(QStringLiteral("-r"), QString::number(plan.frameRate));
        add(QStringLiteral("-aspect"), plan.aspect);
        add(QStringLiteral("-vb"), QString::number(plan.videoBitrateKbps) + QLatin1Char('k'));
        words << plan.videoCodecWords;
    } else {
        words << QStringLiteral("-vn");
        if (plan.copyAudio)
            words << QStringLiteral("-sn") << QStringLiteral("-dn");
    }
    if (!plan.videoFilters.isEmpty())
        add(QStringLiteral("-vf"), plan.videoFilters);
    return words;
}

QString BuildEncoderOptions(const MediaItem &item, EncoderOptionSettings &settings)
{
    const EncodePlan plan = planEncoding(item, settings);
    if (plan.videoBitrateEstimate >= 0)
        settings.videoBitrateValue = QString::number(plan.videoBitrateEstimate);
    return optionString(plan);
}

QString BuildEncoderOptions(const MediaItem &item, OutputSettings &settings)
{
    EncoderOptionSettings read = readEncoderOptionSettings(settings);
    const QString before = read.videoBitrateValue;
    const QString options = BuildEncoderOptions(item, read);
    if (read.videoBitrateValue != before)
        settings.setVideoBitrateValue(read.videoBitrateValue.toInt());
    return options;
}

QString secondsText(int64_t microseconds)
{
    const bool negative = microseconds < 0;
    // Unsigned so that the most negative count has a magnitude too.
    const uint64_t magnitude
        = negative ? uint64_t(0) - uint64_t(microseconds) : uint64_t(microseconds);
    QString text = QString::number(magnitude / 1000000u);
    const uint64_t fraction = magnitude % 1000000u;
    if (fraction != 0) {
        QString digits = QStringLiteral("%1").arg(fraction, 6, 10, QLatin1Char('0'));
        while (digits.endsWith(QLatin1Char('0')))
            digits.chop(1);
        text += QLatin1Char('.') + digits;
    }
    return negative ? QLatin1Char('-') + text : text;
}

QString BuildSeekOption(const QString &startLow, const QString &startHigh)
{
    if (isNoValueText(startLow))
        return QString();
    const int64_t start = joinHalfTexts(startLow, startHigh);
    if (isUnknown(start))
        return QString();
    return QStringLiteral(" -ss ") + secondsText(start);
}

QString BuildDurationOption(const QString &startLow, const QString &startHigh,
    const QString &endLow, const QString &endHigh)
{
    if (isNoValueText(endLow))
        return QString();
    const int64_t end = joinHalfTexts(endLow, endHigh);
    if (isUnknown(end))
        return QString();
    int64_t start = 0;
    if (!isNoValueText(startLow)) {
        start = joinHalfTexts(startLow, startHigh);
        if (isUnknown(start))
            start = 0;
    }
    return QStringLiteral(" -t ") + secondsText(end - start);
}

void AppendVideoFilter(QString &chain, const QString &filter)
{
    if (filter.isEmpty())
        return;
    if (chain.isEmpty())
        chain = filter;
    else
        chain += QLatin1Char(',') + filter;
}

QString SmartFitAspect(int width, int height)
{
    if (height == 0)
        return QString();
    const double ratio = std::nearbyint(double(width) / double(height) * 100.0) / 100.0;
    QString text = QString::number(ratio, 'f', 2);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

int ToIntegerOr(const QString &text, int fallback)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok); // "." whatever the desktop's locale
    if (!ok || !std::isfinite(value))
        return fallback;
    const double whole = std::nearbyint(value);
    if (whole < -32768.0 || whole > 32767.0)
        return fallback;
    return int(whole);
}

QString currentOutputExtension(const EncoderOptionSettings &settings)
{
    return settings.fileExtension.trimmed().toUpper();
}

QString currentOutputExtension(const OutputSettings &settings)
{
    return settings.choiceText(ChoiceListId::FileExtention).trimmed().toUpper();
}

TaskCut taskCutOf(const MediaItem &item)
{
    TaskCut cut;
    if (!item.trimmed)
        return cut;
    const auto timeOf = [&item](int low, int high) -> int64_t {
        if (isNoValueText(item.text(low)))
            return -1;
        const int64_t time = joinHalfTexts(item.text(low), item.text(high));
        return isUnknown(time) ? -1 : time;
    };
    const int64_t start = std::max<int64_t>(0, timeOf(Field::TrimStartLow, Field::TrimStartHigh));
    const int64_t end = timeOf(Field::TrimEndLow, Field::TrimEndHigh);
    const int64_t fileEnd = timeOf(Field::FileDurationLow, Field::FileDurationHigh);
    cut.startUs = start;
    // An end at or past the file's stated end, or none at all, runs to the end of the sound.
    if (end > start && (fileEnd <= 0 || end < fileEnd))
        cut.lengthUs = end - start;
    return cut;
}

TaskPlan planTask(const MediaItem &item, OutputSettings &settings)
{
    TaskPlan plan;
    plan.inputOptions
        = BuildSeekOption(item.text(Field::TrimStartLow), item.text(Field::TrimStartHigh));
    plan.encoding = planEncoding(item, readEncoderOptionSettings(settings));
    // The estimate goes back into the settings, where the next file finds it.
    if (plan.encoding->videoBitrateEstimate >= 0)
        settings.setVideoBitrateValue(plan.encoding->videoBitrateEstimate);
    plan.outputOptions = optionString(*plan.encoding);
    plan.extension = currentOutputExtension(settings);
    plan.cut = taskCutOf(item);
    plan.source = item.source;
    if (plan.encoding->copyAudio)
        plan.extension = streamCopyExtension(chosenCodec(plan.source));
    return plan;
}

QList<TaskPlan> planRowTasks(const MediaItem &item, OutputSettings &settings)
{
    const TaskPlan plan = planTask(item, settings);
    if (!item.allAudioTracks || item.source.audioTracks.size() < 2)
        return { plan };
    QList<TaskPlan> plans;
    for (qsizetype i = 0; i < item.source.audioTracks.size(); ++i) {
        TaskPlan one = plan;
        chooseAudioTrack(one.source, int(i));
        one.nameSuffix = audioTrackNameSuffix(item.source.audioTracks.at(i));
        if (one.encoding->copyAudio)
            one.extension = streamCopyExtension(chosenCodec(one.source));
        plans.append(one);
    }
    return plans;
}

} // namespace sonivert
