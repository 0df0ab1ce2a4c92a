// Option strings from a hand-edited catalogue or preset: splitting them, rewriting them for
// ffmpeg and quoting the words for people never crash, leak or hang.
#include "core/convert/option_tokens.h"

#include <QString>

using namespace sonivert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QStringList words = splitOptionWords(text);
    ffmpegOptionWords(text);
    optionValue(words, QStringLiteral("-acodec"));
    commandLineText(words);
    return 0;
}
