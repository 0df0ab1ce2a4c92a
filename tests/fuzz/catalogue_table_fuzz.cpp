// A hand-edited or damaged catalogue file: loading it and looking things up never crash or hang.
#include "core/formats/catalogue_table.h"

#include <QFile>
#include <unistd.h>

// The built-in catalogue is not used here; its resources are not linked in.
int qInitResources_formats_catalogue()
{
    return 1;
}

using namespace sonivert;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString path = QStringLiteral("/tmp/catalogue-fuzz-%1.csv").arg(getpid());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char *>(data), qint64(size));
    file.close();

    CatalogueTable table;
    LoadCatalogueTable(table, path, false, false);
    LoadCatalogueTable(table, path, true, false);
    const QString maker = GetCatalogueCell(table, 0, QStringLiteral("Maker"));
    const QString keywords = ListFormatKeywords(table, maker);
    for (const QString &keyword : keywords.split(QLatin1Char('|')))
        ListFormatPresets(table, maker, keyword);
    const int row = FindCatalogueRow(table, QStringLiteral("ID"), maker);
    SetCatalogueCell(table, row, QStringLiteral("Name"), maker, false, false);
    return 0;
}
