// Prints the extensions the import accepts, one a line, so that the build can derive the desktop
// entry's and the metainfo's media types from the program's own list.
#include "core/media/import_rules.h"

#include <cstdio>

int main()
{
    const QStringList extensions
        = sonivert::supportedExtensionsText().split(QLatin1Char('|'), Qt::SkipEmptyParts);
    for (const QString &extension : extensions)
        std::printf("%s\n", extension.toUtf8().constData());
    return 0;
}
