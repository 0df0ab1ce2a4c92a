#include "gui/ui/icon_store.h"
#include "gui/ui/skin.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QSet>
#include <QTest>
#include <QVBoxLayout>
#include <memory>

using namespace sonivert;

namespace {

const QString kSkinFolder = QStringLiteral(SONIVERT_BIN_DIR "/Skin/");

struct Expected
{
    int number;
    const char *file;
};

// The picture set as the program promises it to the windows that fetch pictures by number.
const Expected kImageSet[] = {
    { 1, "img_snv_addfile.png" },
    { 2, "img_snv_removefile.png" },
    { 3, "img_snv_clearall.png" },
    { 4, "img_snv_browse.png" },
    { 5, "img_snv_convert.png" },
    { 6, "img_snv_stop.png" },
    { 7, "img_snv_pause.png" },
    { 9, "img_snv_warning.png" },
    { 10, "img_snv_cancel.png" },
    { 11, "img_snv_analyzer.png" },
    { 14, "img_snv_completed.png" },
    { 18, "img_snv_trim.png" },
    { 21, "img_snv_trim_left_small.png" },
    { 22, "img_snv_trim_right_small.png" },
    { 23, "img_snv_trim_play_selected.png" },
    { 24, "img_snv_resume.png" },
    { 25, "img_snv_setting.png" },
    { 26, "img_snv_orange_check.png" },
    { 27, "img_snv_drm_lock.png" },
    { 28, "img_snv_player_play.png" },
    { 29, "img_snv_player_pause.png" },
    { 30, "img_snv_player_stop.png" },
    { 31, "img_snv_player_vol_on.png" },
    { 32, "img_snv_player_vol_off.png" },
};

QString imagePath(const char *file)
{
    return kSkinFolder + QStringLiteral("Light/") + QLatin1String(file);
}

QImage normalised(const QImage &image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage fileImage(const char *file)
{
    return normalised(QImage(imagePath(file)));
}

// A stand-in for the main window: only the button array matters here.
std::unique_ptr<QWidget> makeMainWindow()
{
    auto window = std::make_unique<QWidget>();
    auto *layout = new QVBoxLayout(window.get());
    for (int i = 0; i <= 8; ++i) {
        auto *button = new QPushButton(QStringLiteral("Button %1").arg(i), window.get());
        button->setObjectName(QStringLiteral("Cmd_FileListView_") + QString::number(i));
        layout->addWidget(button);
    }
    return window;
}

QAbstractButton *listButton(QWidget *window, int index)
{
    return window->findChild<QAbstractButton *>(
        QStringLiteral("Cmd_FileListView_") + QString::number(index));
}

QImage ButtonPicture(QAbstractButton *button, const QSize &size)
{
    return normalised(button->icon().pixmap(size, 1.0).toImage());
}

bool hasTransparentAndOpaquePixels(const QImage &image)
{
    bool transparent = false;
    bool opaque = false;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int alpha = qAlpha(image.pixel(x, y));
            transparent = transparent || alpha == 0;
            opaque = opaque || alpha == 255;
        }
    }
    return transparent && opaque;
}

} // namespace

class SkinTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(kSkinFolder + QStringLiteral("Light")).isDir(),
            "the build renders the skin into bin/Skin/Light");
    }

    void cleanup() { unloadSkin(); }

    void everyNumberedPictureIsTheFileBehindIt()
    {
        auto window = makeMainWindow();
        QVERIFY(LoadSkinAndImages(window.get(), kSkinFolder));
        QCOMPARE(skinImageFolder(), kSkinFolder + QStringLiteral("Light/"));

        for (const Expected &expected : kImageSet) {
            const QString path = imagePath(expected.file);
            QVERIFY2(QFileInfo::exists(path), qPrintable(path));
            const QImage file = fileImage(expected.file);
            QVERIFY2(!file.isNull(), qPrintable(path));
            const QPixmap stored = IconStore::pixmap(expected.number);
            QVERIFY2(!stored.isNull(), expected.file);
            QVERIFY2(!IconStore::get(expected.number).isNull(), expected.file);
            QCOMPARE(normalised(stored.toImage()), file);
        }
        // The names the windows use reach the same pictures.
        QCOMPARE(normalised(IconStore::pixmap(SkinImage::PlayerPlay).toImage()),
            fileImage("img_snv_player_play.png"));
    }

    void picturesAreDrawnAndDistinct()
    {
        QSet<QByteArray> seen;
        for (const Expected &expected : kImageSet) {
            const QImage image = fileImage(expected.file);
            // A drawing QtSvg could not render comes out blank or as a filled square.
            QVERIFY2(hasTransparentAndOpaquePixels(image), expected.file);
            const QByteArray bytes(
                reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
            QVERIFY2(!seen.contains(bytes), expected.file);
            seen.insert(bytes);
        }
    }

    void highDensityVariantsArePresent()
    {
        for (const Expected &expected : kImageSet) {
            const QString base = QFileInfo(imagePath(expected.file)).completeBaseName();
            const QImage sharp(
                kSkinFolder + QStringLiteral("Light/") + base + QStringLiteral("@2x.png"));
            QCOMPARE(sharp.size(), fileImage(expected.file).size() * 2);
        }
    }

    void unlistedNumbersHoldNothing()
    {
        QVERIFY(LoadSkinAndImages(nullptr, kSkinFolder));
        for (int number : { 0, 8, 12, 13, 15, 16, 17, 19, 20, 33, 200 }) {
            QVERIFY2(IconStore::get(number).isNull(), qPrintable(QString::number(number)));
            QVERIFY(IconStore::pixmap(number).isNull());
        }
    }

    void buttonsGetTheirPictures_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("file");
        QTest::newRow("add files") << 0 << QStringLiteral("img_snv_addfile.png");
        QTest::newRow("remove") << 1 << QStringLiteral("img_snv_removefile.png");
        QTest::newRow("clear list") << 2 << QStringLiteral("img_snv_clearall.png");
        QTest::newRow("convert") << 3 << QStringLiteral("img_snv_convert.png");
        QTest::newRow("stop") << 4 << QStringLiteral("img_snv_stop.png");
        QTest::newRow("open folder") << 5 << QStringLiteral("img_snv_browse.png");
        QTest::newRow("setting") << 6 << QStringLiteral("img_snv_setting.png");
        QTest::newRow("folder chooser has none") << 7 << QString();
        QTest::newRow("trim") << 8 << QStringLiteral("img_snv_trim.png");
    }

    void buttonsGetTheirPictures()
    {
        QFETCH(int, button);
        QFETCH(QString, file);
        auto window = makeMainWindow();
        QVERIFY(LoadSkinAndImages(window.get(), kSkinFolder));

        QAbstractButton *target = listButton(window.get(), button);
        QCOMPARE(target->icon().isNull(), file.isEmpty());
        if (file.isEmpty())
            return;
        const QImage expected = fileImage(file.toLatin1().constData());
        QCOMPARE(target->iconSize(), expected.size());
        QCOMPARE(ButtonPicture(target, expected.size()), expected);
    }

    void missingFolderLeavesButtonsBare()
    {
        auto window = makeMainWindow();
        QVERIFY(LoadSkinAndImages(window.get(), kSkinFolder));
        QVERIFY(!listButton(window.get(), 0)->icon().isNull());

        const QString missing = QDir::tempPath() + QStringLiteral("/no-such-skin/");
        QVERIFY(LoadSkinAndImages(window.get(), missing));
        QCOMPARE(skinImageFolder(), missing + QStringLiteral("Light/"));
        for (int i = 0; i <= 8; ++i)
            QVERIFY2(listButton(window.get(), i)->icon().isNull(), qPrintable(QString::number(i)));
        for (const Expected &expected : kImageSet)
            QVERIFY(IconStore::get(expected.number).isNull());
    }

    void windowWithoutTheButtonArrayIsLeftAlone()
    {
        QWidget bare;
        auto *other = new QPushButton(QStringLiteral("Other"), &bare);
        QVERIFY(LoadSkinAndImages(&bare, kSkinFolder));
        QVERIFY(other->icon().isNull());
        QVERIFY(!IconStore::get(SkinImage::AddFile).isNull());
    }

    void folderWithoutTrailingSlashIsAccepted()
    {
        QString folder = kSkinFolder;
        folder.chop(1);
        QVERIFY(LoadSkinAndImages(nullptr, folder));
        QCOMPARE(skinImageFolder(), kSkinFolder + QStringLiteral("Light/"));
        QVERIFY(!IconStore::get(SkinImage::PlayerPlay).isNull());
    }

    void lookMarksThePrimaryButton()
    {
        auto window = makeMainWindow();
        QVERIFY(LoadSkinAndImages(window.get(), kSkinFolder));
        // Light whatever the desktop's own colour scheme.
        QVERIFY(QApplication::palette().color(QPalette::Window).lightness() > 230);
        QVERIFY(QApplication::palette().color(QPalette::WindowText).lightness() < 60);
        window->resize(240, 400);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));

        // Sample beside the label, where only the button's background shows.
        const auto background = [&](int index) {
            QAbstractButton *button = listButton(window.get(), index);
            const QImage image = button->grab().toImage();
            return QColor(image.pixel(image.width() - 6, image.height() / 2));
        };
        const QColor primary = background(3);
        const QColor plain = background(0);
        QVERIFY2(primary.blue() > 180 && primary.red() < 100, qPrintable(primary.name()));
        QVERIFY2(plain.red() > 220 && plain.green() > 220 && plain.blue() > 220,
            qPrintable(plain.name()));

        unloadSkin();
        QVERIFY(qApp->styleSheet().isEmpty());
        QVERIFY(IconStore::get(SkinImage::AddFile).isNull());
    }

    void tipAndDropPicturesHaveTheirSizes()
    {
        QCOMPARE(QImage(kSkinFolder + QStringLiteral("Light/") + kGettingStartedTipFile).size(),
            QSize(360, 112));
        const QImage drop(kSkinFolder + QStringLiteral("Light/") + kDragDropFile);
        QVERIFY(!drop.isNull());
        QVERIFY(hasTransparentAndOpaquePixels(normalised(drop)));
    }
};

QTEST_MAIN(SkinTest)
#include "skin_test.moc"
