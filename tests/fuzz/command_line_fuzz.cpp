// Texts from the command line, a file manager and another start of the program: reading the
// options, turning texts into paths and reading a hand-over never crash or hang.
#include "core/app/command_line.h"

#include <QByteArray>

using namespace sonivert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    readHandOverMessage(bytes);

    QStringList arguments;
    for (const QByteArray &line : bytes.split('\n'))
        arguments << QString::fromUtf8(line);
    readStartArguments(arguments);
    QString program;
    QStringList files;
    ParseCommandLine(arguments, program, files);
    for (const QString &text : std::as_const(arguments)) {
        const QString path = pathFromCommandText(text);
        isSupportedInputExtension(path, QStringLiteral("|mp4|avi|mkv|"));
        lowerExtension(text);
    }
    return 0;
}
