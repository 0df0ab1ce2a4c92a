#include "core/convert/stream_copy.h"

#include <QHash>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace sonivert {

namespace {

const QString Matroska = QStringLiteral("MKA");

QString preferredExtension(const QString &codec)
{
    static const QHash<QString, QString> extensions = {
        { QStringLiteral("aac"), QStringLiteral("M4A") },
        { QStringLiteral("alac"), QStringLiteral("M4A") },
        { QStringLiteral("mp3"), QStringLiteral("MP3") },
        { QStringLiteral("vorbis"), QStringLiteral("OGG") },
        { QStringLiteral("opus"), QStringLiteral("OPUS") },
        { QStringLiteral("flac"), QStringLiteral("FLAC") },
        { QStringLiteral("ac3"), QStringLiteral("AC3") },
        { QStringLiteral("eac3"), QStringLiteral("EAC3") },
        { QStringLiteral("dts"), QStringLiteral("DTS") },
        { QStringLiteral("mp2"), QStringLiteral("MP2") },
        { QStringLiteral("wmav1"), QStringLiteral("WMA") },
        { QStringLiteral("wmav2"), QStringLiteral("WMA") },
        { QStringLiteral("wmapro"), QStringLiteral("WMA") },
        { QStringLiteral("wmalossless"), QStringLiteral("WMA") },
        { QStringLiteral("wmavoice"), QStringLiteral("WMA") },
    };
    if (codec.startsWith(QLatin1String("pcm_")))
        return QStringLiteral("WAV");
    return extensions.value(codec, Matroska);
}

// Whether the muxer of the extension takes the codec; WAV, for one, has no tag for every PCM.
// A muxer that cannot tell (the MP3 muxer knows only its pictures) is taken at its word: it was
// chosen for the codec.
bool muxerTakes(const QString &extension, const QString &codec)
{
    const QByteArray name = QStringLiteral("x.%1").arg(extension.toLower()).toUtf8();
    const AVOutputFormat *format = av_guess_format(nullptr, name.constData(), nullptr);
    const AVCodecDescriptor *descriptor
        = avcodec_descriptor_get_by_name(codec.toUtf8().constData());
    return format && descriptor
        && avformat_query_codec(format, descriptor->id, FF_COMPLIANCE_NORMAL) != 0;
}

} // namespace

QString streamCopyExtension(const QString &codec)
{
    const QString extension = preferredExtension(codec);
    if (extension != Matroska && !muxerTakes(extension, codec))
        return Matroska;
    return extension;
}

} // namespace sonivert
