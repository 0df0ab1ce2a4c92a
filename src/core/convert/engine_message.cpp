#include "core/convert/engine_message.h"

#include <QHash>
#include <QRegularExpression>

namespace sonivert {

FfmpegLogLine parseFfmpegLogLine(const QString &line)
{
    // Nested components give several prefixes: "[Parsed_volume_0 @ 0x..] [Eval @ 0x..] [error] x".
    static const QRegularExpression prefix(
        QStringLiteral("^(?:\\[[^\\]]+ @ 0x[0-9a-fA-F]+\\] )*(?:\\[(panic|fatal|error|warning|"
                       "info|verbose|debug|trace)\\] )?(?:\\[[^\\]]+ @ 0x[0-9a-fA-F]+\\] )*"));
    static const QHash<QString, int> levels = {
        { QStringLiteral("panic"), LogPanic },
        { QStringLiteral("fatal"), LogFatal },
        { QStringLiteral("error"), LogError },
        { QStringLiteral("warning"), LogWarning },
        { QStringLiteral("info"), LogInfo },
        { QStringLiteral("verbose"), LogVerbose },
        { QStringLiteral("debug"), LogDebug },
        { QStringLiteral("trace"), LogTrace },
    };

    FfmpegLogLine parsed;
    const QRegularExpressionMatch match = prefix.match(line);
    parsed.text = line.mid(match.capturedLength());
    if (match.hasCaptured(1))
        parsed.level = levels.value(match.captured(1), LogInfo);
    return parsed;
}

QString engineMessage(const QStringList &allErrorLines, const FailureFacts &facts)
{
    QStringList errorLines;
    for (const QString &line : allErrorLines) {
        if (!line.trimmed().startsWith(QLatin1String("Last message repeated")))
            errorLines << line;
    }
    for (const QString &line : errorLines) {
        if (line.contains(QLatin1String("No space left on device")))
            return NoSpaceMessage;
    }
    for (const QString &line : errorLines) {
        if (line.contains(QLatin1String("Error while opening encoder"))
            || line.contains(QLatin1String("not supported")))
            return RejectedParametersMessage;
    }
    if (!facts.inputHasAudio) {
        for (const QString &line : errorLines) {
            if (line.contains(QLatin1String("does not contain any stream")))
                return NoSoundTrackMessage;
        }
    }
    for (const QString &line : errorLines) {
        for (const QString &path : { facts.inputPath, facts.outputPath }) {
            if (!path.isEmpty() && line.startsWith(path + QLatin1String(": ")))
                return line;
        }
    }
    return errorLines.isEmpty() ? QString() : errorLines.constLast();
}

bool reportsPartialFile(const QString &text)
{
    return text.endsWith(QLatin1String(": partial file"));
}

} // namespace sonivert
