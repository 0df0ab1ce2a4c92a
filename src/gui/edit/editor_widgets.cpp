#include "gui/edit/editor_widgets.h"

#include "core/edit/trim_range.h"
#include "gui/edit/trim_bar.h"
#include "gui/ui/icon_store.h"
#include "gui/ui/skin.h"

#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QStyle>
#include <QTimer>

namespace sonivert {

namespace {

template<typename T> T *named(T *widget, const QString &name)
{
    widget->setObjectName(name);
    return widget;
}

QPushButton *button(QWidget *parent, const QString &name, const QString &caption, QRect geometry)
{
    auto *b = named(new QPushButton(caption, parent), name);
    b->setGeometry(geometry);
    b->setFocusPolicy(Qt::TabFocus);
    return b;
}

QLabel *label(QWidget *parent, const QString &name, const QString &caption, QRect geometry,
    Qt::Alignment alignment)
{
    auto *l = named(new QLabel(caption, parent), name);
    l->setGeometry(geometry);
    l->setAlignment(alignment | Qt::AlignVCenter);
    return l;
}

// The design of the window, in pixels.
constexpr int WindowWidth = 640;
constexpr int WindowHeight = 560;
constexpr int PreviewTop = 10;
constexpr int PreviewHeight = 348;
constexpr int SeekRowTop = 366;
constexpr int BarTop = 402;
constexpr int BarHeight = 14;
constexpr int HandleTop = BarTop - 6;
constexpr int HandleHeight = BarHeight + 12;
constexpr int PlayerRowTop = 436;
constexpr int TrimRowTop = 476;
constexpr int PanelRowTop = 518;

} // namespace

EditorWidgets buildEditorWidgets(QDialog *dialog, const TrimRange &range)
{
    EditorWidgets w;
    dialog->setFixedSize(WindowWidth, WindowHeight);

    w.picPreview = named(new QWidget(dialog), QStringLiteral("picPreview"));
    w.picPreview->setGeometry(10, PreviewTop, WindowWidth - 20, PreviewHeight);
    w.picPreview->setAutoFillBackground(true);
    QPalette black = w.picPreview->palette();
    black.setColor(QPalette::Window, Qt::black);
    w.picPreview->setPalette(black);

    w.lblPlayTime = label(dialog, QStringLiteral("lbl_PlayTime"), QStringLiteral("00:00:00"),
        QRect(10, SeekRowTop, 70, 22), Qt::AlignLeft);
    w.lblPlayTime->setProperty("tag", QStringLiteral("00:00:00.000"));
    w.sliderPlay = named(new SeekSlider(dialog), QStringLiteral("Slider_Play"));
    w.sliderPlay->setGeometry(84, SeekRowTop, WindowWidth - 168, 22);
    w.sliderPlay->setRange(0, w.sliderPlay->width());
    w.sliderPlay->setFocusPolicy(Qt::NoFocus);
    w.lblPlayTotal = label(dialog, QStringLiteral("lbl_PlayTotal"), QStringLiteral("00:00:00"),
        QRect(WindowWidth - 80, SeekRowTop, 70, 22), Qt::AlignRight);

    w.progressBarPlay = named(new PositionBar(dialog), QStringLiteral("ProgressBar_Play"));
    w.progressBarPlay->setGeometry(EditorBarLeft, BarTop, EditorBarWidth, BarHeight);
    w.progressBarPlay->setMaximum(EditorBarWidth);
    w.progressBarPlay->setValue(0);
    w.trimRange = named(new RangeHighlight(dialog), QStringLiteral("Trim_Range"));
    w.trimRange->setGeometry(EditorBarLeft, BarTop - 2, 0, BarHeight + 4);
    for (int i = 0; i < 2; ++i) {
        w.trimPointImage[size_t(i)]
            = named(new TrimHandle(i == 0 ? TrimHandle::StartSide : TrimHandle::EndSide,
                        w.progressBarPlay, dialog),
                QStringLiteral("TrimPoint_Image_%1").arg(i));
        w.trimPointImage[size_t(i)]->resize(TrimHandle::Width, HandleHeight);
    }
    w.trimPointImage[0]->move(EditorBarLeft - TrimHandle::Width, HandleTop);
    w.trimPointImage[1]->move(EditorBarLeft, HandleTop);

    const int icon = 36;
    for (int i = 0; i < 3; ++i) {
        w.cmdPlayer[size_t(i)] = button(dialog, QStringLiteral("Cmd_Player_%1").arg(i), QString(),
            QRect(10 + i * (icon + 4), PlayerRowTop, icon, 30));
        w.cmdPlayer[size_t(i)]->setIconSize(QSize(20, 20));
    }
    w.cmdPlayer[0]->setIcon(IconStore::get(SkinImage::PlayerPlay));
    w.cmdPlayer[0]->setToolTip(QStringLiteral("Play"));
    w.cmdPlayer[1]->setIcon(IconStore::get(SkinImage::PlayerStop));
    w.cmdPlayer[1]->setToolTip(QStringLiteral("Stop"));
    w.cmdPlayer[2]->setIcon(IconStore::get(SkinImage::PlayerVolumeOn));
    w.cmdPlayer[2]->setToolTip(QStringLiteral("Mute"));
    w.cmdPlayer[0]->setProperty("tag", QStringLiteral("Play"));
    w.cmdPlayer[2]->setProperty("tag", QStringLiteral("On"));

    w.sliderMPVolume
        = named(new QSlider(Qt::Horizontal, dialog), QStringLiteral("Slider_MPVolume"));
    w.sliderMPVolume->setGeometry(10 + 3 * (icon + 4) + 4, PlayerRowTop + 4, 100, 22);
    w.sliderMPVolume->setRange(0, 100);
    w.sliderMPVolume->setValue(100);
    w.sliderMPVolume->setToolTip(QStringLiteral("Volume"));

    w.lblStartTime = label(dialog, QStringLiteral("lbl_StartTime"), range.startText(),
        QRect(270, PlayerRowTop, 150, 30), Qt::AlignLeft);
    w.lblSelectedTime = label(dialog, QStringLiteral("lbl_SelectedTime"), range.selectedCaption(),
        QRect(420, PlayerRowTop, 70, 30), Qt::AlignHCenter);
    w.lblSelectedTime->setProperty("tag", range.selectedTag());
    w.lblSelectedTime->setToolTip(QStringLiteral("Selected length"));
    QFont bold = w.lblSelectedTime->font();
    bold.setBold(true);
    w.lblSelectedTime->setFont(bold);
    w.lblEndTime = label(dialog, QStringLiteral("lbl_EndTime"), range.endText(),
        QRect(490, PlayerRowTop, 140, 30), Qt::AlignRight);

    w.cmdTrim[4]
        = button(dialog, QStringLiteral("Cmd_Trim_4"), QString(), QRect(10, TrimRowTop, 30, 32));
    w.cmdTrim[4]->setIcon(dialog->style()->standardIcon(QStyle::SP_MediaSeekBackward));
    w.cmdTrim[4]->setToolTip(QStringLiteral("Start one step earlier"));
    w.cmdTrim[0] = button(dialog, QStringLiteral("Cmd_Trim_0"),
        QStringLiteral("Set Start Trim Point"), QRect(44, TrimRowTop, 180, 32));
    w.cmdTrim[0]->setIcon(IconStore::get(SkinImage::TrimLeftSmall));
    w.cmdTrim[2] = button(dialog, QStringLiteral("Cmd_Trim_2"), QStringLiteral("Play Selection"),
        QRect(230, TrimRowTop, 180, 32));
    w.cmdTrim[2]->setIcon(IconStore::get(SkinImage::TrimPlaySelected));
    w.cmdTrim[1] = button(dialog, QStringLiteral("Cmd_Trim_1"),
        QStringLiteral("Set End Trim Point"), QRect(416, TrimRowTop, 180, 32));
    w.cmdTrim[1]->setIcon(IconStore::get(SkinImage::TrimRightSmall));
    w.cmdTrim[3]
        = button(dialog, QStringLiteral("Cmd_Trim_3"), QString(), QRect(600, TrimRowTop, 30, 32));
    w.cmdTrim[3]->setIcon(dialog->style()->standardIcon(QStyle::SP_MediaSeekForward));
    w.cmdTrim[3]->setToolTip(QStringLiteral("End one step later"));

    w.cmdReset = button(dialog, QStringLiteral("Cmd_Reset"), QStringLiteral("Reset"),
        QRect(10, PanelRowTop, 100, 32));
    // A copy keeps whole packets, so its cut cannot fall on any sample.
    w.lblCopyNote = label(dialog, QStringLiteral("lbl_CopyNote"),
        QStringLiteral("The original audio is copied: the cut falls on its packets, at most "
                       "one codec frame off."),
        QRect(120, PanelRowTop - 4, WindowWidth - 350, 40), Qt::AlignLeft);
    w.lblCopyNote->setWordWrap(true);
    w.lblCopyNote->hide();
    w.cmdPanels[0] = button(dialog, QStringLiteral("Cmd_Panels_0"), QStringLiteral("OK"),
        QRect(WindowWidth - 220, PanelRowTop, 100, 32));
    w.cmdPanels[1] = button(dialog, QStringLiteral("Cmd_Panels_1"), QStringLiteral("Cancel"),
        QRect(WindowWidth - 110, PanelRowTop, 100, 32));
    w.cmdPanels[0]->setDefault(true);

    w.timerWaitToPlay = named(new QTimer(dialog), QStringLiteral("Timer_WaitToPlay"));
    w.timerWaitToPlay->setSingleShot(true);
    w.timerWaitToPlay->setInterval(300);
    w.timerPlaySelected = named(new QTimer(dialog), QStringLiteral("Timer_PlaySelected"));
    w.timerPlaySelected->setInterval(10);
    return w;
}

} // namespace sonivert
