#include "gui/ui/list_icons.h"
#include "gui/ui/skin.h"

#include <QPainter>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

const QString kBuiltStrip = QStringLiteral(SONIVERT_BIN_DIR "/Skin/Light/") + kListIconsFile;
constexpr QRgb kMagenta = 0xffff00ff;

QColor cellColour(int index)
{
    return QColor(20 + index * 15, 200 - index * 10, 90);
}

// A strip of cells in distinct colours, each with a magenta top-left corner.
QString writeStrip(const QTemporaryDir &dir, int cells, int size)
{
    QImage strip(cells * size, size, QImage::Format_RGB32);
    for (int i = 0; i < cells; ++i) {
        QPainter painter(&strip);
        painter.fillRect(i * size, 0, size, size, cellColour(i));
        painter.fillRect(i * size, 0, 2, 2, QColor::fromRgb(kMagenta));
    }
    const QString path = dir.filePath(QStringLiteral("strip.bmp"));
    return strip.save(path, "BMP") ? path : QString();
}

} // namespace

class ListIconsTest : public QObject
{
    Q_OBJECT

private slots:
    void builtStripGivesFourteenDistinctIcons()
    {
        ListIcons icons;
        QVERIFY2(icons.load(kBuiltStrip), qPrintable(kBuiltStrip));

        QSet<QByteArray> seen;
        for (int id = 1; id <= ListIcons::Count; ++id) {
            const QImage icon = icons.icon(id).toImage().convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(icon.size(), QSize(16, 16));
            // The key colour has become transparency; nothing magenta is left to show.
            QCOMPARE(qAlpha(icon.pixel(0, 0)), 0);
            for (int y = 0; y < icon.height(); ++y) {
                for (int x = 0; x < icon.width(); ++x)
                    QVERIFY(icon.pixel(x, y) != kMagenta);
            }
            const QByteArray bytes(
                reinterpret_cast<const char *>(icon.constBits()), icon.sizeInBytes());
            QVERIFY2(!seen.contains(bytes), qPrintable(QString::number(id)));
            seen.insert(bytes);
        }
        QVERIFY(icons.icon(ListIcons::None).isNull());
        QVERIFY(icons.icon(ListIcons::Count + 1).isNull());
    }

    void cellsAreCutInOrder()
    {
        QTemporaryDir dir;
        const QString path = writeStrip(dir, ListIcons::Count, 8);
        ListIcons icons;
        QVERIFY(icons.load(path));
        for (int id = 1; id <= ListIcons::Count; ++id) {
            const QImage icon = icons.icon(id).toImage().convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(icon.size(), QSize(8, 8));
            QCOMPARE(icon.pixelColor(5, 5), cellColour(id - 1));
            QCOMPARE(qAlpha(icon.pixel(1, 1)), 0);
            QCOMPARE(qAlpha(icon.pixel(2, 2)), 255);
        }
    }

    void unreadableStripHoldsNoIcons()
    {
        QTemporaryDir dir;
        ListIcons icons;
        QVERIFY(icons.load(writeStrip(dir, ListIcons::Count, 4)));
        QVERIFY(icons.isLoaded());

        QVERIFY(!icons.load(dir.filePath(QStringLiteral("missing.bmp"))));
        QVERIFY(!icons.isLoaded());
        QVERIFY(icons.icon(ListIcons::Done).isNull());

        // Narrower than one pixel per icon.
        QImage narrow(ListIcons::Count - 1, 4, QImage::Format_RGB32);
        narrow.fill(Qt::white);
        const QString narrowPath = dir.filePath(QStringLiteral("narrow.bmp"));
        QVERIFY(narrow.save(narrowPath, "BMP"));
        QVERIFY(!icons.load(narrowPath));
        QVERIFY(icons.icon(1).isNull());
    }
};

QTEST_MAIN(ListIconsTest)
#include "list_icons_test.moc"
