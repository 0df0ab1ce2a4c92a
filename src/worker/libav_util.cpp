#include "worker/libav_util.h"

#include "core/media/audio_stream_choice.h"
#include "core/media/source_extras.h"

extern "C" {
#include <libavutil/error.h>
}

#include <sys/stat.h>

namespace sonivert::worker {

namespace {

bool fail(ConversionReporter &reporter, const std::string &line)
{
    reporter.log(AV_LOG_ERROR, line);
    return false;
}

} // namespace

std::string errorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

int openSourceAudio(const ConversionSpec &spec, ConversionReporter &reporter, InputContext &input)
{
    const auto failed = [&reporter](const std::string &line) {
        reporter.log(AV_LOG_ERROR, line);
        return -1;
    };
    AVFormatContext *raw = nullptr;
    int ret = avformat_open_input(&raw, spec.input.c_str(), nullptr, nullptr);
    if (ret < 0)
        return failed(spec.input + ": " + errorText(ret));
    input.reset(raw);
    ret = avformat_find_stream_info(input.get(), nullptr);
    if (ret < 0)
        return failed(spec.input + ": could not find codec parameters");
    const int index = spec.track >= 0 ? audioStreamOfTrack(input.get(), spec.track)
                                      : defaultAudioStreamIndex(input.get());
    if (index < 0 && spec.track >= 0)
        return failed("Stream map '0:a:" + std::to_string(spec.track) + "' matches no streams.");
    if (index < 0)
        return failed("Output file #0 does not contain any stream");
    for (unsigned i = 0; i < input->nb_streams; ++i)
        input->streams[i]->discard
            = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return index;
}

bool createOutput(const ConversionSpec &spec, ConversionReporter &reporter, OutputContext &output)
{
    // ffmpeg -n: an existing file is never written over.
    struct stat st;
    if (spec.packetFile.empty() && ::stat(spec.output.c_str(), &st) == 0)
        return fail(reporter, "File '" + spec.output + "' already exists. Exiting.");

    AVFormatContext *raw = nullptr;
    const int ret = avformat_alloc_output_context2(&raw, nullptr, nullptr, spec.output.c_str());
    if (!raw)
        return fail(reporter, spec.output + ": " + errorText(ret < 0 ? ret : AVERROR(EINVAL)));
    output.reset(raw);
    output->flags |= AVFMT_FLAG_BITEXACT;
    for (const auto &[key, value] : spec.tags)
        av_dict_set(&output->metadata, key.c_str(), value.c_str(), 0);
    return true;
}

void keepTrackLanguage(const AVStream *source, AVStream *output)
{
    const AVDictionaryEntry *language = av_dict_get(source->metadata, "language", nullptr, 0);
    if (language && language->value[0] && std::string(language->value) != "und")
        av_dict_set(&output->metadata, "language", language->value, 0);
}

bool writeOutputHeader(const ConversionSpec &spec, ConversionReporter &reporter,
    AVFormatContext *input, AVFormatContext *output, SourceExtras &extras)
{
    int ret = extras.addBeforeHeader(input, spec.input, output, spec.output, spec.cover,
        spec.chapters, spec.startUs, spec.lengthUs);
    if (ret < 0)
        return fail(reporter, "Could not add the cover picture: " + errorText(ret));
    if (const AVDictionaryEntry *comment
        = av_dict_get(output->metadata, "METADATA_BLOCK_PICTURE", nullptr, 0))
        reporter.pictureComment(comment->value);
    if (!(output->oformat->flags & AVFMT_NOFILE)) {
        ret = avio_open(&output->pb, spec.output.c_str(), AVIO_FLAG_WRITE);
        if (ret < 0)
            return fail(reporter, spec.output + ": " + errorText(ret));
    }
    ret = avformat_write_header(output, nullptr);
    if (ret < 0) {
        return fail(reporter,
            "Could not write header for output file #0 (incorrect codec parameters ?): "
                + errorText(ret));
    }
    ret = extras.writeAfterHeader(output);
    if (ret < 0)
        return fail(reporter, "Could not write the cover picture: " + errorText(ret));
    return true;
}

bool finishOutput(const ConversionSpec &spec, ConversionReporter &reporter, AVFormatContext *output)
{
    int ret = av_write_trailer(output);
    if (ret < 0)
        return fail(reporter, "Error writing trailer of " + spec.output + ": " + errorText(ret));
    if (output->pb) {
        ret = avio_closep(&output->pb);
        if (ret < 0)
            return fail(reporter, "Error closing file " + spec.output + ": " + errorText(ret));
    }
    return true;
}

} // namespace sonivert::worker
