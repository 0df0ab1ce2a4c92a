#include "cli/command.h"
#include "cli/settings_options.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sonivert::cli {

namespace {

const QString synopsis = QStringLiteral("presets [KEYWORD] [--json]");

struct Row
{
    QString keyword;
    PresetEntry preset;
};

void printHelp(QTextStream &out)
{
    out << "Usage: sonivert-cli " << synopsis
        << "\n\nLists the presets of one format family (KEYWORD, any letter case) or of all "
           "families,\nin the order the main window offers them; the adjustable preset is "
           "listed as \"[Custom]\".\nEach line holds the keyword, the ID and the name.\n"
           "With --json: an array of objects with the keys \"keyword\", \"id\" and \"name\".\n";
}

void printTable(const QList<Row> &rows, QTextStream &out)
{
    qsizetype keywordWidth = 0;
    qsizetype idWidth = 0;
    for (const Row &row : rows) {
        keywordWidth = std::max(keywordWidth, row.keyword.size());
        idWidth = std::max(idWidth, row.preset.id.size());
    }
    for (const Row &row : rows) {
        out << row.keyword.leftJustified(keywordWidth) << "  "
            << row.preset.id.leftJustified(idWidth) << "  " << row.preset.text << "\n";
    }
}

ExitCode runPresets(const QStringList &args, Io &io)
{
    bool json = false;
    QString given;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            printHelp(io.out);
            return ExitCode::Ok;
        } else if (arg.startsWith(QLatin1String("--")) || !given.isNull()) {
            io.err << "sonivert-cli presets: unexpected argument '" << arg
                   << "'\nUsage: " << synopsis << "\n";
            return ExitCode::Usage;
        } else {
            given = arg;
        }
    }
    Catalogue catalogue;
    QString error;
    if (!loadCliCatalogue(catalogue, error)) {
        io.err << "sonivert-cli presets: " << error << "\n";
        return ExitCode::Failed;
    }
    QStringList keywords = offeredKeywords(catalogue);
    if (!given.isNull()) {
        const QString keyword = resolveFormatKeyword(catalogue, given);
        if (keyword.isEmpty()) {
            io.err << "sonivert-cli presets: unknown format \"" << given
                   << "\"; the formats are: " << keywords.join(QStringLiteral(", ")) << "\n";
            return ExitCode::Usage;
        }
        keywords = QStringList { keyword };
    }
    QList<Row> rows;
    for (const QString &keyword : keywords) {
        for (const PresetEntry &entry : ListFormatPresets(catalogue.presets, OfferedMaker, keyword))
            rows.append({ keyword, entry });
    }
    if (json) {
        QJsonArray array;
        for (const Row &row : rows) {
            array.append(QJsonObject { { QStringLiteral("keyword"), row.keyword },
                { QStringLiteral("id"), row.preset.id },
                { QStringLiteral("name"), row.preset.text } });
        }
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
    } else {
        printTable(rows, io.out);
    }
    return ExitCode::Ok;
}

const CommandRegistration reg { Command {
    QStringLiteral("presets"),
    synopsis,
    QStringLiteral("List the presets of a format family (IDs and names for --preset)."),
    runPresets,
} };

} // namespace

} // namespace sonivert::cli
