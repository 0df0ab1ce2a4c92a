#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <memory>

struct AVFormatContext;

namespace sonivert::test {

struct MediaReaderClose
{
    void operator()(AVFormatContext *context) const;
};
using MediaReader = std::unique_ptr<AVFormatContext, MediaReaderClose>;

// path opened by libav, its streams' parameters found; null when either fails.
MediaReader openMedia(const QString &path);

// What a written output holds, as libav reads it back.
struct OutputFacts
{
    bool ok = false; // the file opened and has an audio stream
    qint64 durationUs = 0;
    int sampleRate = 0; // of its best audio stream
    QString codec; // of its best audio stream
    QHash<QString, QString> tags; // the container's
    QString language; // of its best audio stream, as the container tags it
    size_t chapters = 0;
    bool picture = false; // an attached cover picture
};

OutputFacts readOutputFacts(const QString &path);

// Makes an MP4 of AAC sound with a cover picture and the chapters and container tags of
// ffmetadata (";FFMETADATA1" text): one audio stream per lavfi source in audioSources, in order,
// then extraArgs (dispositions, stream tags). The picture and the metadata file go beside path.
bool makeFileWithExtras(const QString &path, const QStringList &audioSources,
    const QByteArray &ffmetadata, const QStringList &extraArgs = {});

} // namespace sonivert::test
