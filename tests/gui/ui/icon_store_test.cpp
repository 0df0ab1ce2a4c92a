#include "gui/ui/icon_store.h"

#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

QString writeSquare(const QTemporaryDir &dir, const QString &name, int size, const QColor &colour)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    const QString path = dir.filePath(name);
    return image.save(path) ? path : QString();
}

QColor centre(const QPixmap &pixmap)
{
    const QImage image = pixmap.toImage();
    return image.pixelColor(image.width() / 2, image.height() / 2);
}

} // namespace

class IconStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { IconStore::reset(); }

    void failedLoadEmptiesTheNumber()
    {
        QTemporaryDir dir;
        const QString red = writeSquare(dir, QStringLiteral("red.png"), 8, Qt::red);
        QVERIFY(IconStore::load(red, 5));
        QCOMPARE(centre(IconStore::pixmap(5)), QColor(Qt::red));

        QVERIFY(!IconStore::load(dir.filePath(QStringLiteral("missing.png")), 5));
        QVERIFY(IconStore::get(5).isNull());
        QVERIFY(IconStore::pixmap(5).isNull());
        QVERIFY(!IconStore::load(QString(), 6));
    }

    void numbersAreIndependentAndResetForgetsAll()
    {
        QTemporaryDir dir;
        QVERIFY(IconStore::load(writeSquare(dir, QStringLiteral("a.png"), 8, Qt::red), 1));
        QVERIFY(IconStore::load(writeSquare(dir, QStringLiteral("b.png"), 8, Qt::blue), 2));
        QCOMPARE(centre(IconStore::pixmap(1)), QColor(Qt::red));
        QCOMPARE(centre(IconStore::pixmap(2)), QColor(Qt::blue));

        IconStore::reset();
        QVERIFY(IconStore::pixmap(1).isNull());
        QVERIFY(IconStore::get(2).isNull());
    }

    void denseScreensGetTheDoubleSizeSibling()
    {
        QTemporaryDir dir;
        const QString plain = writeSquare(dir, QStringLiteral("pic.png"), 10, Qt::red);
        writeSquare(dir, QStringLiteral("pic@2x.png"), 20, Qt::blue);
        QVERIFY(IconStore::load(plain, 3));

        QCOMPARE(IconStore::pixmap(3).size(), QSize(10, 10));
        QCOMPARE(centre(IconStore::get(3).pixmap(QSize(10, 10), 1.0)), QColor(Qt::red));
        const QPixmap sharp = IconStore::get(3).pixmap(QSize(10, 10), 2.0);
        QCOMPARE(sharp.size(), QSize(20, 20));
        QCOMPARE(centre(sharp), QColor(Qt::blue));
    }

    void siblingOfTheWrongSizeIsIgnored()
    {
        QTemporaryDir dir;
        const QString plain = writeSquare(dir, QStringLiteral("pic.png"), 10, Qt::red);
        writeSquare(dir, QStringLiteral("pic@2x.png"), 12, Qt::blue);
        QVERIFY(IconStore::load(plain, 4));
        QCOMPARE(centre(IconStore::get(4).pixmap(QSize(10, 10), 2.0)), QColor(Qt::red));
    }
};

QTEST_MAIN(IconStoreTest)
#include "icon_store_test.moc"
