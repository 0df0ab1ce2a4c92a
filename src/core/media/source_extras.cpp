#include "core/media/source_extras.h"

#include "core/media/chapter_marks.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace sonivert {

int SourceExtras::addBeforeHeader(const AVFormatContext *input, const std::string &path,
    AVFormatContext *output, const std::string &outputPath, CoverChoice cover, bool chapters,
    int64_t startUs, int64_t lengthUs)
{
    const size_t dot = outputPath.find_last_of('.');
    const std::string extension
        = dot == std::string::npos ? std::string() : outputPath.substr(dot + 1);
    const CoverHolder holder = coverHolderOf(extension);
    if (holder != CoverHolder::None && cover != CoverChoice::None) {
        m_cover = attachedPicture(input);
        if (m_cover.empty() && cover == CoverChoice::Frame)
            m_cover = videoFrameCover(path);
        if (holder == CoverHolder::PictureStream)
            m_cover = portablePicture(m_cover);
        const int added = addCover(output, holder, m_cover);
        if (added < -1)
            return added;
        m_coverStream = added;
    }
    if (!chapters)
        return 0;
    const std::vector<ChapterMark> kept = chaptersWithin(chapterMarksOf(input), startUs, lengthUs);
    switch (chapterHolderOf(extension)) {
    case ChapterHolder::Container:
        addChapters(output, kept);
        break;
    case ChapterHolder::Comments:
        for (const auto &[key, value] : chapterComments(kept))
            av_dict_set(&output->metadata, key.c_str(), value.c_str(), 0);
        break;
    case ChapterHolder::None:
        break;
    }
    return 0;
}

int SourceExtras::writeAfterHeader(AVFormatContext *output) const
{
    return writeCoverPacket(output, m_coverStream, m_cover);
}

} // namespace sonivert
