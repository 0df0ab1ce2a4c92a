#include "cli/command.h"
#include "cli/settings_options.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sonivert::cli {

namespace {

const QString synopsis = QStringLiteral("formats [--json]");

ExitCode runFormats(const QStringList &args, Io &io)
{
    bool json = false;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            io.out << "Usage: sonivert-cli " << synopsis
                   << "\n\nLists the output format families in the order the main window offers "
                      "them, one keyword a line.\nWith --json: an array of objects with the key "
                      "\"keyword\" (families have no ID or name of their own).\n";
            return ExitCode::Ok;
        } else {
            io.err << "sonivert-cli formats: unexpected argument '" << arg
                   << "'\nUsage: " << synopsis << "\n";
            return ExitCode::Usage;
        }
    }
    Catalogue catalogue;
    QString error;
    if (!loadCliCatalogue(catalogue, error)) {
        io.err << "sonivert-cli formats: " << error << "\n";
        return ExitCode::Failed;
    }
    const QStringList keywords = offeredKeywords(catalogue);
    if (json) {
        QJsonArray array;
        for (const QString &keyword : keywords)
            array.append(QJsonObject { { QStringLiteral("keyword"), keyword } });
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
    } else {
        for (const QString &keyword : keywords)
            io.out << keyword << "\n";
    }
    return ExitCode::Ok;
}

const CommandRegistration reg { Command {
    QStringLiteral("formats"),
    synopsis,
    QStringLiteral("List the output format families (keywords for --format)."),
    runFormats,
} };

} // namespace

} // namespace sonivert::cli
