#include "support/catalogue_rows.h"

namespace sonivert::test {

QStringList Row(std::initializer_list<const char *> cells)
{
    QStringList list;
    for (const char *cell : cells)
        list.append(QString::fromUtf8(cell));
    return list;
}

QStringList formatTableColumns()
{
    return Row(
        { "Format", "VideoCodec", "AudioCodec", "FileExtention", "FPS", "AspectRatio", "FrameSize",
            "SampleRate", "Channels", "AudioSize", "MaxWidth", "MaxHeight", "MaxVideoBitrate" });
}

QStringList presetTableColumns()
{
    return Row(
        { "ID", "Name", "Maker", "Keyword", "Thumbnail", "Type", "Image", "Format", "VideoCodec",
            "AudioCodec", "Width", "Height", "FPS", "QualityLevel", "VideoBitrate", "FileExtention",
            "AspectRatio", "SampleRate", "Channels", "AudioSize", "AudioBitrate", "Removable" });
}

} // namespace sonivert::test
