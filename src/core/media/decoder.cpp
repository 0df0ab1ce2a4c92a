#include "core/media/decoder.h"

#include "core/media/time_text.h"

#include <QFileInfo>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/time.h>
}

namespace sonivert {

namespace {

QString errorText(int code)
{
    char buffer[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, buffer, sizeof buffer);
    return QString::fromUtf8(buffer);
}

bool isCoverPicture(const AVStream *s)
{
    return (s->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

bool isVideo(const AVStream *s)
{
    return s->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !isCoverPicture(s);
}

int64_t monotonicMicroseconds()
{
    return av_gettime_relative();
}

struct DictionaryDeleter
{
    void operator()(AVDictionary *dictionary) const { av_dict_free(&dictionary); }
};
using DictionaryPtr = std::unique_ptr<AVDictionary, DictionaryDeleter>;

} // namespace

void Decoder::ContextDeleter::operator()(AVFormatContext *context) const
{
    avformat_close_input(&context);
}

Decoder::Decoder(int readTimeoutMs)
    : m_readTimeoutMs(readTimeoutMs)
{
}

Decoder::~Decoder() = default;

int Decoder::interruptCallback(void *opaque)
{
    return static_cast<const Decoder *>(opaque)->shouldInterrupt() ? 1 : 0;
}

bool Decoder::shouldInterrupt() const
{
    if (m_abort && m_abort->load())
        return true;
    const int64_t deadline = m_deadline.load();
    return deadline > 0 && monotonicMicroseconds() > deadline;
}

bool Decoder::OpenFile(const QString &path, const QString &inputOptions)
{
    CloseFile();
    m_lastError.clear();
    m_path = path;

    AVDictionary *parsed = nullptr;
    const QByteArray optionText = inputOptions.trimmed().toUtf8();
    if (!optionText.isEmpty())
        av_dict_parse_string(&parsed, optionText.constData(), "=", " ", 0);
    DictionaryPtr options(parsed);

    AVFormatContext *raw = avformat_alloc_context();
    if (!raw) {
        m_lastError = path + QStringLiteral(": ") + errorText(AVERROR(ENOMEM));
        return false;
    }
    raw->interrupt_callback.callback = &Decoder::interruptCallback;
    raw->interrupt_callback.opaque = this;

    m_deadline = monotonicMicroseconds() + int64_t(m_readTimeoutMs) * 1000;
    // On failure avformat_open_input frees the context itself.
    // The call takes the options it used out of the dictionary and leaves the rest in it.
    parsed = options.release();
    const int opened
        = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, &parsed);
    options.reset(parsed);
    if (opened < 0) {
        m_deadline = 0;
        m_lastError = path + QStringLiteral(": ") + errorText(opened);
        return false;
    }
    std::unique_ptr<AVFormatContext, ContextDeleter> context(raw);

    m_deadline = monotonicMicroseconds() + int64_t(m_readTimeoutMs) * 1000;
    const int found = avformat_find_stream_info(context.get(), nullptr);
    m_deadline = 0;
    // A container whose streams could not all be analysed is still worth a row, unless the
    // read was cut off or nothing at all was found.
    if (found < 0 && (found == AVERROR_EXIT || context->nb_streams == 0)) {
        m_lastError = path + QStringLiteral(": ") + errorText(found);
        return false;
    }

    m_fileSize = context->pb ? avio_size(context->pb) : -1;
    if (m_fileSize < 0)
        m_fileSize = QFileInfo(path).size();

    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *s = context->streams[i];
        const int index = int(i);
        switch (s->codecpar->codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            if (isCoverPicture(s))
                break;
            ++m_videoCount;
            if (m_firstVideo < 0)
                m_firstVideo = index;
            break;
        case AVMEDIA_TYPE_AUDIO:
            ++m_audioCount;
            if (m_firstAudio < 0)
                m_firstAudio = index;
            break;
        case AVMEDIA_TYPE_SUBTITLE:
            if (m_firstSubtitle < 0)
                m_firstSubtitle = index;
            break;
        default:
            break;
        }
    }
    m_context = std::move(context);
    return true;
}

void Decoder::CloseFile()
{
    m_context.reset();
    m_fileSize = -1;
    m_firstVideo = m_firstAudio = m_firstSubtitle = -1;
    m_videoCount = m_audioCount = 0;
}

int64_t Decoder::fileDuration() const
{
    if (!m_context || m_context->duration == AV_NOPTS_VALUE)
        return UnknownTime;
    // AV_TIME_BASE is one microsecond.
    return m_context->duration;
}

int32_t Decoder::GetFileInfoDurationLow() const
{
    int32_t low = 0;
    int32_t high = 0;
    splitTime(fileDuration(), low, high);
    return low;
}

int32_t Decoder::GetFileInfoDurationHigh() const
{
    int32_t low = 0;
    int32_t high = 0;
    splitTime(fileDuration(), low, high);
    return high;
}

int32_t Decoder::FileSizeLow() const
{
    if (m_fileSize < 0)
        return -1;
    return int32_t(uint32_t(uint64_t(m_fileSize) & 0xffffffffu));
}

const AVStream *Decoder::stream(int index, int mediaType) const
{
    if (!m_context || index < 0 || unsigned(index) >= m_context->nb_streams)
        return nullptr;
    const AVStream *s = m_context->streams[index];
    if (s->codecpar->codec_type != mediaType)
        return nullptr;
    if (mediaType == AVMEDIA_TYPE_VIDEO && !isVideo(s))
        return nullptr;
    return s;
}

bool Decoder::IsVideoStream(int index) const
{
    return stream(index, AVMEDIA_TYPE_VIDEO) != nullptr;
}

bool Decoder::IsAudioStream(int index) const
{
    return stream(index, AVMEDIA_TYPE_AUDIO) != nullptr;
}

bool Decoder::IsSubtitleStream(int index) const
{
    return stream(index, AVMEDIA_TYPE_SUBTITLE) != nullptr;
}

VideoStreamInfo Decoder::videoInfo(int index) const
{
    return readVideoStreamInfo(m_context.get(), stream(index, AVMEDIA_TYPE_VIDEO));
}

AudioStreamInfo Decoder::audioInfo(int index) const
{
    return readAudioStreamInfo(stream(index, AVMEDIA_TYPE_AUDIO));
}

FileTags Decoder::tags() const
{
    return readFileTags(m_context.get(), stream(m_firstAudio, AVMEDIA_TYPE_AUDIO));
}

SourceFacts Decoder::converterFacts() const
{
    return m_context ? sourceFactsOf(m_context.get()) : SourceFacts {};
}

} // namespace sonivert
