#include "core/media/chapter_marks.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>

namespace sonivert {

ChapterHolder chapterHolderOf(const std::string &extension)
{
    std::string ext = extension;
    std::transform(ext.begin(), ext.end(), ext.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    static const char *const containers[] = { "m4a", "m4b", "m4r", "mp4", "mov", "mp3", "mka" };
    static const char *const comments[] = { "ogg", "oga", "opus", "flac" };
    const auto is = [&ext](const auto &names) {
        return std::any_of(
            std::begin(names), std::end(names), [&ext](const char *name) { return ext == name; });
    };
    if (is(containers))
        return ChapterHolder::Container;
    if (is(comments))
        return ChapterHolder::Comments;
    return ChapterHolder::None;
}

std::vector<ChapterMark> chapterMarksOf(const AVFormatContext *context)
{
    const int64_t origin = context->start_time == AV_NOPTS_VALUE ? 0 : context->start_time;
    std::vector<ChapterMark> marks;
    for (unsigned i = 0; i < context->nb_chapters; ++i) {
        const AVChapter *chapter = context->chapters[i];
        ChapterMark mark;
        mark.startUs = av_rescale_q(chapter->start, chapter->time_base, AV_TIME_BASE_Q) - origin;
        mark.endUs = av_rescale_q(chapter->end, chapter->time_base, AV_TIME_BASE_Q) - origin;
        if (const AVDictionaryEntry *title = av_dict_get(chapter->metadata, "title", nullptr, 0))
            mark.title = title->value;
        marks.push_back(mark);
    }
    return marks;
}

std::vector<ChapterMark> chaptersWithin(
    const std::vector<ChapterMark> &chapters, int64_t startUs, int64_t lengthUs)
{
    const int64_t start = std::max<int64_t>(0, startUs);
    const int64_t room = lengthUs < 0 ? INT64_MAX : lengthUs;
    std::vector<ChapterMark> kept;
    for (const ChapterMark &chapter : chapters) {
        if (chapter.endUs < start)
            continue;
        if (lengthUs >= 0 && chapter.startUs > start + room)
            break;
        ChapterMark moved = chapter;
        moved.startUs = std::max<int64_t>(0, chapter.startUs - start);
        moved.endUs = std::min(room, chapter.endUs - start);
        kept.push_back(moved);
    }
    return kept;
}

std::vector<std::pair<std::string, std::string>> chapterComments(
    const std::vector<ChapterMark> &chapters)
{
    std::vector<std::pair<std::string, std::string>> comments;
    for (size_t i = 0; i < chapters.size() && i < 1000; ++i) {
        char key[16];
        std::snprintf(key, sizeof key, "CHAPTER%03zu", i);
        const int64_t ms = chapters[i].startUs / 1000;
        char time[32];
        std::snprintf(time, sizeof time, "%02lld:%02lld:%02lld.%03lld",
            static_cast<long long>(ms / 3600000), static_cast<long long>(ms / 60000 % 60),
            static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
        comments.emplace_back(key, time);
        if (!chapters[i].title.empty())
            comments.emplace_back(std::string(key) + "NAME", chapters[i].title);
    }
    return comments;
}

int addChapters(AVFormatContext *output, const std::vector<ChapterMark> &chapters)
{
    int added = 0;
    for (const ChapterMark &mark : chapters) {
        auto *chapter = static_cast<AVChapter *>(av_mallocz(sizeof(AVChapter)));
        auto **grown = static_cast<AVChapter **>(
            av_realloc_array(output->chapters, output->nb_chapters + 1, sizeof(AVChapter *)));
        if (!chapter || !grown) {
            av_free(chapter);
            break;
        }
        output->chapters = grown;
        chapter->id = added;
        chapter->time_base = AVRational { 1, 1000 };
        chapter->start = mark.startUs / 1000;
        chapter->end = mark.endUs / 1000;
        if (!mark.title.empty())
            av_dict_set(&chapter->metadata, "title", mark.title.c_str(), 0);
        output->chapters[output->nb_chapters++] = chapter;
        ++added;
    }
    return added;
}

} // namespace sonivert
