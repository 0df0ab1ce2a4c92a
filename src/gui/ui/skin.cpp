#include "gui/ui/skin.h"

#include "gui/ui/icon_store.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QPalette>
#include <QWidget>

// The style sheet is compiled into the static GUI library, whose resource object the linker would
// drop unless something refers to it.
static void initSkinResources()
{
    Q_INIT_RESOURCE(sonivert_skin);
}

namespace sonivert {

namespace {

struct SkinPicture
{
    int number;
    QLatin1String file;
};

// In the order they are loaded.
constexpr SkinPicture kPictures[] = {
    { SkinImage::AddFile, QLatin1String("img_snv_addfile.png") },
    { SkinImage::RemoveFile, QLatin1String("img_snv_removefile.png") },
    { SkinImage::Convert, QLatin1String("img_snv_convert.png") },
    { SkinImage::Stop, QLatin1String("img_snv_stop.png") },
    { SkinImage::Pause, QLatin1String("img_snv_pause.png") },
    { SkinImage::Resume, QLatin1String("img_snv_resume.png") },
    { SkinImage::ClearAll, QLatin1String("img_snv_clearall.png") },
    { SkinImage::Browse, QLatin1String("img_snv_browse.png") },
    { SkinImage::Warning, QLatin1String("img_snv_warning.png") },
    { SkinImage::Cancel, QLatin1String("img_snv_cancel.png") },
    { SkinImage::Analyzer, QLatin1String("img_snv_analyzer.png") },
    { SkinImage::Completed, QLatin1String("img_snv_completed.png") },
    { SkinImage::PlayerPlay, QLatin1String("img_snv_player_play.png") },
    { SkinImage::PlayerStop, QLatin1String("img_snv_player_stop.png") },
    { SkinImage::PlayerPause, QLatin1String("img_snv_player_pause.png") },
    { SkinImage::PlayerVolumeOn, QLatin1String("img_snv_player_vol_on.png") },
    { SkinImage::PlayerVolumeOff, QLatin1String("img_snv_player_vol_off.png") },
    { SkinImage::Trim, QLatin1String("img_snv_trim.png") },
    { SkinImage::TrimLeftSmall, QLatin1String("img_snv_trim_left_small.png") },
    { SkinImage::TrimRightSmall, QLatin1String("img_snv_trim_right_small.png") },
    { SkinImage::TrimPlaySelected, QLatin1String("img_snv_trim_play_selected.png") },
    { SkinImage::Setting, QLatin1String("img_snv_setting.png") },
    { SkinImage::OrangeCheck, QLatin1String("img_snv_orange_check.png") },
    { SkinImage::DrmLock, QLatin1String("img_snv_drm_lock.png") },
};

struct ButtonPicture
{
    int button;
    int number;
};

// Button 7 ("...") has no picture.
constexpr ButtonPicture kButtonPictures[] = {
    { 0, SkinImage::AddFile },
    { 1, SkinImage::RemoveFile },
    { 2, SkinImage::ClearAll },
    { 3, SkinImage::Convert },
    { 4, SkinImage::Stop },
    { 5, SkinImage::Browse },
    { 6, SkinImage::Setting },
    { 8, SkinImage::Trim },
};

QString &imageFolder()
{
    static QString folder;
    return folder;
}

QPalette lightPalette()
{
    const QColor text(0x1f, 0x29, 0x33);
    const QColor muted(0x9a, 0xa3, 0xad);
    const QColor accent(0x25, 0x63, 0xeb);

    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0xf5, 0xf7, 0xfa));
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::AlternateBase, QColor(0xf7, 0xf9, 0xfc));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x94, 0xa3));
    palette.setColor(QPalette::Button, Qt::white);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::LinkVisited, QColor(0x1d, 0x4e, 0xd8));
    palette.setColor(QPalette::ToolTipBase, Qt::white);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Light, Qt::white);
    palette.setColor(QPalette::Midlight, QColor(0xe3, 0xe7, 0xec));
    palette.setColor(QPalette::Mid, QColor(0xc9, 0xce, 0xd6));
    palette.setColor(QPalette::Dark, QColor(0x9a, 0xa3, 0xad));
    palette.setColor(QPalette::Shadow, QColor(0x64, 0x6e, 0x7a));
    for (const auto role : { QPalette::WindowText, QPalette::Text, QPalette::ButtonText }) {
        palette.setColor(QPalette::Disabled, role, muted);
    }
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0xc9, 0xce, 0xd6));
    return palette;
}

QString lightStyleSheet(const QString &imageFolder)
{
    initSkinResources();
    QFile file(QStringLiteral(":/sonivert/skin/light.qss"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).replace(QStringLiteral("@SKIN_IMAGES@"), imageFolder);
}

void applyLightLook(const QString &imageFolder)
{
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(lightPalette());
    qApp->setStyleSheet(lightStyleSheet(imageFolder));
}

void loadPictures(const QString &folder)
{
    IconStore::reset();
    for (const SkinPicture &picture : kPictures)
        IconStore::load(folder + picture.file, picture.number);
}

void decorateButtons(QWidget *mainWindow)
{
    for (const ButtonPicture &entry : kButtonPictures) {
        auto *button = mainWindow->findChild<QAbstractButton *>(
            QStringLiteral("Cmd_FileListView_") + QString::number(entry.button));
        if (!button)
            continue;
        button->setIcon(IconStore::get(entry.number));
        const QPixmap pixmap = IconStore::pixmap(entry.number);
        if (!pixmap.isNull())
            button->setIconSize(pixmap.deviceIndependentSize().toSize());
    }
}

} // namespace

bool LoadSkinAndImages(QWidget *mainWindow, const QString &skinFolder)
{
    QString folder = skinFolder;
    if (!folder.isEmpty() && !folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    imageFolder() = folder + QStringLiteral("Light/");

    applyLightLook(imageFolder());
    loadPictures(imageFolder());
    if (mainWindow)
        decorateButtons(mainWindow);
    return true;
}

QString skinImageFolder()
{
    return imageFolder();
}

void unloadSkin()
{
    if (qApp)
        qApp->setStyleSheet(QString());
    IconStore::reset();
}

} // namespace sonivert
