#include "core/convert/option_tokens.h"

#include <QRegularExpression>

namespace sonivert {

QStringList splitOptionWords(const QString &options)
{
    QStringList words;
    QString word;
    bool inWord = false;
    bool quoted = false;
    for (qsizetype i = 0; i < options.size(); ++i) {
        const QChar c = options.at(i);
        if (c == QLatin1Char('\\') && i + 1 < options.size()) {
            const QChar next = options.at(i + 1);
            if (!quoted || next == QLatin1Char('"') || next == QLatin1Char('\\')) {
                word += next;
                ++i;
            } else {
                word += c;
            }
            inWord = true;
        } else if (c == QLatin1Char('"')) {
            quoted = !quoted;
            inWord = true; // "" is an empty word of its own
        } else if (!quoted && c.isSpace()) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words << word;
    return words;
}

QStringList ffmpegOptionWords(const QString &options)
{
    static const QString hook = QStringLiteral("-VideoOutputHook");
    static const QStringList codecOptions
        = { QStringLiteral("-acodec"), QStringLiteral("-c:a"), QStringLiteral("-codec:a") };

    QStringList words = splitOptionWords(options);
    words.removeAll(hook);
    for (qsizetype i = 0; i + 1 < words.size(); ++i) {
        if (codecOptions.contains(words.at(i)) && words.at(i + 1) == QLatin1String("libfaac"))
            words[i + 1] = QStringLiteral("aac");
    }
    return words;
}

QString optionValue(const QStringList &words, const QString &option)
{
    const qsizetype at = words.lastIndexOf(option);
    return at >= 0 && at + 1 < words.size() ? words.at(at + 1) : QString();
}

QString commandLineText(const QStringList &words)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_@%+=:,./-]+$"));
    QStringList quoted;
    for (const QString &word : words) {
        if (plain.match(word).hasMatch()) {
            quoted << word;
        } else {
            QString text = word;
            text.replace(QLatin1Char('\''), QLatin1String("'\\''"));
            quoted << QLatin1Char('\'') + text + QLatin1Char('\'');
        }
    }
    return quoted.join(QLatin1Char(' '));
}

} // namespace sonivert
