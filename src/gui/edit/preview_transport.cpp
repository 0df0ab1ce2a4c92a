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
    , m_player(player)
    , m_controls(controls)
    , m_filePath(filePath)
{
    connect(m_controls.buttons[0], &QPushButton::clicked, this, &PreviewTransport::pressPlayPause);
    connect(m_controls.buttons[1], &QPushButton::clicked, this, &PreviewTransport::pressStop);
    connect(m_controls.buttons[2], &QPushButton::clicked, this, &PreviewTransport::pressMute);
    connect(m_controls.volume, &QSlider::valueChanged, this, &PreviewTransport::onVolumeChanged);
    connect(m_controls.seekSlider, &SeekSlider::pressedAt, this,
        &PreviewTransport::onSeekSliderPressed);
    connect(
        m_controls.seekSlider, &QSlider::valueChanged, this, &PreviewTransport::onSeekSliderMoved);
    connect(m_controls.seekSlider, &SeekSlider::releasedAt, this,
        &PreviewTransport::onSeekSliderReleased);
    connect(m_controls.bar, &PositionBar::pressedAt, this, &PreviewTransport::SeekToPixel);
    connect(m_player, &PreviewPlayer::MediaOpened, this, &PreviewTransport::onMediaOpened);
    connect(m_player, &PreviewPlayer::PositionChanged, this, [this](qint32 low, qint32 high) {
        showPosition({ low, high });
    });
    connect(m_player, &PreviewPlayer::StateChanged, this, &PreviewTransport::onStateChanged);
    connect(m_player, &PreviewPlayer::errorOccurred, this, &PreviewTransport::onPlayerError);
}

void PreviewTransport::prepare(const TimeHalves &duration)
{
    m_playing = false;
    setTag(m_controls.buttons[0], QStringLiteral("Play"));
    showMuted(false);
    clearTime(m_playPosition);
    clearTime(m_lastSeekTime);
    m_mediaDuration = duration;
}

void PreviewTransport::close()
{
    m_closed = true;
}

void PreviewTransport::restoreSound()
{
    if (!m_muted)
        return;
    m_player->setMute(false);
    m_player->setAudioVolume(int16_t(m_controls.volume->value()));
}

void PreviewTransport::pressPlayPause()
{
    if (!QFileInfo::exists(m_filePath)) {
        ShowMessage(QStringLiteral("File not found!\n") + m_filePath, MsgWarning, QString(),
            m_controls.dialog);
        return;
    }
    const PlayerLaunchSettings settings = launchSettings();
    if (!m_playing) {
        // A backend that cannot be loaded has been reported already; anything else the player
        // noted while opening is worth a warning, and playback goes on.
        if (PlayerCommand(*m_player, PlayerInit, settings, m_controls.dialog)
            && !m_player->LastErrorText().trimmed().isEmpty())
            ShowMessage(m_player->LastErrorText(), MsgWarning, QString(), m_controls.dialog);
        m_resumeAfterSeek = -1;
        PlayerCommand(*m_player, PlayerPlay, settings, m_controls.dialog);
        m_controls.buttons[0]->setIcon(IconStore::get(SkinImage::PlayerPause));
        m_playing = true;
        setTag(m_controls.buttons[0], QStringLiteral("Pause"));
        m_resumeAfterSeek = 0;
        emit controlsEnabled(true);
    } else {
        PlayerCommand(*m_player, PlayerPause, settings, m_controls.dialog);
        const bool paused = m_player->PlayState() == PreviewPlayer::Paused;
        m_controls.buttons[0]->setIcon(
            IconStore::get(paused ? SkinImage::PlayerPlay : SkinImage::PlayerPause));
        // 1: the person paused, so a seek leaves the picture standing; 0: resume after a seek.
        m_resumeAfterSeek = paused ? 1 : 0;
    }
}

void PreviewTransport::pressStop()
{
    PlayerCommand(*m_player, PlayerStop, launchSettings(), m_controls.dialog);
    m_controls.buttons[0]->setIcon(IconStore::get(SkinImage::PlayerPlay));
    m_playing = false;
    setTag(m_controls.buttons[0], QStringLiteral("Play"));
    m_resumeAfterSeek = 2;
    m_controls.playTime->setText(QStringLiteral("00:00:00"));
    setTag(m_controls.playTime, QStringLiteral("00:00:00.000"));
    clearTime(m_playPosition);
    showPlayPixel(0);
    {
        const QSignalBlocker block(m_controls.seekSlider);
        m_controls.seekSlider->setValue(0);
    }
    emit controlsEnabled(false);
    m_controls.playSelected->stop();
    m_controls.preview->update();
}

PlayerLaunchSettings PreviewTransport::launchSettings() const
{
    PlayerLaunchSettings settings;
    settings.librariesFolder = folders().librariesFolder;
    settings.fileName = m_filePath;
    settings.videoWindow = m_controls.preview;
    return settings;
}

void PreviewTransport::pressMute()
{
    if (!m_muted) {
        showMuted(true);
        m_player->setMute(true);
    } else {
        showMuted(false);
        if (m_controls.volume->value() == 0)
            m_controls.volume->setValue(m_controls.volume->maximum()); // runs onVolumeChanged
        m_player->setMute(false);
    }
}

void PreviewTransport::showMuted(bool muted)
{
    m_muted = muted;
    m_controls.buttons[2]->setIcon(
        IconStore::get(muted ? SkinImage::PlayerVolumeOff : SkinImage::PlayerVolumeOn));
    setTag(m_controls.buttons[2], muted ? QStringLiteral("Off") : QStringLiteral("On"));
}

void PreviewTransport::onVolumeChanged(int value)
{
    m_player->setAudioVolume(int16_t(value));
    showMuted(value == 0);
    m_player->setMute(value == 0);
}

void PreviewTransport::SeekToPixel(int x)
{
    if (m_controls.playSelected->isActive())
        m_controls.playSelected->stop();
    if (m_progressUpdating)
        return;
    x = qBound(0, x, m_controls.bar->maximum());
    const TimeHalves t = timeOfPixel(x, m_controls.bar->maximum(), m_mediaDuration);
    m_player->SeekTo(t);
    m_lastSeekTime = t;
    if (m_player->HasOpenMedia()) {
        showPosition(t);
        // The bar stands on the pixel asked for; its time floors back to the pixel before
        // whenever the division rounded down.
        showPlayPixel(x);
    }
}

void PreviewTransport::SeekTo(const TimeHalves &time)
{
    m_player->SeekTo(time);
    if (m_player->HasOpenMedia())
        showPosition(time);
}

void PreviewTransport::showPlayPixel(int x)
{
    m_playPixel = x;
    if (m_controls.bar->value() != x)
        m_controls.bar->setValue(x);
}

void PreviewTransport::showPosition(const TimeHalves &position)
{
    const QString text = FormatMediaTime(position.low, position.high);
    m_controls.playTime->setText(text.left(8));
    setTag(m_controls.playTime, text);
    m_playPosition = position;
    const int v = barValueForPosition(position, m_mediaDuration, m_controls.bar->maximum());
    if (v >= 0)
        showPlayPixel(v);
    if (!m_dragInProgress && v >= 0) {
        const QSignalBlocker block(m_controls.seekSlider);
        m_controls.seekSlider->setValue(
            pixelOfTime(position, m_mediaDuration, m_controls.seekSlider->maximum()));
    }
}

void PreviewTransport::onMediaOpened(qint32 low, qint32 high)
{
    m_mediaDuration = storedDuration(low, high);
    m_controls.playTotal->setText(
        FormatMediaTime(m_mediaDuration.low, m_mediaDuration.high).left(8));
    m_controls.playTime->setText(QStringLiteral("00:00:00"));
    setTag(m_controls.playTime, QStringLiteral("00:00:00.000"));
    m_controls.bar->setMaximum(m_controls.bar->width());
    m_progressUpdating = true;
    showPlayPixel(0);
    m_progressUpdating = false;
}

void PreviewTransport::onStateChanged(int code)
{
    if (code == PreviewPlayer::Repaint) {
        if (QWidget *video = m_player->VideoWindowHandle())
            video->update();
        m_controls.preview->update();
    } else if (code == PreviewPlayer::EndOfPlayback && flags().EditWindowOpen) {
        pressStop();
    }
}

// Qt's player tells what went wrong with a medium only after the open call has returned; it is
// what opening left behind, so it gets the warning that opening gives, without a title.
void PreviewTransport::onPlayerError(const QString &text)
{
    if (m_closed)
        return;
    pressStop();
    ShowMessage(text, MsgWarning, QString(), m_controls.dialog);
}

void PreviewTransport::onSeekSliderPressed()
{
    if (m_player->PlayState() == PreviewPlayer::Playing)
        m_player->TogglePause();
    m_dragInProgress = true;
}

void PreviewTransport::onSeekSliderMoved(int value)
{
    if (!m_dragInProgress)
        return;
    if (m_player->PlayState() == PreviewPlayer::Paused)
        SeekTo(fromCurrencyTime(
            toCurrencyTime(m_mediaDuration).mulDiv(value, m_controls.seekSlider->maximum())));
}

void PreviewTransport::onSeekSliderReleased(int x)
{
    SeekTo(fromCurrencyTime(
        toCurrencyTime(m_mediaDuration).mulDiv(x, m_controls.seekSlider->maximum())));
    if (m_resumeAfterSeek != 1 && m_resumeAfterSeek != -1)
        m_player->TogglePause();
    m_dragInProgress = false;
}

} // namespace sonivert
