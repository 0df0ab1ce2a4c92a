#include "gui/edit/preview_transport.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/media/time_text.h"
#include "gui/app/messages.h"
#include "gui/edit/player_command.h"
#include "gui/edit/preview_player.h"
#include "gui/edit/trim_bar.h"
#include "gui/ui/icon_store.h"
#include "gui/ui/skin.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QTimer>

namespace sonivert {

namespace {

// The captions the buttons and the clock carry as their "tag", as the window always showed.
void setTag(QObject *control, const QString &tag)
{
    control->setProperty("tag", tag);
}

} // namespace

PreviewTransport::PreviewTransport(PreviewPlayer *player, const TransportControls &controls,
    const QString &filePath, QObject *parent)
    : QObject(parent)
    , player_(player)
    , c_(controls)
    , filePath_(filePath)
{
    connect(c_.buttons[0], &QPushButton::clicked, this, &PreviewTransport::PressPlayPause);
    connect(c_.buttons[1], &QPushButton::clicked, this, &PreviewTransport::PressStop);
    connect(c_.buttons[2], &QPushButton::clicked, this, &PreviewTransport::PressMute);
    connect(c_.volume, &QSlider::valueChanged, this, &PreviewTransport::onVolumeChanged);
    connect(c_.seekSlider, &SeekSlider::pressedAt, this, &PreviewTransport::onSeekSliderPressed);
    connect(c_.seekSlider, &QSlider::valueChanged, this, &PreviewTransport::onSeekSliderMoved);
    connect(c_.seekSlider, &SeekSlider::releasedAt, this, &PreviewTransport::onSeekSliderReleased);
    connect(c_.bar, &PositionBar::pressedAt, this, &PreviewTransport::SeekToPixel);
    connect(player_, &PreviewPlayer::MediaOpened, this, &PreviewTransport::onMediaOpened);
    connect(player_, &PreviewPlayer::PositionChanged, this, [this](qint32 low, qint32 high) {
        ShowPosition({ low, high });
    });
    connect(player_, &PreviewPlayer::StateChanged, this, &PreviewTransport::onStateChanged);
    connect(player_, &PreviewPlayer::ErrorOccurred, this, &PreviewTransport::onPlayerError);
}

void PreviewTransport::Prepare(const TimeHalves &duration)
{
    playing_ = false;
    setTag(c_.buttons[0], QStringLiteral("Play"));
    showMuted(false);
    ClearTime(playPosition_);
    ClearTime(lastSeekTime_);
    mediaDuration_ = duration;
}

void PreviewTransport::Close()
{
    closed_ = true;
}

void PreviewTransport::RestoreSound()
{
    if (!muted_)
        return;
    player_->SetMute(false);
    player_->SetAudioVolume(int16_t(c_.volume->value()));
}

void PreviewTransport::PressPlayPause()
{
    if (!QFileInfo::exists(filePath_)) {
        ShowMessage(
            QStringLiteral("File not found!\n") + filePath_, MsgWarning, QString(), c_.dialog);
        return;
    }
    const PlayerLaunchSettings settings = launchSettings();
    if (!playing_) {
        // A backend that cannot be loaded has been reported already; anything else the player
        // noted while opening is worth a warning, and playback goes on.
        if (PlayerCommand(*player_, PlayerInit, settings, c_.dialog)
            && !player_->LastErrorText().trimmed().isEmpty())
            ShowMessage(player_->LastErrorText(), MsgWarning, QString(), c_.dialog);
        resumeAfterSeek_ = -1;
        PlayerCommand(*player_, PlayerPlay, settings, c_.dialog);
        c_.buttons[0]->setIcon(IconStore::Get(SkinImage::PlayerPause));
        playing_ = true;
        setTag(c_.buttons[0], QStringLiteral("Pause"));
        resumeAfterSeek_ = 0;
        emit controlsEnabled(true);
    } else {
        PlayerCommand(*player_, PlayerPause, settings, c_.dialog);
        const bool paused = player_->PlayState() == PreviewPlayer::Paused;
        c_.buttons[0]->setIcon(
            IconStore::Get(paused ? SkinImage::PlayerPlay : SkinImage::PlayerPause));
        // 1: the person paused, so a seek leaves the picture standing; 0: resume after a seek.
        resumeAfterSeek_ = paused ? 1 : 0;
    }
}

void PreviewTransport::PressStop()
{
    PlayerCommand(*player_, PlayerStop, launchSettings(), c_.dialog);
    c_.buttons[0]->setIcon(IconStore::Get(SkinImage::PlayerPlay));
    playing_ = false;
    setTag(c_.buttons[0], QStringLiteral("Play"));
    resumeAfterSeek_ = 2;
    c_.playTime->setText(QStringLiteral("00:00:00"));
    setTag(c_.playTime, QStringLiteral("00:00:00.000"));
    ClearTime(playPosition_);
    c_.bar->setValue(0);
    {
        const QSignalBlocker block(c_.seekSlider);
        c_.seekSlider->setValue(0);
    }
    emit controlsEnabled(false);
    c_.playSelected->stop();
    c_.preview->update();
}

PlayerLaunchSettings PreviewTransport::launchSettings() const
{
    PlayerLaunchSettings settings;
    settings.librariesFolder = Folders().librariesFolder;
    settings.fileName = filePath_;
    settings.videoWindow = c_.preview;
    return settings;
}

void PreviewTransport::PressMute()
{
    if (!muted_) {
        showMuted(true);
        player_->SetMute(true);
    } else {
        showMuted(false);
        if (c_.volume->value() == 0)
            c_.volume->setValue(c_.volume->maximum()); // runs onVolumeChanged
        player_->SetMute(false);
    }
}

void PreviewTransport::showMuted(bool muted)
{
    muted_ = muted;
    c_.buttons[2]->setIcon(
        IconStore::Get(muted ? SkinImage::PlayerVolumeOff : SkinImage::PlayerVolumeOn));
    setTag(c_.buttons[2], muted ? QStringLiteral("Off") : QStringLiteral("On"));
}

void PreviewTransport::onVolumeChanged(int value)
{
    player_->SetAudioVolume(int16_t(value));
    showMuted(value == 0);
    player_->SetMute(value == 0);
}

void PreviewTransport::SeekToPixel(int x)
{
    if (c_.playSelected->isActive())
        c_.playSelected->stop();
    if (progressUpdating_)
        return;
    x = qBound(0, x, c_.bar->maximum());
    const TimeHalves t = TimeOfPixel(x, c_.bar->maximum(), mediaDuration_);
    player_->SeekTo(t);
    lastSeekTime_ = t;
    if (player_->HasOpenMedia()) {
        ShowPosition(t);
        // The bar stands on the pixel asked for; its time floors back to the pixel before
        // whenever the division rounded down.
        c_.bar->setValue(x);
    }
}

void PreviewTransport::SeekTo(const TimeHalves &time)
{
    player_->SeekTo(time);
    if (player_->HasOpenMedia())
        ShowPosition(time);
}

void PreviewTransport::ShowPosition(const TimeHalves &position)
{
    const QString text = FormatMediaTime(position.low, position.high);
    c_.playTime->setText(text.left(8));
    setTag(c_.playTime, text);
    playPosition_ = position;
    const int v = BarValueForPosition(position, mediaDuration_, c_.bar->maximum());
    if (v >= 0 && v != c_.bar->value())
        c_.bar->setValue(v);
    if (!dragInProgress_ && v >= 0) {
        const QSignalBlocker block(c_.seekSlider);
        c_.seekSlider->setValue(PixelOfTime(position, mediaDuration_, c_.seekSlider->maximum()));
    }
}

void PreviewTransport::onMediaOpened(qint32 low, qint32 high)
{
    mediaDuration_ = StoredDuration(low, high);
    c_.playTotal->setText(FormatMediaTime(mediaDuration_.low, mediaDuration_.high).left(8));
    c_.playTime->setText(QStringLiteral("00:00:00"));
    setTag(c_.playTime, QStringLiteral("00:00:00.000"));
    c_.bar->setMaximum(c_.bar->width());
    progressUpdating_ = true;
    c_.bar->setValue(0);
    progressUpdating_ = false;
}

void PreviewTransport::onStateChanged(int code)
{
    if (code == PreviewPlayer::Repaint) {
        if (QWidget *video = player_->VideoWindowHandle())
            video->update();
        c_.preview->update();
    } else if (code == PreviewPlayer::EndOfPlayback && Flags().EditWindowOpen) {
        PressStop();
    }
}

// Qt's player tells what went wrong with a medium only after the open call has returned; it is
// what opening left behind, so it gets the warning that opening gives, without a title.
void PreviewTransport::onPlayerError(const QString &text)
{
    if (closed_)
        return;
    PressStop();
    ShowMessage(text, MsgWarning, QString(), c_.dialog);
}

void PreviewTransport::onSeekSliderPressed()
{
    if (player_->PlayState() == PreviewPlayer::Playing)
        player_->TogglePause();
    dragInProgress_ = true;
}

void PreviewTransport::onSeekSliderMoved(int value)
{
    if (!dragInProgress_)
        return;
    if (player_->PlayState() == PreviewPlayer::Paused)
        SeekTo(FromCurrencyTime(
            ToCurrencyTime(mediaDuration_).MulDiv(value, c_.seekSlider->maximum())));
}

void PreviewTransport::onSeekSliderReleased(int x)
{
    SeekTo(FromCurrencyTime(ToCurrencyTime(mediaDuration_).MulDiv(x, c_.seekSlider->maximum())));
    if (resumeAfterSeek_ != 1 && resumeAfterSeek_ != -1)
        player_->TogglePause();
    dragInProgress_ = false;
}

} // namespace sonivert
