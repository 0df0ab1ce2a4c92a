#include "core/formats/catalogue_table.h"

#include <QDir>
#include <QFile>

// Resources of a static library must be registered by name, outside any namespace.
static void initCatalogueResources()
{
    Q_INIT_RESOURCE(formats_catalogue);
}

namespace sonivert {

int CatalogueTable::columnIndex(const QString &caption) const
{
    for (int i = int(columns.size()) - 1; i >= 0; --i) {
        if (columns.at(i).compare(caption, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

Catalogue &appCatalogue()
{
    static Catalogue catalogue;
    return catalogue;
}

namespace {

QStringList splitFields(const QString &line)
{
    QStringList fields = line.split(QStringLiteral("\","));
    for (QString &field : fields)
        field.remove(QLatin1Char('"'));
    return fields;
}

QStringList rowOf(const QStringList &fields, int columnCount)
{
    QStringList row = fields.mid(0, columnCount);
    while (row.size() < columnCount)
        row.append(QString());
    return row;
}

} // namespace

bool LoadCatalogueTable(CatalogueTable &table, const QString &path, bool columnsPresent,
    bool enciphered, const LineDecipher &decipher)
{
    if (enciphered && !decipher)
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast();

    if (!columnsPresent)
        table = CatalogueTable {};
    bool header = true;
    for (QString line : lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        if (enciphered)
            line = decipher(line);
        const QStringList fields = splitFields(line);
        if (header) {
            header = false;
            if (!columnsPresent)
                table.columns = fields;
            continue;
        }
        table.rows.append(rowOf(fields, int(table.columns.size())));
    }
    return true;
}

QString GetCatalogueCell(const CatalogueTable &table, int row, const QString &caption)
{
    const int column = table.columnIndex(caption);
    if (column < 0 || row < 1 || row > table.rowCount())
        return QString();
    return table.rows.at(row - 1).value(column);
}

int FindCatalogueRow(const CatalogueTable &table, const QString &caption, const QString &value)
{
    const int column = table.columnIndex(caption);
    if (column < 0)
        return 0;
    for (int row = 0; row < table.rowCount(); ++row) {
        if (table.rows.at(row).value(column) == value)
            return row + 1;
    }
    return 0;
}

void SetCatalogueCell(CatalogueTable &table, int row, const QString &caption, const QString &value,
    bool force, bool keepPlain)
{
    const int column = table.columnIndex(caption);
    if (column < 0 || row < 1 || row > table.rowCount())
        return;
    QString &cell = table.rows[row - 1][column];
    const QString locked = QLatin1Char('#') + value;
    if (force)
        cell = keepPlain ? value : locked;
    else
        cell = cell.startsWith(QLatin1Char('#')) ? locked : value;
}

QString ListFormatKeywords(const CatalogueTable &presets, const QString &maker)
{
    QStringList keywords;
    for (int row = 1; row <= presets.rowCount(); ++row) {
        if (GetCatalogueCell(presets, row, QStringLiteral("Maker")).trimmed() != maker)
            continue;
        const QString keyword = GetCatalogueCell(presets, row, QStringLiteral("Keyword")).trimmed();
        if (!keywords.contains(keyword, Qt::CaseInsensitive))
            keywords.append(keyword);
    }
    return keywords.join(QLatin1Char('|'));
}

QList<PresetEntry> ListFormatPresets(
    const CatalogueTable &presets, const QString &maker, const QString &keyword)
{
    QList<PresetEntry> entries;
    bool customListed = false;
    for (int row = 1; row <= presets.rowCount(); ++row) {
        if (GetCatalogueCell(presets, row, QStringLiteral("Keyword")) != keyword
            || GetCatalogueCell(presets, row, QStringLiteral("Maker")) != maker)
            continue;
        const QString id = GetCatalogueCell(presets, row, QStringLiteral("ID"));
        const QString name = GetCatalogueCell(presets, row, QStringLiteral("Name"));
        if (name != CustomPresetName) {
            entries.append({ name, id });
        } else if (!customListed) {
            customListed = true;
            entries.append({ CustomPresetText, id });
        }
    }
    return entries;
}

int defaultPresetIndex(int presetCount)
{
    return presetCount >= 2 ? 1 : presetCount - 1;
}

namespace {

bool unpackAndLoad(CatalogueTable &table, const QString &resource, const QString &path)
{
    QFile::remove(path);
    if (!QFile::copy(resource, path))
        return false;
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    const bool loaded = LoadCatalogueTable(table, path, false, false);
    QFile::remove(path);
    return loaded;
}

} // namespace

bool loadBuiltInCatalogue(Catalogue &catalogue, const QString &tempFolder)
{
    initCatalogueResources();
    const QDir folder(tempFolder);
    const bool formats
        = unpackAndLoad(catalogue.formats, QStringLiteral(":/sonivert/formats/format.dat"),
            folder.filePath(QStringLiteral("format.dat")));
    const bool presets
        = unpackAndLoad(catalogue.presets, QStringLiteral(":/sonivert/formats/preset.dat"),
            folder.filePath(QStringLiteral("preset.dat")));
    return formats && presets;
}

} // namespace sonivert
