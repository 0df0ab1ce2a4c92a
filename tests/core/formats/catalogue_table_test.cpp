#include "core/formats/catalogue_table.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &content)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return QString();
    return path;
}

QStringList L(std::initializer_list<const char *> items)
{
    QStringList list;
    for (const char *item : items)
        list.append(QString::fromUtf8(item));
    return list;
}

CatalogueTable presetTable(std::initializer_list<std::initializer_list<const char *>> rows)
{
    CatalogueTable table;
    table.columns = { QStringLiteral("ID"), QStringLiteral("Name"), QStringLiteral("Maker"),
        QStringLiteral("Keyword") };
    for (const auto &row : rows)
        table.rows.append(L(row));
    return table;
}

} // namespace

class CatalogueTableTest : public QObject
{
    Q_OBJECT

private slots:
    void loaderSplitsQuotedFields()
    {
        QTemporaryDir dir;
        const QString path = writeFile(dir, QStringLiteral("t.dat"),
            "\"ID\",\"Name\",\"Rate\"\r\n"
            "\"a1\",\"First, with comma\",\"44100 Hz;48000 Hz;\"\r\n"
            "\r\n"
            "\"a3\"\r\n"
            "\"a4\",\"x\",\"y\",\"extra\"\r\n");
        CatalogueTable table;
        QVERIFY(LoadCatalogueTable(table, path, false, false));
        QCOMPARE(table.columns, L({ "ID", "Name", "Rate" }));
        QCOMPARE(table.rowCount(), 4);
        QCOMPARE(GetCatalogueCell(table, 1, QStringLiteral("Name")),
            QStringLiteral("First, with comma"));
        QCOMPARE(GetCatalogueCell(table, 1, QStringLiteral("rate")),
            QStringLiteral("44100 Hz;48000 Hz;"));
        // A blank line is a row of empty cells; a short line leaves the rest empty.
        QCOMPARE(table.rows.at(1), L({ "", "", "" }));
        QCOMPARE(GetCatalogueCell(table, 3, QStringLiteral("ID")), QStringLiteral("a3"));
        QCOMPARE(GetCatalogueCell(table, 3, QStringLiteral("Rate")), QString());
        QCOMPARE(table.rows.at(3), L({ "a4", "x", "y" }));
    }

    void loaderAcceptsPlainLineFeeds()
    {
        QTemporaryDir dir;
        const QString path
            = writeFile(dir, QStringLiteral("t.dat"), "\"ID\",\"Name\"\n\"a\",\"b\"\n\"c\",\"d\"");
        CatalogueTable table;
        QVERIFY(LoadCatalogueTable(table, path, false, false));
        QCOMPARE(table.rowCount(), 2);
        QCOMPARE(GetCatalogueCell(table, 2, QStringLiteral("Name")), QStringLiteral("d"));
    }

    void columnsPresentSkipsHeaderAndAppends()
    {
        QTemporaryDir dir;
        const QString first
            = writeFile(dir, QStringLiteral("1.dat"), "\"ID\",\"Name\"\r\n\"a\",\"A\"\r\n");
        const QString second
            = writeFile(dir, QStringLiteral("2.dat"), "\"Other\",\"Header\"\r\n\"b\",\"B\"\r\n");
        CatalogueTable table;
        QVERIFY(LoadCatalogueTable(table, first, false, false));
        QVERIFY(LoadCatalogueTable(table, second, true, false));
        QCOMPARE(table.columns, L({ "ID", "Name" }));
        QCOMPARE(table.rowCount(), 2);
        QCOMPARE(FindCatalogueRow(table, QStringLiteral("ID"), QStringLiteral("b")), 2);
        // Without the flag the table starts over.
        QVERIFY(LoadCatalogueTable(table, second, false, false));
        QCOMPARE(table.columns, L({ "Other", "Header" }));
        QCOMPARE(table.rowCount(), 1);
    }

    void encipheredLinesGoThroughDecipher()
    {
        QTemporaryDir dir;
        // Hexadecimal stands in for the cipher: each line is deciphered before it is split.
        const QByteArray header = QByteArray("\"ID\",\"Name\"").toHex().toUpper();
        const QByteArray row = QByteArray("\"p\",\"Preset\"").toHex().toUpper();
        const QString path
            = writeFile(dir, QStringLiteral("e.dat"), header + "\r\n" + row + "\r\n");
        const LineDecipher fromHex = [](const QString &line) {
            return QString::fromLatin1(QByteArray::fromHex(line.toLatin1()));
        };
        CatalogueTable table;
        QVERIFY(!LoadCatalogueTable(table, path, false, true));
        QVERIFY(LoadCatalogueTable(table, path, false, true, fromHex));
        QCOMPARE(GetCatalogueCell(table, 1, QStringLiteral("Name")), QStringLiteral("Preset"));
    }

    void missingFileFails()
    {
        CatalogueTable table;
        table.columns = { QStringLiteral("Kept") };
        QVERIFY(
            !LoadCatalogueTable(table, QStringLiteral("/nonexistent/format.dat"), false, false));
        QCOMPARE(table.columns, L({ "Kept" }));
    }

    void captionsIgnoreCaseAndLastDuplicateWins()
    {
        CatalogueTable table;
        table.columns = { QStringLiteral("ID"), QStringLiteral("Rate"), QStringLiteral("RATE") };
        table.rows = { L({ "a", "first", "last" }) };
        QCOMPARE(GetCatalogueCell(table, 1, QStringLiteral("rate")), QStringLiteral("last"));
        QCOMPARE(GetCatalogueCell(table, 1, QStringLiteral("Unknown")), QString());
        QCOMPARE(GetCatalogueCell(table, 0, QStringLiteral("ID")), QString());
        QCOMPARE(GetCatalogueCell(table, 2, QStringLiteral("ID")), QString());
        SetCatalogueCell(table, 1, QStringLiteral("Rate"), QStringLiteral("new"), true, true);
        QCOMPARE(table.rows.at(0), L({ "a", "first", "new" }));
        // Unknown captions and rows are ignored on writing.
        SetCatalogueCell(table, 1, QStringLiteral("Unknown"), QStringLiteral("x"), true, true);
        SetCatalogueCell(table, 5, QStringLiteral("ID"), QStringLiteral("x"), true, true);
        QCOMPARE(table.rows.at(0), L({ "a", "first", "new" }));
    }

    void findRowIsExact()
    {
        const CatalogueTable table = presetTable({ { "MP3-A", "A", "AudioFormat", "MP3" },
            { "mp3-a", "B", "AudioFormat", "MP3" }, { "MP3-A", "C", "AudioFormat", "MP3" } });
        QCOMPARE(FindCatalogueRow(table, QStringLiteral("ID"), QStringLiteral("mp3-a")), 2);
        QCOMPARE(FindCatalogueRow(table, QStringLiteral("ID"), QStringLiteral("MP3-A")), 1);
        QCOMPARE(FindCatalogueRow(table, QStringLiteral("ID"), QStringLiteral("none")), 0);
        QCOMPARE(FindCatalogueRow(table, QStringLiteral("Nope"), QStringLiteral("A")), 0);
    }

    void setCellKeepsOrForcesTheLock()
    {
        CatalogueTable table;
        table.columns = { QStringLiteral("Locked"), QStringLiteral("Plain") };
        table.rows = { L({ "#2", "2" }) };
        SetCatalogueCell(table, 1, QStringLiteral("Locked"), QStringLiteral("5"), false, false);
        SetCatalogueCell(table, 1, QStringLiteral("Plain"), QStringLiteral("5"), false, false);
        QCOMPARE(table.rows.at(0), L({ "#5", "5" }));
        SetCatalogueCell(table, 1, QStringLiteral("Plain"), QStringLiteral("6"), true, false);
        SetCatalogueCell(table, 1, QStringLiteral("Locked"), QStringLiteral("6"), true, true);
        QCOMPARE(table.rows.at(0), L({ "6", "#6" }));
    }

    void keywordsDistinctInFirstOrder()
    {
        const CatalogueTable table = presetTable(
            { { "1", "a", "AudioFormat", " MP3 " }, { "2", "b", "DeviceFormat", "AVI" },
                { "3", "c", "AudioFormat", "WAV" }, { "4", "d", " AudioFormat", "mp3" },
                { "5", "e", "AudioFormat", "FLAC" }, { "6", "f", "AudioFormat", "Wav" } });
        QCOMPARE(ListFormatKeywords(table, QStringLiteral("AudioFormat")),
            QStringLiteral("MP3|WAV|FLAC"));
        QCOMPARE(ListFormatKeywords(table, QStringLiteral("DeviceFormat")), QStringLiteral("AVI"));
        QCOMPARE(ListFormatKeywords(table, QStringLiteral("Nobody")), QString());
    }

    void presetsListCustomOnce()
    {
        const CatalogueTable table = presetTable({ { "c1", "[%Custom%]", "AudioFormat", "MP3" },
            { "p1", "High", "AudioFormat", "MP3" }, { "x1", "Other maker", "DeviceFormat", "MP3" },
            { "c2", "[%Custom%]", "AudioFormat", "MP3" }, { "p2", "Low", "AudioFormat", "MP3" },
            { "w1", "Wave", "AudioFormat", "WAV" }, { "p3", "Spaced", "AudioFormat", "MP3 " } });
        const QList<PresetEntry> presets
            = ListFormatPresets(table, QStringLiteral("AudioFormat"), QStringLiteral("MP3"));
        QCOMPARE(presets.size(), 3);
        QCOMPARE(presets.at(0).text, QStringLiteral("[Custom]"));
        QCOMPARE(presets.at(0).id, QStringLiteral("c1"));
        QCOMPARE(presets.at(1).id, QStringLiteral("p1"));
        QCOMPARE(presets.at(2).text, QStringLiteral("Low"));
    }

    void defaultPresetIndexCases()
    {
        QCOMPARE(defaultPresetIndex(5), 1);
        QCOMPARE(defaultPresetIndex(2), 1);
        QCOMPARE(defaultPresetIndex(1), 0);
        QCOMPARE(defaultPresetIndex(0), -1);
    }

    void builtInCatalogueUnpacksAndCleansUp()
    {
        QTemporaryDir dir;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, dir.path()));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("format.dat"))));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("preset.dat"))));
        QVERIFY(catalogue.formats.rowCount() > 10);
        QVERIFY(catalogue.presets.rowCount() > 30);
        for (const char *caption : { "ID", "Name", "Maker", "Keyword", "Thumbnail", "Type", "Image",
                 "Format", "VideoCodec", "AudioCodec", "Width", "Height", "FPS", "QualityLevel",
                 "VideoBitrate", "FileExtention", "AspectRatio", "SampleRate", "Channels",
                 "AudioSize", "AudioBitrate", "Removable" })
            QVERIFY2(catalogue.presets.columnIndex(QLatin1String(caption)) >= 0, caption);
        for (const char *caption : { "Format", "VideoCodec", "AudioCodec", "FileExtention", "FPS",
                 "AspectRatio", "FrameSize", "SampleRate", "Channels", "AudioSize", "MaxWidth",
                 "MaxHeight", "MaxVideoBitrate" })
            QVERIFY2(catalogue.formats.columnIndex(QLatin1String(caption)) >= 0, caption);
        // IDs are unique keys.
        QSet<QString> ids;
        for (int row = 1; row <= catalogue.presets.rowCount(); ++row)
            ids.insert(GetCatalogueCell(catalogue.presets, row, QStringLiteral("ID")));
        QCOMPARE(ids.size(), catalogue.presets.rowCount());
        // A stale file of an earlier run does not stop the unpacking.
        QFile stale(dir.filePath(QStringLiteral("format.dat")));
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        QVERIFY(loadBuiltInCatalogue(catalogue, dir.path()));
        QVERIFY(!loadBuiltInCatalogue(catalogue, dir.filePath(QStringLiteral("missing"))));
    }

    void builtInFamiliesHaveCustomFirst()
    {
        QTemporaryDir dir;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, dir.path()));
        const QStringList keywords
            = ListFormatKeywords(catalogue.presets, OfferedMaker).split(QLatin1Char('|'));
        QVERIFY(keywords.size() >= 11);
        for (const QString &keyword : keywords) {
            const QList<PresetEntry> presets
                = ListFormatPresets(catalogue.presets, OfferedMaker, keyword);
            if (keyword == QLatin1String("Original audio (no re-encoding)")) {
                // A copy has nothing to adjust: one fixed preset.
                QCOMPARE(presets.size(), 1);
                QVERIFY(presets.first().text != CustomPresetText);
                continue;
            }
            QVERIFY2(presets.size() >= 3, qPrintable(keyword));
            QCOMPARE(presets.first().text, CustomPresetText);
        }
    }
};

QTEST_GUILESS_MAIN(CatalogueTableTest)
#include "catalogue_table_test.moc"
