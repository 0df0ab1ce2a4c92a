#include "core/constants/named_constants.h"

#include "core/constants/table_cipher.h"
#include "product_constants_table.h"

#include <QStringList>
#include <cstdio>
#include <cstdlib>

namespace sonivert {

namespace {

void writeToStderr(const QString &message)
{
    const QByteArray text = message.toLocal8Bit() + '\n';
    std::fputs(text.constData(), stderr);
    std::fflush(stderr);
}

void exitProgram(int exitCode)
{
    std::exit(exitCode);
}

ConstantFailureHandler failureHandler = writeToStderr;
ProgramEndHandler programEnd = exitProgram;

} // namespace

std::optional<QString> lookupNamedConstant(const QString &tableText, const QString &key)
{
    const QString quotedKey = QLatin1Char('"') + key + QLatin1Char('"');
    const QStringList lines = tableText.split(QLatin1String("\r\n"));
    for (const QString &line : lines) {
        if (!line.contains(quotedKey, Qt::CaseInsensitive))
            continue;
        QString value = line;
        value.remove(key, Qt::CaseInsensitive);
        value.remove(QLatin1Char(','));
        value.remove(QLatin1Char('"'));
        return value;
    }
    return std::nullopt;
}

std::optional<QString> lookupEncipheredConstant(const QString &hexTable, const QString &key)
{
    return lookupNamedConstant(DecipherTable(hexTable), key);
}

QString GetNamedConstant(const QString &hexTable, const QString &key)
{
    if (std::optional<QString> value = lookupEncipheredConstant(hexTable, key))
        return *value;
    failureHandler(key + QLatin1String(" not found!"));
    programEnd(1);
    return QString();
}

QString GetNamedConstant(const QString &key)
{
    return GetNamedConstant(QLatin1String(kProductConstantsTable), key);
}

void setConstantFailureHandler(ConstantFailureHandler handler)
{
    failureHandler = handler ? handler : writeToStderr;
}

void setConstantProgramEnd(ProgramEndHandler handler)
{
    programEnd = handler ? handler : exitProgram;
}

} // namespace sonivert
