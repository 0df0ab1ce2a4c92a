#include "gui/edit/preview_player.h"

#include <QAudioDevice>
#include <QAudioOutput>
#include <QEvent>
#include <QMediaDevices>
#include <QMediaPlayer>
#include <QUrl>
#include <QVideoWidget>

namespace sonivert {

namespace {

TimeHalves FromMilliseconds(qint64 ms)
{
    return TimeHalves::FromMicroseconds(ms * 1000);
}

} // namespace

PreviewPlayer::PreviewPlayer(QObject *parent)
    : QObject(parent)
    , player_(new QMediaPlayer(this))
    , devices_(new QMediaDevices(this))
{
    attachAudioIfPossible();
    connect(
        devices_, &QMediaDevices::audioOutputsChanged, this, &PreviewPlayer::attachAudioIfPossible);
    connect(player_, &QMediaPlayer::positionChanged, this, [this](qint64 ms) {
        if (!HasOpenMedia())
            return;
        const TimeHalves t = FromMilliseconds(ms);
        emit PositionChanged(t.low, t.high);
    });
    connect(player_, &QMediaPlayer::mediaStatusChanged, this,
        [this](QMediaPlayer::MediaStatus status) { onMediaStatus(int(status)); });
    // The medium may still be loading when the first seek comes; it is made once it can be.
    connect(player_, &QMediaPlayer::seekableChanged, this, [this](bool seekable) {
        if (seekable && pendingSeekMs_ >= 0) {
            player_->setPosition(pendingSeekMs_);
            pendingSeekMs_ = -1;
        }
    });
    connect(player_, &QMediaPlayer::durationChanged, this,
        [this](qint64) { onMediaStatus(int(player_->mediaStatus())); });
    connect(player_, &QMediaPlayer::playbackStateChanged, this,
        [this](QMediaPlayer::PlaybackState state) {
            if (state == QMediaPlayer::StoppedState)
                emit StateChanged(Repaint);
        });
    // Errors can arrive inside setSource(); the handlers must not run in the middle of a command.
    connect(
        player_, &QMediaPlayer::errorOccurred, this,
        [this](QMediaPlayer::Error error, const QString &text) {
            // One report per medium: Qt may repeat the failure for each command that follows.
            if (error == QMediaPlayer::NoError || errorReported_)
                return;
            errorReported_ = true;
            lastError_ = text.isEmpty() ? QStringLiteral("The file cannot be played.") : text;
            emit ErrorOccurred(lastError_);
        },
        Qt::QueuedConnection);
}

PreviewPlayer::~PreviewPlayer()
{
    player_->stop();
    player_->setVideoOutput(nullptr);
}

bool PreviewPlayer::LoadEngine(bool load, const QString &librariesFolder)
{
    Q_UNUSED(librariesFolder);
    if (!load)
        return engineLoaded_;
    engineLoaded_ = player_->isAvailable();
    lastError_ = engineLoaded_
        ? QString()
        : QStringLiteral("No media backend for playback is available (Qt Multimedia).");
    return engineLoaded_;
}

void PreviewPlayer::attachAudioIfPossible()
{
    if (audio_ || QMediaDevices::audioOutputs().isEmpty())
        return;
    audio_ = new QAudioOutput(QMediaDevices::defaultAudioOutput(), this);
    applySound();
    player_->setAudioOutput(audio_);
}

void PreviewPlayer::applySound()
{
    if (!audio_)
        return;
    audio_->setVolume(float(volume_) / 100.0f);
    audio_->setMuted(muted_);
}

void PreviewPlayer::OpenMedia(const QString &fileName, QWidget *videoArea, bool startPaused)
{
    lastError_.clear();
    openReported_ = false;
    errorReported_ = false;
    pendingSeekMs_ = -1;
    fileName_ = fileName;
    if (videoArea != videoArea_) {
        if (videoArea_)
            videoArea_->removeEventFilter(this);
        delete video_;
        videoArea_ = videoArea;
        if (videoArea_) {
            video_ = new QVideoWidget(videoArea_);
            video_->setAttribute(Qt::WA_TransparentForMouseEvents);
            videoArea_->installEventFilter(this);
        }
        player_->setVideoOutput(video_.data());
    }
    if (video_) {
        fitVideo();
        video_->show();
    }
    player_->setSource(QUrl::fromLocalFile(fileName));
    if (startPaused)
        player_->pause();
    else
        player_->play();
}

int PreviewPlayer::HasOpenMedia() const
{
    if (player_->source().isEmpty())
        return 0;
    const QMediaPlayer::MediaStatus status = player_->mediaStatus();
    return status == QMediaPlayer::NoMedia || status == QMediaPlayer::InvalidMedia ? 0 : 1;
}

void PreviewPlayer::TogglePause()
{
    if (!HasOpenMedia())
        return;
    if (player_->playbackState() == QMediaPlayer::PlayingState)
        player_->pause();
    else
        player_->play();
}

void PreviewPlayer::CloseMedia(bool)
{
    player_->stop();
    player_->setSource(QUrl());
    openReported_ = false;
    pendingSeekMs_ = -1;
    // The last picture would otherwise stay on screen; the area's own background shows instead.
    if (video_)
        video_->hide();
}

void PreviewPlayer::SeekTo(const TimeHalves &time)
{
    if (!HasOpenMedia())
        return;
    // Qt seeks in milliseconds; round to the nearest rather than cut off.
    const int64_t us = time.Microseconds();
    const qint64 ms = us < 0 ? 0 : (us + 500) / 1000;
    if (player_->isSeekable()) {
        pendingSeekMs_ = -1;
        player_->setPosition(ms);
    } else {
        pendingSeekMs_ = ms;
    }
}

int PreviewPlayer::PlayState() const
{
    if (!HasOpenMedia())
        return Closed;
    switch (player_->playbackState()) {
    case QMediaPlayer::PlayingState:
        return Playing;
    case QMediaPlayer::PausedState:
        return Paused;
    default:
        return Closed;
    }
}

TimeHalves PreviewPlayer::Position() const
{
    if (!HasOpenMedia())
        return {};
    return FromMilliseconds(pendingSeekMs_ >= 0 ? pendingSeekMs_ : player_->position());
}

void PreviewPlayer::SetAudioVolume(int16_t volume)
{
    volume_ = qBound(0, int(volume), 100);
    applySound();
}

void PreviewPlayer::SetMute(bool mute)
{
    muted_ = mute;
    applySound();
}

void PreviewPlayer::SetAspectRatio(float ratio)
{
    aspectRatio_ = ratio;
    fitVideo();
}

QWidget *PreviewPlayer::VideoWindowHandle() const
{
    return video_.data();
}

void PreviewPlayer::fitVideo()
{
    if (!video_ || !videoArea_)
        return;
    if (aspectRatio_ > 0.0f) {
        video_->setAspectRatioMode(Qt::IgnoreAspectRatio);
        video_->setGeometry(
            FitAspectRatio(videoArea_->width(), videoArea_->height(), double(aspectRatio_)));
    } else {
        video_->setAspectRatioMode(Qt::KeepAspectRatio);
        video_->setGeometry(videoArea_->rect());
    }
}

bool PreviewPlayer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == videoArea_ && event->type() == QEvent::Resize)
        fitVideo();
    return QObject::eventFilter(watched, event);
}

void PreviewPlayer::onMediaStatus(int status)
{
    switch (QMediaPlayer::MediaStatus(status)) {
    case QMediaPlayer::LoadedMedia:
    case QMediaPlayer::BufferingMedia:
    case QMediaPlayer::BufferedMedia:
        if (!openReported_ && player_->duration() > 0) {
            openReported_ = true;
            const TimeHalves d = FromMilliseconds(player_->duration());
            emit MediaOpened(d.low, d.high);
        }
        break;
    case QMediaPlayer::EndOfMedia:
        emit StateChanged(EndOfPlayback);
        break;
    default:
        break;
    }
}

} // namespace sonivert
