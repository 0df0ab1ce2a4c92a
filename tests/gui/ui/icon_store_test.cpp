#include "gui/ui/icon_store.h"

#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

namespace {

QString WriteSquare(const QTemporaryDir &dir, const QString &name, int size, const QColor &colour)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    const QString path = dir.filePath(name);
    return image.save(path) ? path : QString();
}

QColor Centre(const QPixmap &pixmap)
{
    const QImage image = pixmap.toImage();
    return image.pixelColor(image.width() / 2, image.height() / 2);
}

} // namespace

class IconStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { IconStore::Reset(); }

    void failedLoadEmptiesTheNumber()
    {
        QTemporaryDir dir;
        const QString red = WriteSquare(dir, QStringLiteral("red.png"), 8, Qt::red);
        QVERIFY(IconStore::Load(red, 5));
        QCOMPARE(Centre(IconStore::Pixmap(5)), QColor(Qt::red));

        QVERIFY(!IconStore::Load(dir.filePath(QStringLiteral("missing.png")), 5));
        QVERIFY(IconStore::Get(5).isNull());
        QVERIFY(IconStore::Pixmap(5).isNull());
        QVERIFY(!IconStore::Load(QString(), 6));
    }

    void numbersAreIndependentAndResetForgetsAll()
    {
        QTemporaryDir dir;
        QVERIFY(IconStore::Load(WriteSquare(dir, QStringLiteral("a.png"), 8, Qt::red), 1));
        QVERIFY(IconStore::Load(WriteSquare(dir, QStringLiteral("b.png"), 8, Qt::blue), 2));
        QCOMPARE(Centre(IconStore::Pixmap(1)), QColor(Qt::red));
        QCOMPARE(Centre(IconStore::Pixmap(2)), QColor(Qt::blue));

        IconStore::Reset();
        QVERIFY(IconStore::Pixmap(1).isNull());
        QVERIFY(IconStore::Get(2).isNull());
    }

    void denseScreensGetTheDoubleSizeSibling()
    {
        QTemporaryDir dir;
        const QString plain = WriteSquare(dir, QStringLiteral("pic.png"), 10, Qt::red);
        WriteSquare(dir, QStringLiteral("pic@2x.png"), 20, Qt::blue);
        QVERIFY(IconStore::Load(plain, 3));

        QCOMPARE(IconStore::Pixmap(3).size(), QSize(10, 10));
        QCOMPARE(Centre(IconStore::Get(3).pixmap(QSize(10, 10), 1.0)), QColor(Qt::red));
        const QPixmap sharp = IconStore::Get(3).pixmap(QSize(10, 10), 2.0);
        QCOMPARE(sharp.size(), QSize(20, 20));
        QCOMPARE(Centre(sharp), QColor(Qt::blue));
    }

    void siblingOfTheWrongSizeIsIgnored()
    {
        QTemporaryDir dir;
        const QString plain = WriteSquare(dir, QStringLiteral("pic.png"), 10, Qt::red);
        WriteSquare(dir, QStringLiteral("pic@2x.png"), 12, Qt::blue);
        QVERIFY(IconStore::Load(plain, 4));
        QCOMPARE(Centre(IconStore::Get(4).pixmap(QSize(10, 10), 2.0)), QColor(Qt::red));
    }
};

QTEST_MAIN(IconStoreTest)
#include "icon_store_test.moc"
