#include "core/app/command_line.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace sonivert {

int ParseCommandLine(
    const QStringList &processArguments, QString &programPath, QStringList &arguments)
{
    programPath.clear();
    arguments.clear();
    if (processArguments.isEmpty())
        return 0;
    programPath = processArguments.first();
    arguments = processArguments.mid(1);
    return int(arguments.size());
}

StartArguments readStartArguments(const QStringList &arguments)
{
    StartArguments result;
    const auto refuse = [&result](const QString &option) {
        if (result.unknownOption.isEmpty()) {
            result.request = StartArguments::Request::UnknownOption;
            result.unknownOption = option;
        }
    };
    const QString convertTo = QStringLiteral("--convert-to");
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) || argument.size() == 1) {
            result.files.append(argument);
        } else if (argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            return { StartArguments::Request::Help, {}, {}, {} };
        } else if (argument == QLatin1String("--version") || argument == QLatin1String("-v")) {
            return { StartArguments::Request::Version, {}, {}, {} };
        } else if (argument == convertTo || argument.startsWith(convertTo + QLatin1Char('='))) {
            const bool joined = argument != convertTo;
            const QString keyword = joined
                ? argument.mid(convertTo.size() + 1)
                : (i + 1 < arguments.size() ? arguments.at(++i) : QString());
            if (keyword.trimmed().isEmpty() || (!joined && keyword.startsWith(QLatin1Char('-'))))
                refuse(convertTo);
            else
                result.convertFormat = keyword.trimmed();
        } else {
            refuse(argument);
        }
    }
    if (!result.convertFormat.isEmpty() && result.request == StartArguments::Request::OpenFiles)
        result.request = StartArguments::Request::ConvertFiles;
    return result;
}

QString pathFromCommandText(const QString &text)
{
    QString path = text.trimmed();
    if (path.isEmpty())
        return {};
    if (!QFileInfo::exists(path)) {
        path.remove(QLatin1Char('"'));
        path = path.trimmed();
        if (path.isEmpty())
            return {};
    }
    if (path.startsWith(QLatin1String("file:"), Qt::CaseInsensitive)) {
        const QUrl url(path);
        if (url.isValid() && url.isLocalFile())
            path = url.toLocalFile();
    }
    return QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

QString lowerExtension(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot < 0 || dot < slash)
        return {};
    return path.mid(dot + 1).toLower();
}

bool isSupportedInputExtension(const QString &path, const QString &extensionList)
{
    const QString ext = lowerExtension(path);
    // A "|" inside the extension would let it match across two entries of the list.
    if (ext.isEmpty() || ext.contains(QLatin1Char('|')))
        return false;
    return extensionList.contains(QLatin1Char('|') + ext + QLatin1Char('|'));
}

std::optional<QStringList> readHandOverMessage(const QByteArray &received)
{
    const qsizetype end = received.indexOf(QByteArray(2, '\0'));
    if (end < 0)
        return std::nullopt;
    QStringList files;
    for (const QByteArray &part : received.left(end).split('\0')) {
        const QString file = QString::fromUtf8(part).trimmed();
        if (!file.isEmpty())
            files.append(file);
    }
    return files;
}

} // namespace sonivert
