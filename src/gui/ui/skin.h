#pragma once

#include <QString>

class QWidget;

namespace sonivert {

// Numbers of the skin's pictures in the IconStore.
namespace SkinImage {
constexpr int AddFile = 1;
constexpr int RemoveFile = 2;
constexpr int ClearAll = 3;
constexpr int Browse = 4;
constexpr int Convert = 5;
constexpr int Stop = 6;
constexpr int Pause = 7;
constexpr int Warning = 9;
constexpr int Cancel = 10;
constexpr int Analyzer = 11;
constexpr int Completed = 14;
constexpr int Trim = 18;
constexpr int TrimLeftSmall = 21;
constexpr int TrimRightSmall = 22;
constexpr int TrimPlaySelected = 23;
constexpr int Resume = 24;
constexpr int Setting = 25;
constexpr int OrangeCheck = 26;
constexpr int DrmLock = 27;
constexpr int PlayerPlay = 28;
constexpr int PlayerPause = 29;
constexpr int PlayerStop = 30;
constexpr int PlayerVolumeOn = 31;
constexpr int PlayerVolumeOff = 32;
} // namespace SkinImage

// Pictures in the skin image folder that are loaded outside the IconStore.
inline const QString kGettingStartedTipFile = QStringLiteral("img_snv_tag_gettingstarted.png");
inline const QString kListIconsFile = QStringLiteral("img_snv_list_icons.bmp");
inline const QString kDragDropFile = QStringLiteral("img_snv_dragdrop.png");

// Gives the application its light look, fills the IconStore from skinFolder + "Light/" and puts
// the pictures on the main window's buttons Cmd_FileListView_0 to _8 (button 7 keeps none).
// Pictures that are missing stay empty; always returns true.
bool LoadSkinAndImages(QWidget *mainWindow, const QString &skinFolder);

// The folder of the skin's pictures, ending in "/"; empty before LoadSkinAndImages.
QString skinImageFolder();

// Drops the style sheet and the pictures at shutdown.
void unloadSkin();

} // namespace sonivert
