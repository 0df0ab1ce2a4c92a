#include "core/constants/named_constants.h"

#include "core/constants/table_cipher.h"
#include "product_constants_table.h"

#include <QStringList>
#include <cstdio>
#include <cstdlib>

namespace sonivert {

namespace {

void WriteToStderr(const QString &message)
{
    const QByteArray text = message.toLocal8Bit() + '\n';
    std::fputs(text.constData(), stderr);
    std::fflush(stderr);
}

void ExitProgram(int exitCode)
{
    std::exit(exitCode);
}

ConstantFailureHandler failureHandler = WriteToStderr;
ProgramEndHandler programEnd = ExitProgram;

} // namespace

std::optional<QString> LookupNamedConstant(const QString &tableText, const QString &key)
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

std::optional<QString> LookupEncipheredConstant(const QString &hexTable, const QString &key)
{
    return LookupNamedConstant(DecipherTable(hexTable), key);
}

QString GetNamedConstant(const QString &hexTable, const QString &key)
{
    if (std::optional<QString> value = LookupEncipheredConstant(hexTable, key))
        return *value;
    failureHandler(key + QLatin1String(" not found!"));
    programEnd(1);
    return QString();
}

QString GetNamedConstant(const QString &key)
{
    return GetNamedConstant(QLatin1String(kProductConstantsTable), key);
}

void SetConstantFailureHandler(ConstantFailureHandler handler)
{
    failureHandler = handler ? handler : WriteToStderr;
}

void SetConstantProgramEnd(ProgramEndHandler handler)
{
    programEnd = handler ? handler : ExitProgram;
}

} // namespace sonivert
