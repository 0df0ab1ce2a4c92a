#include "core/media/decoder.h"

#include "core/media/time_text.h"

#include <QFileInfo>
#include <algorithm>
#include <limits>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
#include <libavutil/time.h>
}

namespace sonivert {

namespace {

int clampToInt(int64_t value)
{
    return int(std::clamp<int64_t>(
        value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

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

QString codecName(const AVStream *s)
{
    if (!s)
        return QString();
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(s->codecpar->codec_id);
    if (!descriptor)
        return QString();
    if (descriptor->long_name)
        return QString::fromUtf8(descriptor->long_name);
    return QString::fromUtf8(descriptor->name);
}

QString dictionaryText(const AVDictionary *dictionary, const char *key)
{
    const AVDictionaryEntry *entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry && entry->value ? QString::fromUtf8(entry->value) : QString();
}

// "2019-05-01" gives 2019, "3/12" gives 3; text without leading digits gives 0.
int leadingNumber(const QString &text)
{
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    while (end < trimmed.size() && end < 9 && trimmed.at(end).isDigit())
        ++end;
    return end == 0 ? 0 : trimmed.left(end).toInt();
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

int32_t Decoder::streamDurationLow(const AVStream *s) const
{
    if (!s)
        return -1;
    int64_t microseconds = UnknownTime;
    if (s->duration != AV_NOPTS_VALUE)
        microseconds = av_rescale_q(s->duration, s->time_base, AVRational { 1, AV_TIME_BASE });
    int32_t low = 0;
    int32_t high = 0;
    splitTime(microseconds, low, high);
    return low;
}

QString Decoder::GetVideoInfosCodecName(int index) const
{
    return codecName(stream(index, AVMEDIA_TYPE_VIDEO));
}

int Decoder::GetVideoInfosWidth(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    return s ? s->codecpar->width : -1;
}

int Decoder::GetVideoInfosHeight(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    return s ? s->codecpar->height : -1;
}

int Decoder::GetVideoInfosBitRate(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    return s ? clampToInt(s->codecpar->bit_rate) : -1;
}

int Decoder::GetVideoInfosFrameRateNumerator(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    if (!s)
        return -1;
    return s->avg_frame_rate.num != 0 ? s->avg_frame_rate.num : s->r_frame_rate.num;
}

int Decoder::GetVideoInfosFrameRateDenominator(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    if (!s)
        return -1;
    return s->avg_frame_rate.num != 0 ? s->avg_frame_rate.den : s->r_frame_rate.den;
}

Decoder::DisplayAspect Decoder::displayAspect(int index) const
{
    DisplayAspect result;
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    if (!s)
        return result;
    AVRational sar
        = av_guess_sample_aspect_ratio(m_context.get(), const_cast<AVStream *>(s), nullptr);
    if (sar.num <= 0 || sar.den <= 0)
        sar = AVRational { 1, 1 };
    const int64_t w = s->codecpar->width;
    const int64_t h = s->codecpar->height;
    if (w <= 0 || h <= 0) {
        result.numerator = result.denominator = 0;
        return result;
    }
    av_reduce(&result.numerator, &result.denominator, w * sar.num, h * sar.den, 1024 * 1024);
    return result;
}

float Decoder::GetVideoInfosDisplayAspectRatio(int index) const
{
    const DisplayAspect aspect = displayAspect(index);
    if (aspect.denominator == -1)
        return -1.0f;
    if (aspect.denominator == 0)
        return 0.0f;
    return float(double(aspect.numerator) / double(aspect.denominator));
}

int Decoder::GetVideoInfosDARNumerator(int index) const
{
    return displayAspect(index).numerator;
}

int Decoder::GetVideoInfosDARDenominator(int index) const
{
    return displayAspect(index).denominator;
}

int32_t Decoder::GetVideoInfosDurationLow(int index) const
{
    return streamDurationLow(stream(index, AVMEDIA_TYPE_VIDEO));
}

QString Decoder::GetVideoInfosLanguage(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_VIDEO);
    return s ? dictionaryText(s->metadata, "language") : QString();
}

QString Decoder::GetAudioInfosCodecName(int index) const
{
    return codecName(stream(index, AVMEDIA_TYPE_AUDIO));
}

int Decoder::GetAudioInfosBitRate(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_AUDIO);
    return s ? clampToInt(s->codecpar->bit_rate) : -1;
}

int Decoder::GetAudioInfosSampleRate(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_AUDIO);
    return s ? s->codecpar->sample_rate : -1;
}

int Decoder::GetAudioInfosChannels(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_AUDIO);
    return s ? s->codecpar->ch_layout.nb_channels : -1;
}

int32_t Decoder::GetAudioInfosDurationLow(int index) const
{
    return streamDurationLow(stream(index, AVMEDIA_TYPE_AUDIO));
}

QString Decoder::GetAudioInfosLanguage(int index) const
{
    const AVStream *s = stream(index, AVMEDIA_TYPE_AUDIO);
    return s ? dictionaryText(s->metadata, "language") : QString();
}

SourceFacts Decoder::converterFacts() const
{
    return m_context ? sourceFactsOf(m_context.get()) : SourceFacts {};
}

QString Decoder::tag(const char *key) const
{
    if (!m_context)
        return QString();
    const QString onContainer = dictionaryText(m_context->metadata, key);
    if (!onContainer.isEmpty())
        return onContainer;
    const AVStream *audio = stream(m_firstAudio, AVMEDIA_TYPE_AUDIO);
    return audio ? dictionaryText(audio->metadata, key) : QString();
}

QString Decoder::GetFileInfoTitle() const
{
    return tag("title");
}

QString Decoder::GetFileInfoComment() const
{
    return tag("comment");
}

QString Decoder::GetFileInfoAuthor() const
{
    const QString artist = tag("artist");
    return artist.isEmpty() ? tag("author") : artist;
}

QString Decoder::GetFileInfoAlbum() const
{
    return tag("album");
}

QString Decoder::GetFileInfoGenre() const
{
    return tag("genre");
}

QString Decoder::GetFileInfoCopyright() const
{
    return tag("copyright");
}

int Decoder::GetFileInfoYear() const
{
    const QString date = tag("date");
    return leadingNumber(date.isEmpty() ? tag("year") : date);
}

int Decoder::GetFileInfoTrack() const
{
    return leadingNumber(tag("track"));
}

} // namespace sonivert
