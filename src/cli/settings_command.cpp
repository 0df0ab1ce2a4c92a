#include "cli/command.h"
#include "cli/settings_options.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sonivert::cli {

namespace {

const QString synopsis = QStringLiteral(
    "settings [--format KEYWORD] [--preset NAME|ID] [--set LIST=ENTRY]... [--json]");

void printHelp(QTextStream &out)
{
    out << "Usage: sonivert-cli " << synopsis
        << "\n\nPrints the output settings that result from a format family (default: the first),"
           "\none of its presets (default: the one the main window selects) and changes made "
           "with --set,\napplied in the order given with the same rules as the settings dialog."
           "\n\n--set LIST=ENTRY selects an entry by its exact text in one of the lists\n"
           "  VideoCodec, FrameSize, FPS, FileExtention, AudioCodec, SampleRate, AudioBitrate,\n"
           "  Channels, AudioSize, AspectRatio, VideoBitrate;\n"
           "--set Width=N, Height=N (with FrameSize=Custom), VideoBitrateValue=N (with "
           "VideoBitrate=Custom)\n  and QualityLevel=High|Standard|SmallSize set the numbers and "
           "the quality level.\nA number is \"enabled\" when it can be changed now.\n\n"
           "With --json: {\"lists\": {LIST: {\"entries\", \"selected\", \"enabled\"}}, "
           "\"Width\", \"Height\",\n\"VideoBitrateValue\" (each {\"value\", \"min\", \"max\", "
           "\"enabled\"}), \"QualityLevel\"}.\n";
}

const std::array<std::pair<const char *, NumberId>, 3> numbers = { {
    { "Width", NumberId::Width },
    { "Height", NumberId::Height },
    { "VideoBitrateValue", NumberId::VideoBitrate },
} };

void printJson(const OutputSettings &settings, QTextStream &out)
{
    out << QJsonDocument(outputSettingsJson(settings)).toJson(QJsonDocument::Indented);
}

void printText(const OutputSettings &settings, QTextStream &out)
{
    const int index = settings.mainPresetIndex();
    if (index >= 0) {
        const PresetEntry &preset = settings.offeredPresets().at(index);
        out << "Format: " << settings.currentFormatKeyword() << "\nPreset: " << preset.text << " ("
            << preset.id << ")\n\n";
    }
    for (int i = 0; i < ChoiceListCount; ++i) {
        const ChoiceList &list = settings.choice(ChoiceListId(i));
        out << choiceListName(ChoiceListId(i)) << ": "
            << (list.selected >= 0 ? list.selectedText() : QStringLiteral("(none)"))
            << (list.enabled ? "" : "  [disabled]") << "\n    entries: "
            << (list.entries.isEmpty() ? QStringLiteral("(none)")
                                       : list.texts().join(QStringLiteral(" | ")))
            << "\n";
    }
    for (const auto &[name, id] : numbers) {
        const NumberSetting &setting = settings.number(id);
        out << name << ": " << setting.value << "  (min " << setting.minimum << ", max "
            << setting.maximum << ", "
            << (setting.enabled && setting.visible ? "enabled" : "disabled") << ")\n";
    }
    out << "QualityLevel: " << qualityLevelName(settings.qualityLevel())
        << (settings.qualityEnabled() ? "" : "  [disabled]") << "\n";
}

ExitCode runSettings(const QStringList &arguments, Io &io)
{
    QStringList args = arguments;
    SettingsOptions options;
    QString error;
    if (!takeSettingsOptions(args, options, error)) {
        io.err << "sonivert-cli settings: " << error << "\nUsage: " << synopsis << "\n";
        return ExitCode::Usage;
    }
    bool json = false;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            printHelp(io.out);
            return ExitCode::Ok;
        } else {
            io.err << "sonivert-cli settings: unexpected argument '" << arg
                   << "'\nUsage: " << synopsis << "\n";
            return ExitCode::Usage;
        }
    }
    Catalogue catalogue;
    if (!loadCliCatalogue(catalogue, error)) {
        io.err << "sonivert-cli settings: " << error << "\n";
        return ExitCode::Failed;
    }
    OutputSettings settings(catalogue);
    if (!applySettingsOptions(settings, options, error)) {
        io.err << "sonivert-cli settings: " << error << "\n";
        return ExitCode::Usage;
    }
    if (json)
        printJson(settings, io.out);
    else
        printText(settings, io.out);
    return ExitCode::Ok;
}

const CommandRegistration reg { Command {
    QStringLiteral("settings"),
    synopsis,
    QStringLiteral("Show the output settings a format, preset and changes give."),
    runSettings,
} };

} // namespace

} // namespace sonivert::cli
