#include "core/app/app_flags.h"
#include "core/media/time_text.h"
#include "gui/app/messages.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/edit/preview_player.h"
#include "gui/edit/trim_bar.h"
#include "gui/ui/icon_store.h"
#include "gui/ui/skin.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTimer>

// The transport side of the editor: play, pause, stop, sound, seeking and what the player reports.

namespace sonivert {

namespace {

QString tagOf(const QObject *control)
{
    return control->property("tag").toString();
}

void setTag(QObject *control, const QString &tag)
{
    control->setProperty("tag", tag);
}

} // namespace

void FrmEditVideo::pressPlayPause()
{
    if (!QFileInfo::exists(filePath_)) {
        ShowMessage(QStringLiteral("File not found!\n") + filePath_, MsgWarning, QString(), this);
        return;
    }
    const QString state = tagOf(cmdPlayer_[0]);
    if (state == QLatin1String("Play")) {
        const PlayerLaunchSettings settings = launchSettings();
        // A backend that cannot be loaded has been reported already; anything else the player
        // noted while opening is worth a warning, and playback goes on.
        if (PlayerCommand(*player_, PlayerInit, settings, this)
            && !player_->LastErrorText().trimmed().isEmpty())
            ShowMessage(player_->LastErrorText(), MsgWarning, QString(), this);
        resumeAfterSeek_ = -1;
        PlayerCommand(*player_, PlayerPlay, settings, this);
        cmdPlayer_[0]->setIcon(IconStore::Get(SkinImage::PlayerPause));
        setTag(cmdPlayer_[0], QStringLiteral("Pause"));
        resumeAfterSeek_ = 0;
        setPlayerControlsEnabled(true);
    } else if (state == QLatin1String("Pause")) {
        PlayerCommand(*player_, PlayerPause, launchSettings(), this);
        const bool paused = player_->PlayState() == PreviewPlayer::Paused;
        cmdPlayer_[0]->setIcon(
            IconStore::Get(paused ? SkinImage::PlayerPlay : SkinImage::PlayerPause));
        // 1: the person paused, so a seek leaves the picture standing; 0: resume after a seek.
        resumeAfterSeek_ = paused ? 1 : 0;
    }
}

void FrmEditVideo::pressStop()
{
    PlayerCommand(*player_, PlayerStop, launchSettings(), this);
    cmdPlayer_[0]->setIcon(IconStore::Get(SkinImage::PlayerPlay));
    setTag(cmdPlayer_[0], QStringLiteral("Play"));
    resumeAfterSeek_ = 2;
    lblPlayTime_->setText(QStringLiteral("00:00:00"));
    setTag(lblPlayTime_, QStringLiteral("00:00:00.000"));
    ClearTime(playPosition_);
    progressBarPlay_->setValue(0);
    {
        const QSignalBlocker block(sliderPlay_);
        sliderPlay_->setValue(0);
    }
    setPlayerControlsEnabled(false);
    timerPlaySelected_->stop();
    picPreview_->update();
}

void FrmEditVideo::EditWindow_StopPlayer()
{
    pressStop();
}

void FrmEditVideo::pressMute()
{
    const QString state = tagOf(cmdPlayer_[2]);
    if (state == QLatin1String("On")) {
        cmdPlayer_[2]->setIcon(IconStore::Get(SkinImage::PlayerVolumeOff));
        setTag(cmdPlayer_[2], QStringLiteral("Off"));
        player_->SetMute(true);
    } else if (state == QLatin1String("Off")) {
        cmdPlayer_[2]->setIcon(IconStore::Get(SkinImage::PlayerVolumeOn));
        setTag(cmdPlayer_[2], QStringLiteral("On"));
        if (sliderMPVolume_->value() == 0)
            sliderMPVolume_->setValue(sliderMPVolume_->maximum()); // runs onVolumeChanged
        player_->SetMute(false);
    }
}

void FrmEditVideo::onVolumeChanged(int value)
{
    player_->SetAudioVolume(int16_t(value));
    const bool silent = value == 0;
    cmdPlayer_[2]->setIcon(
        IconStore::Get(silent ? SkinImage::PlayerVolumeOff : SkinImage::PlayerVolumeOn));
    setTag(cmdPlayer_[2], silent ? QStringLiteral("Off") : QStringLiteral("On"));
    player_->SetMute(silent);
}

void FrmEditVideo::SeekToPixel(int x)
{
    if (timerPlaySelected_->isActive())
        timerPlaySelected_->stop();
    if (progressUpdating_)
        return;
    x = qBound(0, x, progressBarPlay_->maximum());
    const TimeHalves t = TimeOfPixel(x, progressBarPlay_->maximum(), mediaDuration_);
    player_->SeekTo(t);
    lastSeekTime_ = t;
    if (player_->HasOpenMedia()) {
        showPosition(t);
        // The bar stands on the pixel asked for; its time floors back to the pixel before
        // whenever the division rounded down.
        progressBarPlay_->setValue(x);
    }
}

void FrmEditVideo::seekPlayerTo(const TimeHalves &time)
{
    player_->SeekTo(time);
    if (player_->HasOpenMedia())
        showPosition(time);
}

void FrmEditVideo::showPosition(const TimeHalves &position)
{
    const QString text = FormatMediaTime(position.low, position.high);
    lblPlayTime_->setText(text.left(8));
    setTag(lblPlayTime_, text);
    playPosition_ = position;
    const int v = BarValueForPosition(position, mediaDuration_, progressBarPlay_->maximum());
    if (v >= 0 && v != progressBarPlay_->value())
        progressBarPlay_->setValue(v);
    if (!dragInProgress_ && v >= 0) {
        const QSignalBlocker block(sliderPlay_);
        sliderPlay_->setValue(PixelOfTime(position, mediaDuration_, sliderPlay_->maximum()));
    }
}

void FrmEditVideo::onPositionChanged(qint32 low, qint32 high)
{
    showPosition({ low, high });
}

void FrmEditVideo::onMediaOpened(qint32 low, qint32 high)
{
    mediaDuration_ = StoredDuration(low, high);
    lblPlayTotal_->setText(FormatMediaTime(mediaDuration_.low, mediaDuration_.high).left(8));
    lblPlayTime_->setText(QStringLiteral("00:00:00"));
    setTag(lblPlayTime_, QStringLiteral("00:00:00.000"));
    progressBarPlay_->setMaximum(progressBarPlay_->width());
    progressUpdating_ = true;
    progressBarPlay_->setValue(0);
    progressUpdating_ = false;
}

void FrmEditVideo::onStateChanged(int code)
{
    if (code == PreviewPlayer::Repaint) {
        if (QWidget *video = player_->VideoWindowHandle())
            video->update();
        picPreview_->update();
    } else if (code == PreviewPlayer::EndOfPlayback && Flags().EditWindowOpen) {
        EditWindow_StopPlayer();
    }
}

// Qt's player tells what went wrong with a medium only after the open call has returned; it is
// what opening left behind, so it gets the warning that opening gives, without a title.
void FrmEditVideo::onPlayerError(const QString &text)
{
    if (closed_)
        return;
    EditWindow_StopPlayer();
    ShowMessage(text, MsgWarning, QString(), this);
}

void FrmEditVideo::onSeekSliderPressed()
{
    if (player_->PlayState() == PreviewPlayer::Playing)
        player_->TogglePause();
    dragInProgress_ = true;
}

void FrmEditVideo::onSeekSliderMoved(int value)
{
    if (!dragInProgress_)
        return;
    if (player_->PlayState() == PreviewPlayer::Paused)
        seekPlayerTo(
            FromCurrencyTime(ToCurrencyTime(mediaDuration_).MulDiv(value, sliderPlay_->maximum())));
}

void FrmEditVideo::onSeekSliderReleased(int x)
{
    seekPlayerTo(
        FromCurrencyTime(ToCurrencyTime(mediaDuration_).MulDiv(x, sliderPlay_->maximum())));
    if (resumeAfterSeek_ != 1 && resumeAfterSeek_ != -1)
        player_->TogglePause();
    dragInProgress_ = false;
}

} // namespace sonivert
