#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

namespace sonivert {

// One of the two catalogue tables: columns addressed by caption (without regard to case, the last
// of equal captions wins), rows numbered from 1, every cell a text.
struct CatalogueTable
{
    QStringList columns;
    QList<QStringList> rows;

    int rowCount() const { return int(rows.size()); }
    int columnIndex(const QString &caption) const; // -1 when no column bears the caption
};

// The format table ("format.dat") and the preset table ("preset.dat").
struct Catalogue
{
    CatalogueTable formats;
    CatalogueTable presets;
};

// The catalogue the program runs with, loaded once at start.
Catalogue &appCatalogue();

using LineDecipher = std::function<QString(const QString &line)>;

// Reads a catalogue file of lines of quoted fields separated by commas. Without columnsPresent
// the table is emptied and the first line makes the columns; with it the first line is skipped
// and rows are appended. Enciphered lines go through decipher first (no decipher: nothing is
// read). False when the file cannot be read.
bool LoadCatalogueTable(CatalogueTable &table, const QString &path, bool columnsPresent,
    bool enciphered, const LineDecipher &decipher = {});

QString GetCatalogueCell(const CatalogueTable &table, int row, const QString &caption);
int FindCatalogueRow(const CatalogueTable &table, const QString &caption, const QString &value);

// force: the cell becomes value ("#" + value unless keepPlain). Otherwise the cell's lock mark
// stays: a locked cell becomes "#" + value.
void SetCatalogueCell(CatalogueTable &table, int row, const QString &caption, const QString &value,
    bool force, bool keepPlain);

// The distinct keywords of a maker's rows in order of first appearance, joined with "|".
QString ListFormatKeywords(const CatalogueTable &presets, const QString &maker);

struct PresetEntry
{
    QString text; // the name, or "[Custom]" for the adjustable preset
    QString id;
};

inline const QString CustomPresetName = QStringLiteral("[%Custom%]");
inline const QString CustomPresetText = QStringLiteral("[Custom]");
inline const QString OfferedMaker = QStringLiteral("AudioFormat");

QList<PresetEntry> ListFormatPresets(
    const CatalogueTable &presets, const QString &maker, const QString &keyword);

// The preset a freshly filled list selects: the second entry, or the last when there are fewer.
int defaultPresetIndex(int presetCount);

// Writes the catalogue stored in the program to "format.dat" and "preset.dat" in tempFolder,
// loads both and deletes the files again. False when either table could not be loaded.
bool loadBuiltInCatalogue(Catalogue &catalogue, const QString &tempFolder);

} // namespace sonivert
