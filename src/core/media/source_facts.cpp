#include "core/media/source_facts.h"

#include "core/media/cover_art.h"
#include "core/media/probe.h"

#include <QFile>
#include <algorithm>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace sonivert {

namespace {

struct InputCloser
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

// Tags that describe the recording for its listener, in the order they are written.
constexpr const char *songTagKeys[] = { "title", "artist", "album_artist", "album", "date", "genre",
    "track", "disc", "composer", "performer", "conductor", "lyricist", "publisher", "copyright",
    "comment", "description", "grouping", "lyrics", "compilation" };

QList<QPair<QString, QString>> tagsOf(const AVDictionary *metadata)
{
    QList<QPair<QString, QString>> tags;
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
        tags.append({ QString::fromUtf8(entry->key), QString::fromUtf8(entry->value) });
    return tags;
}

int64_t streamDurationUs(const AVStream *stream)
{
    if (stream->duration == AV_NOPTS_VALUE || stream->duration <= 0)
        return -1;
    return av_rescale_q(stream->duration, stream->time_base, AVRational { 1, AV_TIME_BASE });
}

// As the file list shows it: "Advanced Audio Coding" for "AAC (Advanced Audio Coding)".
QString codecLongName(AVCodecID id)
{
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(id);
    if (!descriptor)
        return QString();
    const char *name = descriptor->long_name ? descriptor->long_name : descriptor->name;
    return NormaliseCodecName(QString::fromUtf8(name).trimmed());
}

QString tagOf(const AVDictionary *metadata, const char *key)
{
    const AVDictionaryEntry *entry = av_dict_get(metadata, key, nullptr, 0);
    return entry && entry->value ? QString::fromUtf8(entry->value).trimmed() : QString();
}

AudioTrack audioTrackOf(const AVStream *stream, int number)
{
    AudioTrack track;
    track.number = number;
    track.streamIndex = stream->index;
    track.codec = QString::fromUtf8(avcodec_get_name(stream->codecpar->codec_id));
    track.codecName = codecLongName(stream->codecpar->codec_id);
    track.channels = stream->codecpar->ch_layout.nb_channels;
    track.sampleRate = stream->codecpar->sample_rate;
    track.bitRate = std::max<int64_t>(stream->codecpar->bit_rate, 0);
    track.language = tagOf(stream->metadata, "language");
    if (track.language == QLatin1String("und"))
        track.language.clear();
    track.title = tagOf(stream->metadata, "title");
    track.isDefault = stream->disposition & AV_DISPOSITION_DEFAULT;
    track.durationUs = streamDurationUs(stream);
    return track;
}

} // namespace

bool chooseAudioTrack(SourceFacts &facts, int index)
{
    if (index < 0 || index >= facts.audioTracks.size())
        return false;
    facts.audioTrack = index;
    facts.audioStream = facts.audioTracks.at(index).streamIndex;
    facts.audioDurationUs = facts.audioTracks.at(index).durationUs;
    facts.tags = facts.audioTracks.at(index).songTags;
    return true;
}

SongTags readableTags(const QList<QPair<QString, QString>> &containerTags,
    const QList<QPair<QString, QString>> &streamTags)
{
    const auto find = [](const QList<QPair<QString, QString>> &tags, const QString &key) {
        for (const auto &[name, value] : tags) {
            if (name.compare(key, Qt::CaseInsensitive) == 0 && !value.trimmed().isEmpty())
                return value;
        }
        return QString();
    };
    const auto lookUp = [&](const QString &key) {
        const QString value = find(containerTags, key);
        return value.isEmpty() ? find(streamTags, key) : value;
    };

    SongTags tags;
    for (const char *key : songTagKeys) {
        const QString name = QLatin1String(key);
        QString value = lookUp(name);
        // Older files name the artist "author" and the date "year".
        if (value.isEmpty() && name == QLatin1String("artist"))
            value = lookUp(QStringLiteral("author"));
        if (value.isEmpty() && name == QLatin1String("date"))
            value = lookUp(QStringLiteral("year"));
        if (!value.isEmpty())
            tags.append({ name, value });
    }
    return tags;
}

SourceFacts sourceFactsOf(const AVFormatContext *context)
{
    SourceFacts facts;
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        facts.durationUs = context->duration;
    const QList<QPair<QString, QString>> containerTags = tagsOf(context->metadata);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        AudioTrack track = audioTrackOf(stream, int(facts.audioTracks.size()) + 1);
        track.songTags = readableTags(containerTags, tagsOf(stream->metadata));
        facts.audioTracks.append(track);
    }
    const int audio = defaultAudioStreamIndex(context);
    facts.hasAudio = audio >= 0;
    facts.coverStream = attachedPictureIndex(context);
    if (facts.coverStream >= 0)
        facts.coverCodec = context->streams[facts.coverStream]->codecpar->codec_id;
    facts.videoStream = motionVideoIndex(context);
    facts.chapters = chapterMarksOf(context);
    if (facts.hasAudio)
        chooseAudioTrack(facts, audioTrackOfStream(context, audio));
    else
        facts.tags = readableTags(containerTags, {});
    return facts;
}

SourceFacts readSourceFacts(const QString &path)
{
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return {};
    std::unique_ptr<AVFormatContext, InputCloser> context(raw);
    avformat_find_stream_info(context.get(), nullptr);
    return sourceFactsOf(context.get());
}

} // namespace sonivert
