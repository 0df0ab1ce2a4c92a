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
    : readTimeoutMs_(readTimeoutMs)
{
}

Decoder::~Decoder() = default;

int Decoder::interruptCallback(void *opaque)
{
    return static_cast<const Decoder *>(opaque)->shouldInterrupt() ? 1 : 0;
}

bool Decoder::shouldInterrupt() const
{
    if (abort_ && abort_->load())
        return true;
    const int64_t deadline = deadline_.load();
    return deadline > 0 && monotonicMicroseconds() > deadline;
}

bool Decoder::OpenFile(const QString &path, const QString &inputOptions)
{
    CloseFile();
    lastError_.clear();
    path_ = path;

    AVDictionary *parsed = nullptr;
    const QByteArray optionText = inputOptions.trimmed().toUtf8();
    if (!optionText.isEmpty())
        av_dict_parse_string(&parsed, optionText.constData(), "=", " ", 0);
    DictionaryPtr options(parsed);

    AVFormatContext *raw = avformat_alloc_context();
    if (!raw) {
        lastError_ = path + QStringLiteral(": ") + errorText(AVERROR(ENOMEM));
        return false;
    }
    raw->interrupt_callback.callback = &Decoder::interruptCallback;
    raw->interrupt_callback.opaque = this;

    deadline_ = monotonicMicroseconds() + int64_t(readTimeoutMs_) * 1000;
    // On failure avformat_open_input frees the context itself.
    // The call takes the options it used out of the dictionary and leaves the rest in it.
    parsed = options.release();
    const int opened
        = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, &parsed);
    options.reset(parsed);
    if (opened < 0) {
        deadline_ = 0;
        lastError_ = path + QStringLiteral(": ") + errorText(opened);
        return false;
    }
    std::unique_ptr<AVFormatContext, ContextDeleter> context(raw);

    deadline_ = monotonicMicroseconds() + int64_t(readTimeoutMs_) * 1000;
    const int found = avformat_find_stream_info(context.get(), nullptr);
    deadline_ = 0;
    // A container whose streams could not all be analysed is still worth a row, unless the
    // read was cut off or nothing at all was found.
    if (found < 0 && (found == AVERROR_EXIT || context->nb_streams == 0)) {
        lastError_ = path + QStringLiteral(": ") + errorText(found);
        return false;
    }

    fileSize_ = context->pb ? avio_size(context->pb) : -1;
    if (fileSize_ < 0)
        fileSize_ = QFileInfo(path).size();

    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *s = context->streams[i];
        const int index = int(i);
        switch (s->codecpar->codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            if (isCoverPicture(s))
                break;
            ++videoCount_;
            if (firstVideo_ < 0)
                firstVideo_ = index;
            break;
        case AVMEDIA_TYPE_AUDIO:
            ++audioCount_;
            if (firstAudio_ < 0)
                firstAudio_ = index;
            break;
        case AVMEDIA_TYPE_SUBTITLE:
            if (firstSubtitle_ < 0)
                firstSubtitle_ = index;
            break;
        default:
            break;
        }
    }
    context_ = std::move(context);
    return true;
}

void Decoder::CloseFile()
{
    context_.reset();
    fileSize_ = -1;
    firstVideo_ = firstAudio_ = firstSubtitle_ = -1;
    videoCount_ = audioCount_ = 0;
}

int64_t Decoder::FileDuration() const
{
    if (!context_ || context_->duration == AV_NOPTS_VALUE)
        return UnknownTime;
    // AV_TIME_BASE is one microsecond.
    return context_->duration;
}

int32_t Decoder::GetFileInfoDurationLow() const
{
    int32_t low = 0;
    int32_t high = 0;
    SplitTime(FileDuration(), low, high);
    return low;
}

int32_t Decoder::GetFileInfoDurationHigh() const
{
    int32_t low = 0;
    int32_t high = 0;
    SplitTime(FileDuration(), low, high);
    return high;
}

int32_t Decoder::FileSizeLow() const
{
    if (fileSize_ < 0)
        return -1;
    return int32_t(uint32_t(uint64_t(fileSize_) & 0xffffffffu));
}

const AVStream *Decoder::stream(int index, int mediaType) const
{
    if (!context_ || index < 0 || unsigned(index) >= context_->nb_streams)
        return nullptr;
    const AVStream *s = context_->streams[index];
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
    return ReadVideoStreamInfo(context_.get(), stream(index, AVMEDIA_TYPE_VIDEO));
}

AudioStreamInfo Decoder::audioInfo(int index) const
{
    return ReadAudioStreamInfo(stream(index, AVMEDIA_TYPE_AUDIO));
}

FileTags Decoder::tags() const
{
    return ReadFileTags(context_.get(), stream(firstAudio_, AVMEDIA_TYPE_AUDIO));
}

SourceFacts Decoder::ConverterFacts() const
{
    return context_ ? SourceFactsOf(context_.get()) : SourceFacts {};
}

} // namespace sonivert
