#include "gui/edit/frm_edit_video.h"
#include "gui/edit/trim_bar.h"
#include "gui/ui/icon_store.h"
#include "gui/ui/skin.h"

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

void FrmEditVideo::buildLayout()
{
    setFixedSize(WindowWidth, WindowHeight);

    picPreview_ = named(new QWidget(this), QStringLiteral("picPreview"));
    picPreview_->setGeometry(10, PreviewTop, WindowWidth - 20, PreviewHeight);
    picPreview_->setAutoFillBackground(true);
    QPalette black = picPreview_->palette();
    black.setColor(QPalette::Window, Qt::black);
    picPreview_->setPalette(black);

    lblPlayTime_ = label(this, QStringLiteral("lbl_PlayTime"), QStringLiteral("00:00:00"),
        QRect(10, SeekRowTop, 70, 22), Qt::AlignLeft);
    lblPlayTime_->setProperty("tag", QStringLiteral("00:00:00.000"));
    sliderPlay_ = named(new SeekSlider(this), QStringLiteral("Slider_Play"));
    sliderPlay_->setGeometry(84, SeekRowTop, WindowWidth - 168, 22);
    sliderPlay_->setRange(0, sliderPlay_->width());
    sliderPlay_->setFocusPolicy(Qt::NoFocus);
    lblPlayTotal_ = label(this, QStringLiteral("lbl_PlayTotal"), QStringLiteral("00:00:00"),
        QRect(WindowWidth - 80, SeekRowTop, 70, 22), Qt::AlignRight);

    progressBarPlay_ = named(new PositionBar(this), QStringLiteral("ProgressBar_Play"));
    progressBarPlay_->setGeometry(BarLeft, BarTop, BarWidth, BarHeight);
    progressBarPlay_->setMaximum(BarWidth);
    progressBarPlay_->setValue(0);
    trimRange_ = named(new RangeHighlight(this), QStringLiteral("Trim_Range"));
    trimRange_->setGeometry(BarLeft, BarTop - 2, 0, BarHeight + 4);
    for (int i = 0; i < 2; ++i) {
        trimPointImage_[size_t(i)]
            = named(new TrimHandle(i == 0 ? TrimHandle::StartSide : TrimHandle::EndSide,
                        progressBarPlay_, this),
                QStringLiteral("TrimPoint_Image_%1").arg(i));
        trimPointImage_[size_t(i)]->resize(TrimHandle::Width, HandleHeight);
    }
    trimPointImage_[0]->move(BarLeft - TrimHandle::Width, HandleTop);
    trimPointImage_[1]->move(BarLeft, HandleTop);

    const int icon = 36;
    for (int i = 0; i < 3; ++i) {
        cmdPlayer_[size_t(i)] = button(this, QStringLiteral("Cmd_Player_%1").arg(i), QString(),
            QRect(10 + i * (icon + 4), PlayerRowTop, icon, 30));
        cmdPlayer_[size_t(i)]->setIconSize(QSize(20, 20));
    }
    cmdPlayer_[0]->setIcon(IconStore::Get(SkinImage::PlayerPlay));
    cmdPlayer_[0]->setToolTip(QStringLiteral("Play"));
    cmdPlayer_[1]->setIcon(IconStore::Get(SkinImage::PlayerStop));
    cmdPlayer_[1]->setToolTip(QStringLiteral("Stop"));
    cmdPlayer_[2]->setIcon(IconStore::Get(SkinImage::PlayerVolumeOn));
    cmdPlayer_[2]->setToolTip(QStringLiteral("Mute"));
    cmdPlayer_[0]->setProperty("tag", QStringLiteral("Play"));
    cmdPlayer_[2]->setProperty("tag", QStringLiteral("On"));

    sliderMPVolume_ = named(new QSlider(Qt::Horizontal, this), QStringLiteral("Slider_MPVolume"));
    sliderMPVolume_->setGeometry(10 + 3 * (icon + 4) + 4, PlayerRowTop + 4, 100, 22);
    sliderMPVolume_->setRange(0, 100);
    sliderMPVolume_->setValue(100);
    sliderMPVolume_->setToolTip(QStringLiteral("Volume"));

    lblStartTime_ = label(this, QStringLiteral("lbl_StartTime"), range_.StartText(),
        QRect(270, PlayerRowTop, 150, 30), Qt::AlignLeft);
    lblSelectedTime_ = label(this, QStringLiteral("lbl_SelectedTime"), range_.SelectedCaption(),
        QRect(420, PlayerRowTop, 70, 30), Qt::AlignHCenter);
    lblSelectedTime_->setProperty("tag", range_.SelectedTag());
    lblSelectedTime_->setToolTip(QStringLiteral("Selected length"));
    QFont bold = lblSelectedTime_->font();
    bold.setBold(true);
    lblSelectedTime_->setFont(bold);
    lblEndTime_ = label(this, QStringLiteral("lbl_EndTime"), range_.EndText(),
        QRect(490, PlayerRowTop, 140, 30), Qt::AlignRight);

    cmdTrim_[4]
        = button(this, QStringLiteral("Cmd_Trim_4"), QString(), QRect(10, TrimRowTop, 30, 32));
    cmdTrim_[4]->setIcon(style()->standardIcon(QStyle::SP_MediaSeekBackward));
    cmdTrim_[4]->setToolTip(QStringLiteral("Start one step earlier"));
    cmdTrim_[0] = button(this, QStringLiteral("Cmd_Trim_0"), QStringLiteral("Set Start Trim Point"),
        QRect(44, TrimRowTop, 180, 32));
    cmdTrim_[0]->setIcon(IconStore::Get(SkinImage::TrimLeftSmall));
    cmdTrim_[2] = button(this, QStringLiteral("Cmd_Trim_2"), QStringLiteral("Play Selection"),
        QRect(230, TrimRowTop, 180, 32));
    cmdTrim_[2]->setIcon(IconStore::Get(SkinImage::TrimPlaySelected));
    cmdTrim_[1] = button(this, QStringLiteral("Cmd_Trim_1"), QStringLiteral("Set End Trim Point"),
        QRect(416, TrimRowTop, 180, 32));
    cmdTrim_[1]->setIcon(IconStore::Get(SkinImage::TrimRightSmall));
    cmdTrim_[3]
        = button(this, QStringLiteral("Cmd_Trim_3"), QString(), QRect(600, TrimRowTop, 30, 32));
    cmdTrim_[3]->setIcon(style()->standardIcon(QStyle::SP_MediaSeekForward));
    cmdTrim_[3]->setToolTip(QStringLiteral("End one step later"));

    cmdReset_ = button(this, QStringLiteral("Cmd_Reset"), QStringLiteral("Reset"),
        QRect(10, PanelRowTop, 100, 32));
    cmdPanels_[0] = button(this, QStringLiteral("Cmd_Panels_0"), QStringLiteral("OK"),
        QRect(WindowWidth - 220, PanelRowTop, 100, 32));
    cmdPanels_[1] = button(this, QStringLiteral("Cmd_Panels_1"), QStringLiteral("Cancel"),
        QRect(WindowWidth - 110, PanelRowTop, 100, 32));
    cmdPanels_[0]->setDefault(true);

    timerWaitToPlay_ = named(new QTimer(this), QStringLiteral("Timer_WaitToPlay"));
    timerWaitToPlay_->setSingleShot(true);
    timerWaitToPlay_->setInterval(300);
    timerPlaySelected_ = named(new QTimer(this), QStringLiteral("Timer_PlaySelected"));
    timerPlaySelected_->setInterval(10);

    // Nothing plays yet: what needs an open medium waits for the first start.
    setPlayerControlsEnabled(false);
}

} // namespace sonivert
