#include "core/media/source_facts.h"

#include "core/media/cover_art.h"

#include <QFile>
#include <memory>

extern "C" {
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

} // namespace

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
    const int audio = defaultAudioStreamIndex(context);
    facts.hasAudio = audio >= 0;
    facts.audioStream = audio;
    facts.coverStream = attachedPictureIndex(context);
    if (facts.coverStream >= 0)
        facts.coverCodec = context->streams[facts.coverStream]->codecpar->codec_id;
    facts.hasVideo = motionVideoIndex(context) >= 0;
    facts.chapters = chapterMarksOf(context);
    QList<QPair<QString, QString>> streamTags;
    if (facts.hasAudio) {
        const AVStream *stream = context->streams[audio];
        facts.audioDurationUs = streamDurationUs(stream);
        streamTags = tagsOf(stream->metadata);
    }
    facts.tags = readableTags(tagsOf(context->metadata), streamTags);
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
