#include "cli/command.h"
#include "cli/convert_progress.h"
#include "cli/convert_signals.h"
#include "cli/engine_option.h"
#include "cli/settings_options.h"
#include "core/app/folders.h"
#include "core/constants/named_constants.h"
#include "core/convert/conversion_run.h"
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/convert/output_naming.h"
#include "core/convert/run_progress.h"
#include "core/convert/worker_encode_job.h"
#include "core/media/audio_tracks.h"
#include "core/media/probe.h"
#include "core/media/time_text.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <unistd.h>

namespace sonivert::cli {

namespace {

const QString synopsis = QStringLiteral(
    "convert [--format KEYWORD] [--preset NAME|ID] [--set LIST=ENTRY]... [--trim START:END] "
    "[--audio-track N|all] [--cover source|frame|none] [--split-chapters] [-o DIR] [--threads N] "
    "[--engine auto|ffmpeg|worker] [--no-segments] "
    "[--stall-timeout SECONDS] [--dry-run] [--json] FILE...");

void printHelp(QTextStream &out)
{
    out << "Usage: sonivert-cli " << synopsis
        << "\n\nConverts each FILE with the output settings of a format family (default: the "
           "first),\none of its presets (default: the one the main window selects) and changes "
           "made with\n--set, exactly as \"sonivert-cli settings\" shows them.\n\n"
           "  --trim START:END  convert only that range, in seconds (\"12.5:70\"); an empty "
           "START\n                    is the beginning, an empty END the end of the file; "
           "with\n                    --format ORIGINAL the cut falls on the nearest "
           "packets, at most\n                    one codec frame off\n"
           "  --audio-track N   convert audio track N of each file (from 1, as \"probe --json\" "
           "lists\n                    them; default: the track marked default, else the first);"
           " \"all\"\n                    gives one output per track, \"NAME (track N, LANG).EXT"
           "\"\n"
           "  --cover C         the cover picture of MP3, M4A, M4B, M4R, FLAC, Ogg and Opus\n"
           "                    outputs: source (default) the source's own picture; frame that\n"
           "                    picture, else a frame of the video at a tenth of its length;\n"
           "                    none. Chapters of the source are kept where the format holds\n"
           "                    them, cut with --trim\n"
           "  --split-chapters  one output per chapter of a file that has chapters, named\n"
           "                    \"NAME - NN - CHAPTER TITLE\", tagged with the chapter's title,\n"
           "                    track NN/total and the file's title as album; each is an entry\n"
           "                    of its own in --json; with --audio-track all, one per track\n"
           "                    and chapter, \"NAME (track N, LANG) - NN - CHAPTER TITLE\"\n"
           "  -o, --output DIR  the output folder (default: the one the main window remembers)\n"
           "  --threads N       files converted at once (default 0: one per processor core)\n"
           "  --engine E        auto (default): sonivert-worker for the audio plans it runs, the\n"
           "                    ffmpeg program for the rest; ffmpeg; or worker (a plan it cannot\n"
           "                    run is a usage error)\n"
           "  --no-segments     never split one long file across threads (by default a file\n"
           "                    that starts while threads are free is encoded in segments at\n"
           "                    once and joined, for MP3, AAC, FLAC and PCM outputs)\n"
           "  --stall-timeout S a file whose conversion shows no progress for S seconds fails\n"
           "                    (default 120)\n"
           "  --dry-run         print what would be run, convert nothing\n"
           "  --json            with --dry-run: [{\"file\", \"seek\", \"options\", \"output\", "
           "\"argv\",\n                    \"settings\", \"engine\", \"audioTrack\"}]; otherwise "
           "[{\"file\",\n                    \"output\", \"state\", \"message\", \"engine\", "
           "\"audioTrack\",\n                    \"segments\"}]: an entry per output; a "
           "failed one that ran has\n                    \"argv\" too, the command that ran\n\n"
           "--format ORIGINAL (\"Original audio (no re-encoding)\") copies each file's audio as "
           "it is\ninto the container that fits its codec: M4A, MP3, OGG, OPUS, FLAC, AC3, EAC3, "
           "DTS, MP2,\nWAV, WMA, else MKA.\n\n"
           "An existing file is never overwritten: the output takes a name with \"_(new)\".\n"
           "Ctrl+C stops the run and removes what was not finished.\n"
           "Exit status: 0 all converted, 1 some failed or the run was stopped, 2 usage error,\n"
           "3 output folder not usable.\n";
}

struct ConvertArgs
{
    SettingsOptions settings;
    bool trimmed = false;
    qint64 trimStartUs = 0;
    qint64 trimEndUs = -1; // -1: the end of each file
    QString outputFolder;
    int threads = 0;
    EngineChoice engine = EngineChoice::Auto;
    CoverChoice cover = CoverChoice::Source;
    bool splitChapters = false;
    bool segments = true;
    double stallSeconds = Encoder::DefaultStallTimeoutSeconds;
    int audioTrack = 0; // from 1; 0 for each file's default
    bool allAudioTracks = false;
    bool dryRun = false;
    bool json = false;
    QStringList files;
};

bool parseSeconds(const QString &text, qint64 &microseconds)
{
    bool ok = false;
    const double seconds = text.trimmed().toDouble(&ok); // "." whatever the locale
    if (!ok || !std::isfinite(seconds) || seconds < 0 || seconds > 1e12)
        return false;
    microseconds = qint64(std::nearbyint(seconds * 1e6));
    return true;
}

bool parseTrim(const QString &value, ConvertArgs &args, QString &error)
{
    const qsizetype colon = value.indexOf(QLatin1Char(':'));
    const QString start = colon < 0 ? QString() : value.left(colon);
    const QString end = colon < 0 ? QString() : value.mid(colon + 1);
    bool ok = colon >= 0 && value.count(QLatin1Char(':')) == 1;
    if (ok && !start.trimmed().isEmpty())
        ok = parseSeconds(start, args.trimStartUs);
    if (ok && !end.trimmed().isEmpty())
        ok = parseSeconds(end, args.trimEndUs);
    if (ok && args.trimEndUs >= 0 && args.trimEndUs <= args.trimStartUs) {
        error = QStringLiteral("--trim needs an END after its START, not \"") + value
            + QLatin1Char('"');
        return false;
    }
    if (!ok) {
        error = QStringLiteral("--trim takes START:END in seconds with \".\" decimals, not \"")
            + value + QLatin1Char('"');
        return false;
    }
    args.trimmed = true;
    return true;
}

// "--name VALUE" or "--name=VALUE"; false when the value is missing.
bool takeValue(const QStringList &args, int &i, const QString &name, QString &value)
{
    const QString arg = args.at(i);
    if (arg.startsWith(name + QLatin1Char('='))) {
        value = arg.mid(name.size() + 1);
        return true;
    }
    if (i + 1 >= args.size())
        return false;
    value = args.at(++i);
    return true;
}

bool matches(const QString &arg, const QString &name)
{
    return arg == name || arg.startsWith(name + QLatin1Char('='));
}

enum class ParseResult { Ok, Help, Usage };

ParseResult parseArguments(QStringList args, ConvertArgs &parsed, QString &error)
{
    if (!takeSettingsOptions(args, parsed.settings, error))
        return ParseResult::Usage;
    bool optionsEnded = false;
    for (int i = 0; i < args.size(); ++i) {
        const QString arg = args.at(i);
        QString value;
        if (optionsEnded || !arg.startsWith(QLatin1Char('-')) || arg.size() == 1) {
            parsed.files.append(arg);
        } else if (arg == QLatin1String("--")) {
            optionsEnded = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            return ParseResult::Help;
        } else if (arg == QLatin1String("--dry-run")) {
            parsed.dryRun = true;
        } else if (arg == QLatin1String("--json")) {
            parsed.json = true;
        } else if (matches(arg, QStringLiteral("--trim"))) {
            if (!takeValue(args, i, QStringLiteral("--trim"), value)) {
                error = QStringLiteral("--trim needs a value");
                return ParseResult::Usage;
            }
            if (!parseTrim(value, parsed, error))
                return ParseResult::Usage;
        } else if (matches(arg, QStringLiteral("-o")) || matches(arg, QStringLiteral("--output"))) {
            const QString name = arg.startsWith(QLatin1String("--")) ? QStringLiteral("--output")
                                                                     : QStringLiteral("-o");
            if (!takeValue(args, i, name, value) || value.trimmed().isEmpty()) {
                error = name + QStringLiteral(" needs a folder");
                return ParseResult::Usage;
            }
            parsed.outputFolder = value;
        } else if (matches(arg, QStringLiteral("--threads"))) {
            bool ok = false;
            const int threads = takeValue(args, i, QStringLiteral("--threads"), value)
                ? value.trimmed().toInt(&ok)
                : -1;
            if (!ok || threads < 0) {
                error = QStringLiteral("--threads takes a whole number (0: one per processor "
                                       "core), not \"")
                    + value + QLatin1Char('"');
                return ParseResult::Usage;
            }
            parsed.threads = threads;
        } else if (matches(arg, QStringLiteral("--stall-timeout"))) {
            qint64 us = 0;
            if (!takeValue(args, i, QStringLiteral("--stall-timeout"), value)
                || !parseSeconds(value, us) || us < 1000) {
                error = QStringLiteral("--stall-timeout takes seconds (at least 0.001), not \"")
                    + value + QLatin1Char('"');
                return ParseResult::Usage;
            }
            parsed.stallSeconds = double(us) / 1e6;
        } else if (arg == QLatin1String("--no-segments")) {
            parsed.segments = false;
        } else if (matches(arg, QStringLiteral("--audio-track"))) {
            if (!takeValue(args, i, QStringLiteral("--audio-track"), value))
                value.clear();
            bool ok = false;
            const int track = value.trimmed().toInt(&ok);
            if (value.trimmed() == QLatin1String("all")) {
                parsed.allAudioTracks = true;
            } else if (ok && track >= 1) {
                parsed.audioTrack = track;
            } else {
                error = QStringLiteral("--audio-track takes a track number from 1 or \"all\", "
                                       "not \"")
                    + value + QLatin1Char('"');
                return ParseResult::Usage;
            }
        } else if (arg == QLatin1String("--split-chapters")) {
            parsed.splitChapters = true;
        } else if (matches(arg, QStringLiteral("--cover"))) {
            if (!takeValue(args, i, QStringLiteral("--cover"), value))
                value.clear();
            const QString name = value.trimmed().toLower();
            if (name != QLatin1String("source") && name != QLatin1String("frame")
                && name != QLatin1String("none")) {
                error = QStringLiteral("--cover takes source, frame or none, not \"") + value
                    + QLatin1Char('"');
                return ParseResult::Usage;
            }
            parsed.cover = coverChoiceFromName(name.toStdString());
        } else if (matches(arg, QStringLiteral("--engine"))) {
            if (!takeValue(args, i, QStringLiteral("--engine"), value))
                value.clear();
            if (!parseEngineOption(value, parsed.engine, error))
                return ParseResult::Usage;
        } else {
            error = QStringLiteral("unknown option '") + arg + QLatin1Char('\'');
            return ParseResult::Usage;
        }
    }
    if (parsed.files.isEmpty()) {
        error = QStringLiteral("no file to convert");
        return ParseResult::Usage;
    }
    return ParseResult::Ok;
}

enum class FileState { Planned, Done, Failed, Cancelled };

struct PlannedFile
{
    QString input;
    QString name;
    TaskPlan plan;
    QString output; // the final name
    QString encoderOutput; // for the dry run: the name the engine writes (M4A for M4B and M4R)
    QJsonObject settings;
    FileState state = FileState::Planned;
    QString message;
    QString engine; // the engine that ran it, or would run it in a dry run
    int segments = 0; // the segments it was encoded in at once; 0 when it did not run
    QStringList argv; // for a failed file, the command that ran, as a person runs it again
};

struct Failure
{
    QString name;
    QString message;
};

// Writes the range into the row as the trim editor does; false when the file ends before it.
bool applyTrim(MediaItem &item, const ConvertArgs &args, QString &message)
{
    const qint64 duration
        = joinHalfTexts(item.text(Field::FileDurationLow), item.text(Field::FileDurationHigh));
    const bool known = duration > 0 && duration != UnknownTime;
    qint64 end = args.trimEndUs;
    if (known && (end < 0 || end > duration))
        end = duration;
    if (end >= 0 && end <= args.trimStartUs) {
        message = QStringLiteral("the trim range starts after the end of the file (%1 s)")
                      .arg(secondsText(duration));
        return false;
    }
    const auto lowText = [](qint64 us) {
        return halfText(int32_t(uint32_t(quint64(us))));
    };
    const auto highText = [](qint64 us) {
        return halfText(int32_t(us >> 32));
    };
    item.set(Field::TrimStartLow, lowText(args.trimStartUs));
    item.set(Field::TrimStartHigh, highText(args.trimStartUs));
    item.trimmed = args.trimStartUs > 0 || !known || end < duration;
    if (end < 0) {
        // A file of unknown length is cut from the start to the end of its sound.
        item.set(Field::TrimEndLow, QStringLiteral("-1"));
        item.set(Field::TrimEndHigh, QStringLiteral("-1"));
        item.set(Field::SrcDuration, QString());
        return true;
    }
    item.set(Field::TrimEndLow, lowText(end));
    item.set(Field::TrimEndHigh, highText(end));
    const double seconds = double(end - args.trimStartUs) / 1e6;
    item.set(Field::SrcDuration, QString::number(std::nearbyint(seconds * 100.0) / 100.0, 'f', 2));
    return true;
}

// The track the arguments choose for the row; false when the file has no such track.
bool applyAudioTrack(MediaItem &item, const ConvertArgs &args, QString &message)
{
    if (args.allAudioTracks) {
        selectAllAudioTracks(item);
        return true;
    }
    if (args.audioTrack == 0 || selectAudioTrack(item, args.audioTrack))
        return true;
    const qsizetype count = item.source.audioTracks.size();
    message = count == 0 ? QStringLiteral("the file has no audio track")
                         : QStringLiteral("the file has no audio track %1; its tracks are 1 to %2")
                               .arg(args.audioTrack)
                               .arg(count);
    if (count == 1)
        message = QStringLiteral("the file has no audio track %1; it has one track")
                      .arg(args.audioTrack);
    return false;
}

// The number of the track a plan converts, from 1; 0 for a file without sound.
int trackNumber(const TaskPlan &plan)
{
    return plan.source.audioTrack + 1;
}

void printReport(const QList<Failure> &failures, QTextStream &err)
{
    if (failures.isEmpty())
        return;
    err << "These files could not be converted:\n";
    for (const Failure &f : failures)
        err << "  " << f.name << ": "
            << QString(f.message).replace(QLatin1Char('\n'), QLatin1Char(' ')) << "\n";
    err.flush();
}

QString stateName(FileState state);
QJsonObject resultJson(const PlannedFile &f);

void printDryRun(const QList<PlannedFile> &files, bool json, QTextStream &out)
{
    const QString program = findFfmpegProgram();
    QJsonArray array;
    for (const PlannedFile &f : files) {
        if (f.state == FileState::Failed) {
            if (json)
                array.append(resultJson(f));
            continue;
        }
        const QStringList argv = QStringList(program.isEmpty() ? QStringLiteral("ffmpeg") : program)
            + buildFfmpegArguments(f.input, f.encoderOutput, f.plan,
                pictureCommentFor(f.input, f.encoderOutput, f.plan));
        if (json) {
            array.append(QJsonObject { { QStringLiteral("file"), f.input },
                { QStringLiteral("seek"), f.plan.inputOptions },
                { QStringLiteral("options"), f.plan.outputOptions },
                { QStringLiteral("output"), f.output },
                { QStringLiteral("argv"), QJsonArray::fromStringList(argv) },
                { QStringLiteral("settings"), f.settings }, { QStringLiteral("engine"), f.engine },
                { QStringLiteral("audioTrack"), trackNumber(f.plan) } });
        } else {
            out << f.input << "\n  -> " << f.output << "\n  engine: " << f.engine << "\n  "
                << commandLineText(argv) << "\n";
        }
    }
    if (json)
        out << QJsonDocument(array).toJson(QJsonDocument::Indented);
    out.flush();
}

QString stateName(FileState state)
{
    switch (state) {
    case FileState::Done:
        return QStringLiteral("done");
    case FileState::Failed:
        return QStringLiteral("failed");
    case FileState::Cancelled:
        return QStringLiteral("cancelled");
    case FileState::Planned:
        break;
    }
    return QStringLiteral("planned");
}

QJsonObject resultJson(const PlannedFile &f)
{
    QJsonObject result { { QStringLiteral("file"), f.input },
        { QStringLiteral("output"), f.output }, { QStringLiteral("state"), stateName(f.state) },
        { QStringLiteral("message"), f.message }, { QStringLiteral("engine"), f.engine },
        { QStringLiteral("audioTrack"), trackNumber(f.plan) },
        { QStringLiteral("segments"), f.segments } };
    if (!f.argv.isEmpty())
        result.insert(QStringLiteral("argv"), QJsonArray::fromStringList(f.argv));
    return result;
}

// Converts the planned files in one run and follows it to the end. Files the engine refuses or
// that fail go into failures.
void runConversion(ConversionRun &run, QList<PlannedFile> &files, const ConvertArgs &args,
    QList<Failure> &failures, Io &io)
{
    QList<int> fileOfRow;
    QStringList rowNames;
    for (int i = 0; i < files.size(); ++i) {
        PlannedFile &f = files[i];
        if (f.state == FileState::Failed)
            continue; // not probed: already reported
        f.output = run.addRow(int(fileOfRow.size()), f.input, f.plan);
        if (!f.output.isEmpty()) {
            fileOfRow.append(i);
            rowNames.append(f.name);
            continue;
        }
        f.state = FileState::Failed;
        f.message = run.LastErrorText();
        // The name it would have had, for the report.
        f.output = run.claimOutputNames(f.input, f.plan.extension, f.plan.nameSuffix).output;
        failures.append({ f.name, f.message });
    }
    if (fileOfRow.isEmpty())
        return;

    const bool live = !args.json && isTerminal(STDOUT_FILENO);
    ConvertProgress progress(io.out, live, rowNames);
    QEventLoop loop;
    StopSignals stopSignals;
    QObject::connect(&stopSignals, &StopSignals::stopRequested, &run, [&](int) { run.stop(); });
    QObject::connect(&run, &ConversionRun::rowProgress, &run, [&](int row, int percent) {
        if (!args.json)
            progress.progress(row, std::max(percent, 0));
    });
    QObject::connect(&run, &ConversionRun::rowEnded, &run,
        [&](int row, RowOutcome outcome, const QString &message) {
            PlannedFile &f = files[fileOfRow.at(row)];
            switch (outcome) {
            case RowOutcome::Done:
                f.engine = run.taskEngine(row);
                f.segments = run.taskSegments(row);
                f.state = FileState::Done;
                f.output = run.finalOutput(row);
                if (!args.json)
                    progress.ended(
                        row, QStringLiteral("done: ") + f.name + QStringLiteral(" -> ") + f.output);
                break;
            case RowOutcome::Failed:
                f.engine = run.taskEngine(row);
                f.segments = run.taskSegments(row);
                f.state = FileState::Failed;
                f.message = message;
                f.argv = run.taskCommand(row);
                failures.append({ f.name, message });
                if (!args.json)
                    progress.ended(row, QStringLiteral("failed: ") + f.name);
                break;
            case RowOutcome::Cancelled:
                f.state = FileState::Cancelled;
                break;
            case RowOutcome::Waiting:
            case RowOutcome::Converting:
                break;
            }
        });
    QObject::connect(&run, &ConversionRun::runEnded, &loop, &QEventLoop::quit);

    run.start(args.threads);
    if (run.State() != RunState::Idle)
        loop.exec();
    if (!args.json)
        progress.finish();
    const QString explanation = run.stopReason() == RunStopReason::UserStop
        ? QStringLiteral("Stopped: the files not finished were removed.")
        : stopExplanation(run.stopReason(), run.folder());
    if (!explanation.isEmpty())
        io.err << explanation << "\n";
}

ExitCode runConvert(const QStringList &arguments, Io &io)
{
    ConvertArgs args;
    QString error;
    switch (parseArguments(arguments, args, error)) {
    case ParseResult::Help:
        printHelp(io.out);
        return ExitCode::Ok;
    case ParseResult::Usage:
        io.err << "sonivert-cli convert: " << error << "\nUsage: sonivert-cli " << synopsis << "\n";
        return ExitCode::Usage;
    case ParseResult::Ok:
        break;
    }
    Catalogue catalogue;
    if (!loadCliCatalogue(catalogue, error)) {
        io.err << "sonivert-cli convert: " << error << "\n";
        return ExitCode::Failed;
    }
    OutputSettings settings(catalogue);
    if (!applySettingsOptions(settings, args.settings, error)) {
        io.err << "sonivert-cli convert: " << error << "\n";
        return ExitCode::Usage;
    }

    QString folder = args.outputFolder;
    if (folder.isEmpty()) {
        folder = SetupFolders(QCoreApplication::applicationDirPath(),
            GetNamedConstant(QStringLiteral("REGISTRY_PRODUCT")))
                     .outputPath;
    }
    QString why;
    if (!CheckOutputFolder(folder, &why)) {
        io.err << "sonivert-cli convert: the output folder \"" << folder << "\" cannot be used. "
               << why << "\n";
        return ExitCode::OutputFolderUnusable;
    }
    folder = withTrailingSeparator(QFileInfo(folder.trimmed()).absoluteFilePath());

    QList<PlannedFile> files;
    QList<Failure> failures;
    ConversionRun run;
    run.begin(folder);
    for (const QString &given : std::as_const(args.files)) {
        const QString path = QFileInfo(given).absoluteFilePath();
        ProbeResult probe = probeMediaFile(path);
        // A file that cannot be planned still has its entry, in argument order.
        const auto refuse = [&](const QString &name, const QString &message) {
            PlannedFile f;
            f.input = path;
            f.name = name;
            f.state = FileState::Failed;
            f.message = message;
            files.append(f);
            failures.append({ name, message });
        };
        if (!probe.ok) {
            refuse(probe.name.isEmpty() ? fileNameOf(path) : probe.name, probe.message);
            continue;
        }
        QString message;
        if ((args.trimmed && !applyTrim(probe.item, args, message))
            || !applyAudioTrack(probe.item, args, message)) {
            refuse(probe.name, message);
            continue;
        }
        const QString name = probe.item.text(Field::Name);
        for (const TaskPlan &plan :
            planRowTasks(probe.item, settings, { args.cover, args.splitChapters })) {
            PlannedFile f;
            f.name = name + plan.nameSuffix;
            f.input = probe.item.text(Field::FilePath) + name;
            if (args.dryRun && args.json)
                f.settings = outputSettingsJson(settings);
            f.plan = plan;
            // A dry run claims the names the run would claim; a real run claims them as it
            // queues.
            if (args.dryRun) {
                const ConversionRun::OutputNames names
                    = run.claimOutputNames(f.input, f.plan.extension, f.plan.nameSuffix);
                f.output = names.output;
                f.encoderOutput = names.encoderOutput;
            }
            f.engine = plannedEngine(args.engine, f.plan);
            files.append(f);
        }
    }

    if (args.engine == EngineChoice::Worker) {
        // A plan the worker cannot run is refused before anything runs.
        QList<PlannedRow> rows;
        for (const PlannedFile &f : std::as_const(files)) {
            if (f.state != FileState::Failed)
                rows.append({ f.name, f.plan });
        }
        if (!checkWorkerEngine(QStringLiteral("convert"), rows, io.err))
            return ExitCode::Usage;
    }
    run.setEngineChoice(args.engine);
    run.setStallTimeoutSeconds(args.stallSeconds);
    run.setSegmentation(args.segments);

    if (args.dryRun) {
        printDryRun(files, args.json, io.out);
    } else {
        runConversion(run, files, args, failures, io);
        if (args.json) {
            QJsonArray array;
            for (const PlannedFile &f : std::as_const(files))
                array.append(resultJson(f));
            io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        } else {
            int done = 0;
            for (const PlannedFile &f : std::as_const(files))
                done += f.state == FileState::Done ? 1 : 0;
            io.out << done << " of " << files.size()
                   << (files.size() == args.files.size() ? " files" : " outputs")
                   << " converted into " << folder << "\n";
        }
        io.out.flush();
    }
    printReport(failures, io.err);

    bool allDone = failures.isEmpty();
    for (const PlannedFile &f : std::as_const(files))
        allDone = allDone && (args.dryRun || f.state == FileState::Done);
    return allDone ? ExitCode::Ok : ExitCode::Failed;
}

const CommandRegistration reg { Command {
    QStringLiteral("convert"),
    synopsis,
    QStringLiteral("Convert files with a format, preset and changes; --dry-run shows the plan."),
    runConvert,
} };

} // namespace

} // namespace sonivert::cli
