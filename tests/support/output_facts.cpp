#include "support/output_facts.h"

#include "core/media/chapter_marks.h"
#include "core/media/cover_art.h"
#include "support/media_maker.h"

#include <QFile>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace Qt::StringLiterals;

namespace sonivert::test {

void MediaReaderClose::operator()(AVFormatContext *context) const
{
    avformat_close_input(&context);
}

MediaReader openMedia(const QString &path)
{
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return {};
    MediaReader context(raw);
    if (avformat_find_stream_info(context.get(), nullptr) < 0)
        return {};
    return context;
}

OutputFacts readOutputFacts(const QString &path)
{
    OutputFacts facts;
    const MediaReader context = openMedia(path);
    if (!context)
        return facts;
    const int audio = av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (audio < 0)
        return facts;
    const AVCodecParameters *parameters = context->streams[audio]->codecpar;
    facts.ok = true;
    facts.durationUs = context->duration;
    facts.sampleRate = parameters->sample_rate;
    facts.codec = QString::fromUtf8(avcodec_get_name(parameters->codec_id));
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(context->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
        facts.tags.insert(QString::fromUtf8(entry->key), QString::fromUtf8(entry->value));
    if (const AVDictionaryEntry *language
        = av_dict_get(context->streams[audio]->metadata, "language", nullptr, 0))
        facts.language = QString::fromUtf8(language->value);
    facts.chapters = chapterMarksOf(context.get()).size();
    facts.picture = !attachedPicture(context.get()).empty();
    return facts;
}

bool makeFileWithExtras(const QString &path, const QStringList &audioSources,
    const QByteArray &ffmetadata, const QStringList &extraArgs)
{
    const QString meta = path + u".chapters.txt"_s;
    QFile file(meta);
    if (!file.open(QIODevice::WriteOnly) || file.write(ffmetadata) != ffmetadata.size())
        return false;
    file.close();
    const QString cover = path + u".cover.png"_s;
    if (!runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=s=64x64:d=1"_s, u"-frames:v"_s, u"1"_s,
            cover }))
        return false;

    QStringList args;
    for (const QString &source : audioSources)
        args << u"-f"_s << u"lavfi"_s << u"-i"_s << source;
    const auto sources = audioSources.size();
    args << u"-i"_s << cover << u"-i"_s << meta;
    for (qsizetype i = 0; i < sources; ++i)
        args << u"-map"_s << QString::number(i) + u":a"_s;
    args << u"-map"_s << QString::number(sources) + u":v"_s << u"-map_metadata"_s
         << QString::number(sources + 1) << u"-map_chapters"_s << QString::number(sources + 1)
         << u"-c:a"_s << u"aac"_s << u"-c:v"_s << u"copy"_s << u"-disposition:v"_s
         << u"attached_pic"_s << extraArgs << path;
    return runFfmpeg(args);
}

} // namespace sonivert::test
