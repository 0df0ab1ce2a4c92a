#include "core/convert/input_facts.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
}

namespace sonivert {

namespace {

struct InputCloser
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

bool hasSongTags(const AVDictionary *metadata)
{
    static const char *const keys[]
        = { "title", "artist", "album", "date", "track", "genre", "comment", "author", "year" };
    for (const char *key : keys) {
        if (av_dict_get(metadata, key, nullptr, 0))
            return true;
    }
    return false;
}

QString errorText(const QString &path, int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return path + QLatin1String(": ") + QString::fromUtf8(text);
}

// 0 when the path is a file this process can read, else the errno that says why not.
int readableFileError(const QByteArray &name)
{
    struct stat st;
    if (::stat(name.constData(), &st) != 0)
        return errno;
    if (S_ISDIR(st.st_mode))
        return EISDIR;
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    ::close(fd);
    return 0;
}

} // namespace

InputFacts ReadInputFacts(const QString &path)
{
    InputFacts facts;
    const QByteArray name = QFile::encodeName(path);
    if (const int error = readableFileError(name)) {
        facts.errorText = errorText(path, AVERROR(error));
        return facts;
    }
    facts.ok = true;

    // A file libavformat does not understand is still queued: its task then fails with ffmpeg's
    // own words ("PATH: Invalid data found when processing input"), which the report needs.
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, name.constData(), nullptr, nullptr) < 0) {
        facts.understood = false;
        facts.hasAudio = true;
        return facts;
    }
    std::unique_ptr<AVFormatContext, InputCloser> context(raw);
    // Without stream parameters the duration may be a guess, but ffmpeg goes on just the same.
    avformat_find_stream_info(context.get(), nullptr);
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        facts.durationUs = context->duration;

    const int audio = av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    facts.hasAudio = audio >= 0;
    if (facts.hasAudio) {
        // The first audio stream, as ffmpeg's "0:s:a:0" specifier counts.
        for (unsigned i = 0; i < context->nb_streams; ++i) {
            const AVStream *stream = context->streams[i];
            if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
                continue;
            facts.tagsOnAudioStreamOnly
                = !hasSongTags(context->metadata) && hasSongTags(stream->metadata);
            break;
        }
    }
    return facts;
}

} // namespace sonivert
