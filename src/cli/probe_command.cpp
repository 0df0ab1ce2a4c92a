#include "cli/command.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/import_job.h"
#include "core/media/time_text.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <vector>

namespace sonivert::cli {

namespace {

struct Settled
{
    bool done = false;
    int row = -1;
    FailureEntry failure;
};

// Each chapter with its start and end in seconds from the start of the sound, and its title.
QJsonArray chaptersJson(const std::vector<ChapterMark> &chapters)
{
    QJsonArray array;
    for (const ChapterMark &chapter : chapters) {
        array.append(QJsonObject { { QStringLiteral("start"), double(chapter.startUs) / 1e6 },
            { QStringLiteral("end"), double(chapter.endUs) / 1e6 },
            { QStringLiteral("title"), QString::fromStdString(chapter.title) } });
    }
    return array;
}

QJsonArray fieldsJson(const MediaItem &item)
{
    QJsonArray fields;
    for (int i = 0; i < MediaFieldCount; ++i) {
        switch (fieldTypeOf(i)) {
        case FieldType::Integer:
            fields.append(item.integer(i));
            break;
        case FieldType::Boolean:
            fields.append(item.boolean(i));
            break;
        case FieldType::Text:
            fields.append(item.text(i));
            break;
        }
    }
    return fields;
}

QJsonArray audioTracksJson(const SourceFacts &facts)
{
    QJsonArray tracks;
    for (const AudioTrack &track : facts.audioTracks) {
        tracks.append(QJsonObject { { QStringLiteral("index"), track.number },
            { QStringLiteral("codec"), track.codec },
            { QStringLiteral("codecName"), track.codecName },
            { QStringLiteral("channels"), track.channels },
            { QStringLiteral("sampleRate"), track.sampleRate },
            { QStringLiteral("bitRate"), qint64(track.bitRate) },
            { QStringLiteral("language"), track.language },
            { QStringLiteral("title"), track.title },
            { QStringLiteral("default"), track.isDefault },
            { QStringLiteral("chosen"), facts.audioTrack == track.number - 1 } });
    }
    return tracks;
}

QString streamText(const MediaItem &item)
{
    QString video = QStringLiteral("no video");
    if (item.boolean(Field::VideoStream)) {
        video = QStringLiteral("video %1 %2x%3")
                    .arg(item.text(Field::VideoCodecName))
                    .arg(item.integer(Field::VideoWidth))
                    .arg(item.integer(Field::VideoHeight));
    }
    QString audio = QStringLiteral("no audio");
    if (item.boolean(Field::AudioStream)) {
        audio = QStringLiteral("audio %1 %2 Hz %3 ch")
                    .arg(item.text(Field::AudioCodecName))
                    .arg(item.integer(Field::AudioSampleRate))
                    .arg(item.integer(Field::AudioChannels));
        // The audio facts are those of the track a conversion takes.
        const SourceFacts &facts = item.source;
        if (facts.audioTracks.size() > 1)
            audio += QStringLiteral(" (track %1 of %2)")
                         .arg(facts.audioTrack + 1)
                         .arg(facts.audioTracks.size());
    }
    QString text = video + QStringLiteral(", ") + audio;
    if (item.source.coverStream >= 0)
        text += QStringLiteral(", cover");
    if (!item.source.chapters.empty())
        text += QStringLiteral(", %1 chapters").arg(item.source.chapters.size());
    return text;
}

ExitCode runProbe(const QStringList &args, Io &io)
{
    bool json = false;
    bool optionsEnded = false;
    QStringList paths;
    for (const QString &arg : args) {
        if (!optionsEnded && arg == QLatin1String("--")) {
            optionsEnded = true;
        } else if (!optionsEnded
            && (arg == QLatin1String("--help") || arg == QLatin1String("-h"))) {
            io.out << "Usage: sonivert-cli probe [--json] FILE...\n\n"
                      "Reads each file as the file list does and prints a line for it: name, "
                      "duration, container,\nvideo and audio (the track a conversion takes, of "
                      "how many), the cover and the chapters.\nWith --json: an array of objects, "
                      "one per FILE in order, with \"file\" and \"ok\"; when ok,\n\"fields\" "
                      "(the file list's fields in its order), \"cover\", \"chapters\" and "
                      "\"audioTracks\";\nelse \"name\" and \"message\".\nExit status: 0 when "
                      "every file was read, 1 when one was not, 2 for a usage error.\n";
            return ExitCode::Ok;
        } else if (!optionsEnded && arg == QLatin1String("--json")) {
            json = true;
        } else if (!optionsEnded && arg.startsWith(QLatin1Char('-')) && arg.size() > 1) {
            io.err << "sonivert-cli probe: unknown option '" << arg << "'\n";
            return ExitCode::Usage;
        } else {
            paths.append(arg);
        }
    }
    if (paths.isEmpty()) {
        io.err << "Usage: sonivert-cli probe [--json] FILE...\n";
        return ExitCode::Usage;
    }
    FileListModel list;
    FailureReport report;
    ImportJob job(&list, &report);
    std::vector<Settled> settled(size_t(paths.size()));
    QObject::connect(&job, &ImportJob::fileSettled, &job, [&](int index, int row) {
        Settled &s = settled[size_t(index)];
        s.done = true;
        s.row = row;
        if (row < 0 && !report.isEmpty())
            s.failure = report.entries().constLast();
    });
    QEventLoop loop;
    QObject::connect(&job, &ImportJob::finished, &loop, &QEventLoop::quit);
    job.ImportFiles(paths);
    if (job.isRunning())
        loop.exec();

    bool allProbed = true;
    QJsonArray results;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const Settled &s = settled[size_t(i)];
        const bool ok = s.done && s.row >= 0;
        allProbed = allProbed && ok;
        if (json) {
            QJsonObject object { { QStringLiteral("file"), paths.at(i) },
                { QStringLiteral("ok"), ok } };
            if (ok) {
                const MediaItem &item = list.item(s.row);
                object.insert(QStringLiteral("fields"), fieldsJson(item));
                object.insert(QStringLiteral("cover"), item.source.coverStream >= 0);
                object.insert(QStringLiteral("chapters"), chaptersJson(item.source.chapters));
                object.insert(QStringLiteral("audioTracks"), audioTracksJson(item.source));
            } else {
                object.insert(QStringLiteral("name"), s.failure.name);
                object.insert(QStringLiteral("message"), s.failure.message);
            }
            results.append(object);
        } else if (ok) {
            const MediaItem &item = list.item(s.row);
            io.out << item.text(Field::Name) << "  " << item.text(Field::Duration) << "  "
                   << item.text(Field::Format) << "  " << streamText(item) << "\n";
        } else {
            io.out << s.failure.name << "  failed: " << s.failure.message << "\n";
        }
    }
    if (json)
        io.out << QString::fromUtf8(QJsonDocument(results).toJson(QJsonDocument::Indented));
    io.out.flush();
    return allProbed ? ExitCode::Ok : ExitCode::Failed;
}

const CommandRegistration reg { Command {
    QStringLiteral("probe"),
    QStringLiteral("probe [--json] FILE..."),
    QStringLiteral("Reads each file's streams, durations and tags as the file list does."),
    runProbe,
} };

} // namespace

} // namespace sonivert::cli
