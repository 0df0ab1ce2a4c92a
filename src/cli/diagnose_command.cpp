#include "cli/command.h"
#include "cli/engine_option.h"
#include "cli/settings_options.h"
#include "core/convert/conversion_run.h"
#include "core/convert/option_builder.h"
#include "core/diagnose/sweep.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/probe.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

namespace sonivert::cli {

namespace {

const QString synopsis = QStringLiteral("diagnose [--format KEYWORD] [--preset NAME|ID] "
                                        "[--sweep audio|presets|video] "
                                        "[--engine auto|ffmpeg|worker] [--failed-only] [--json] "
                                        "FILE");

void printHelp(QTextStream &out)
{
    out << "Usage: sonivert-cli " << synopsis
        << "\n\nConverts FILE once per combination and prints one line per combination:\n"
           "  audio    every audio codec, channels, (sample size,) sample rate and bit rate of "
           "the format\n           (the default)\n"
           "  presets  every preset of the catalogue\n"
           "  video    every video codec of the format\n"
           "The outputs go to a temporary folder and are deleted.\n"
           "--engine chooses the engine as for convert: auto (default), ffmpeg, or worker (a\n"
           "combination it cannot run is a usage error).\n"
           "--failed-only prints only the combinations that failed, with ffmpeg's message.\n"
           "--json prints an array of {\"file\", \"combination\", \"state\", \"message\", "
           "\"engine\"} "
           "instead.\n"
           "Exit status: 0 when every combination converted, 1 when some failed.\n";
}

// Converts the one file with an encoder of its own. The row is kept in a file list so its state
// and message read exactly as the main window's first row would.
class CliStepRunner : public DiagnosisStepRunner
{
public:
    CliStepRunner(
        FileListModel &list, OutputSettings &settings, const QString &folder, EngineChoice engine)
        : m_list(list)
        , m_settings(settings)
        , m_folder(folder)
        , m_engine(engine)
    {
    }

    // The engine of the last step.
    QString lastEngine() const { return m_lastEngine; }

    StepOutcome runStep() override
    {
        m_list.SetRowState(0, true, RowState::Ready);
        const MediaItem &item = m_list.item(0);
        const TaskPlan plan = planTask(item, m_settings);

        ConversionRun run;
        run.setEngineChoice(m_engine);
        run.begin(m_folder);
        RowOutcome outcome = RowOutcome::Cancelled;
        QString message;
        if (run.addRow(0, item.text(Field::FilePath) + item.text(Field::Name), plan).isEmpty()) {
            outcome = RowOutcome::Failed;
            message = run.LastErrorText();
        } else {
            QEventLoop loop;
            QObject::connect(&run, &ConversionRun::rowEnded, &loop,
                [&](int, RowOutcome ended, const QString &text) {
                    outcome = ended;
                    message = text;
                });
            QObject::connect(&run, &ConversionRun::runEnded, &loop, &QEventLoop::quit);
            run.start(1);
            if (run.State() != RunState::Idle)
                loop.exec();
            // Only the outcome matters; the folder is removed at the end in any case.
            if (outcome == RowOutcome::Done)
                QFile::remove(run.finalOutput(0));
        }
        m_lastEngine = run.taskEngine(0);
        if (m_lastEngine.isEmpty())
            m_lastEngine = plannedEngine(m_engine, plan);

        switch (outcome) {
        case RowOutcome::Done:
            m_list.SetRowState(0, true, RowState::Done);
            break;
        case RowOutcome::Failed:
            m_list.SetRowState(0, true, RowState::Failed);
            m_list.SetField(0, Field::ErrMsg, message);
            break;
        default:
            m_list.SetRowState(0, true, RowState::Cancelled);
            break;
        }
        return { true, m_list.getFieldText(0, Field::State),
            m_list.getFieldText(0, Field::ErrMsg) };
    }

private:
    FileListModel &m_list;
    OutputSettings &m_settings;
    QString m_folder;
    EngineChoice m_engine;
    QString m_lastEngine;
};

// Walks the sweep without converting, to find the first combination the worker cannot run.
class WorkerRefusalScan : public DiagnosisStepRunner
{
public:
    WorkerRefusalScan(const MediaItem &item, OutputSettings &settings)
        : m_item(item)
        , m_settings(settings)
    {
    }

    StepOutcome runStep() override
    {
        // Planned without writing a bit-rate estimate back: the real sweep comes after.
        TaskPlan plan;
        plan.encoding = planEncoding(m_item, readEncoderOptionSettings(m_settings));
        plan.extension = currentOutputExtension(m_settings);
        m_refused = workerRefusal(plan).isEmpty() ? std::nullopt : std::optional(plan);
        return {};
    }
    bool stopRequested() const override { return m_refused.has_value(); }
    // The plan refused, if one was.
    const std::optional<TaskPlan> &refused() const { return m_refused; }

private:
    const MediaItem &m_item;
    OutputSettings &m_settings;
    std::optional<TaskPlan> m_refused;
};

struct DiagnoseArguments
{
    SettingsOptions settings;
    SweepKind kind = SweepKind::AudioSettings;
    EngineChoice engine = EngineChoice::Auto;
    bool failedOnly = false;
    bool json = false;
    bool help = false;
    QString file;
};

bool parseArguments(QStringList args, DiagnoseArguments &parsed, QString &error)
{
    if (!takeSettingsOptions(args, parsed.settings, error))
        return false;
    if (!parsed.settings.assignments.isEmpty()) {
        error = QStringLiteral("--set does not apply: a sweep chooses the entries itself");
        return false;
    }
    bool optionsEnded = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        if (optionsEnded || !arg.startsWith(QLatin1Char('-')) || arg == QLatin1String("-")) {
            if (!parsed.file.isEmpty()) {
                error = QStringLiteral("only one FILE can be diagnosed at a time");
                return false;
            }
            parsed.file = arg;
        } else if (arg == QLatin1String("--")) {
            optionsEnded = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            parsed.help = true;
        } else if (arg == QLatin1String("--failed-only")) {
            parsed.failedOnly = true;
        } else if (arg == QLatin1String("--json")) {
            parsed.json = true;
        } else if (arg == QLatin1String("--sweep") || arg.startsWith(QLatin1String("--sweep="))) {
            QString value;
            if (arg.contains(QLatin1Char('=')))
                value = arg.section(QLatin1Char('='), 1);
            else if (i + 1 < args.size())
                value = args.at(++i);
            const std::optional<SweepKind> kind = sweepKindFromName(value);
            if (!kind) {
                error = QStringLiteral("--sweep takes audio, presets or video");
                return false;
            }
            parsed.kind = *kind;
        } else if (arg == QLatin1String("--engine") || arg.startsWith(QLatin1String("--engine="))) {
            QString value;
            if (arg.contains(QLatin1Char('=')))
                value = arg.section(QLatin1Char('='), 1);
            else if (i + 1 < args.size())
                value = args.at(++i);
            if (!parseEngineOption(value, parsed.engine, error))
                return false;
        } else {
            error = QStringLiteral("unknown option '%1'").arg(arg);
            return false;
        }
    }
    if (!parsed.help && parsed.file.isEmpty()) {
        error = QStringLiteral("no FILE given");
        return false;
    }
    return true;
}

ExitCode runDiagnose(const QStringList &arguments, Io &io)
{
    DiagnoseArguments parsed;
    QString error;
    if (!parseArguments(arguments, parsed, error)) {
        io.err << "sonivert-cli diagnose: " << error << "\nUsage: sonivert-cli " << synopsis
               << "\n";
        return ExitCode::Usage;
    }
    if (parsed.help) {
        printHelp(io.out);
        return ExitCode::Ok;
    }

    Catalogue catalogue;
    if (!loadCliCatalogue(catalogue, error)) {
        io.err << "sonivert-cli diagnose: " << error << "\n";
        return ExitCode::Failed;
    }
    OutputSettings settings(catalogue);
    if (!applySettingsOptions(settings, parsed.settings, error)) {
        io.err << "sonivert-cli diagnose: " << error << "\n";
        return ExitCode::Usage;
    }

    FileListModel list;
    FailureReport report;
    ProbeFile(parsed.file, list, report);
    if (list.count() == 0) {
        const QString reason = report.isEmpty() ? QStringLiteral("cannot be read")
                                                : report.entries().constLast().message;
        io.err << "sonivert-cli diagnose: " << parsed.file << ": " << reason << "\n";
        // A script reading the JSON learns of the file too.
        if (parsed.json) {
            const QJsonArray entry { QJsonObject { { QStringLiteral("file"), parsed.file },
                { QStringLiteral("combination"), QString() },
                { QStringLiteral("state"), QStringLiteral("failed") },
                { QStringLiteral("message"), reason }, { QStringLiteral("engine"), QString() } } };
            io.out << QString::fromUtf8(QJsonDocument(entry).toJson(QJsonDocument::Indented));
            io.out.flush();
        }
        return ExitCode::Failed;
    }
    QTemporaryDir folder;
    if (!folder.isValid()) {
        io.err << "sonivert-cli diagnose: no temporary folder for the outputs: "
               << folder.errorString() << "\n";
        return ExitCode::OutputFolderUnusable;
    }

    if (parsed.engine == EngineChoice::Worker) {
        WorkerRefusalScan scan(list.item(0), settings);
        QString refusedCombination;
        runSweep(settings, parsed.kind, scan, [&](const SweepResult &result) {
            if (scan.refused() && refusedCombination.isEmpty())
                refusedCombination = result.combination.trimmed();
        });
        QList<PlannedRow> rows;
        if (scan.refused()) {
            rows.append(
                { list.item(0).text(Field::Name) + QStringLiteral(" as ") + refusedCombination,
                    *scan.refused() });
        }
        if (!checkWorkerEngine(QStringLiteral("diagnose"), rows, io.err))
            return ExitCode::Usage;
    }

    CliStepRunner runner(list, settings, folder.path(), parsed.engine);
    QJsonArray written;
    const SweepSummary summary
        = runSweep(settings, parsed.kind, runner, [&](const SweepResult &result) {
              if (!shouldWrite(result, parsed.failedOnly))
                  return;
              if (parsed.json) {
                  written.append(QJsonObject { { QStringLiteral("file"), parsed.file },
                      { QStringLiteral("combination"), result.combination },
                      { QStringLiteral("state"), result.state },
                      { QStringLiteral("message"), result.message },
                      { QStringLiteral("engine"), runner.lastEngine() } });
              } else {
                  io.out << resultLine(result) << "\n";
                  io.out.flush();
              }
          });
    if (parsed.json)
        io.out << QString::fromUtf8(QJsonDocument(written).toJson(QJsonDocument::Indented));
    io.out.flush();
    return summary.failures > 0 ? ExitCode::Failed : ExitCode::Ok;
}

const CommandRegistration reg { Command {
    QStringLiteral("diagnose"),
    synopsis,
    QStringLiteral(
        "Converts a problem file once per combination of settings and lists what fails."),
    runDiagnose,
} };

} // namespace

} // namespace sonivert::cli
