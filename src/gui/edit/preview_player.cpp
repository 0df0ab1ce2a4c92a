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

TimeHalves fromMilliseconds(qint64 ms)
{
    return TimeHalves::fromMicroseconds(ms * 1000);
}

} // namespace

PreviewPlayer::PreviewPlayer(QObject *parent)
    : QObject(parent)
    , m_player(new QMediaPlayer(this))
    , m_devices(new QMediaDevices(this))
{
    attachAudioIfPossible();
    connect(m_devices, &QMediaDevices::audioOutputsChanged, this,
        &PreviewPlayer::attachAudioIfPossible);
    connect(m_player, &QMediaPlayer::positionChanged, this, [this](qint64 ms) {
        if (!HasOpenMedia())
            return;
        const TimeHalves t = fromMilliseconds(ms);
        emit PositionChanged(t.low, t.high);
    });
    connect(m_player, &QMediaPlayer::mediaStatusChanged, this,
        [this](QMediaPlayer::MediaStatus status) { onMediaStatus(int(status)); });
    // The medium may still be loading when the first seek comes; it is made once it can be.
    connect(m_player, &QMediaPlayer::seekableChanged, this, [this](bool seekable) {
        if (seekable && m_pendingSeekMs >= 0) {
            m_player->setPosition(m_pendingSeekMs);
            m_pendingSeekMs = -1;
        }
    });
    connect(m_player, &QMediaPlayer::durationChanged, this,
        [this](qint64) { onMediaStatus(int(m_player->mediaStatus())); });
    connect(m_player, &QMediaPlayer::playbackStateChanged, this,
        [this](QMediaPlayer::PlaybackState state) {
            if (state == QMediaPlayer::StoppedState)
                emit StateChanged(Repaint);
        });
    // Errors can arrive inside setSource(); the handlers must not run in the middle of a command.
    connect(
        m_player, &QMediaPlayer::errorOccurred, this,
        [this](QMediaPlayer::Error error, const QString &text) {
            // One report per medium: Qt may repeat the failure for each command that follows.
            if (error == QMediaPlayer::NoError || m_errorReported)
                return;
            m_errorReported = true;
            m_lastError = text.isEmpty() ? QStringLiteral("The file cannot be played.") : text;
            emit errorOccurred(m_lastError);
        },
        Qt::QueuedConnection);
}

PreviewPlayer::~PreviewPlayer()
{
    m_player->stop();
    m_player->setVideoOutput(nullptr);
}

bool PreviewPlayer::LoadEngine(bool load, const QString &librariesFolder)
{
    Q_UNUSED(librariesFolder);
    if (!load)
        return m_engineLoaded;
    m_engineLoaded = m_player->isAvailable();
    m_lastError = m_engineLoaded
        ? QString()
        : QStringLiteral("No media backend for playback is available (Qt Multimedia).");
    return m_engineLoaded;
}

void PreviewPlayer::attachAudioIfPossible()
{
    if (m_audio || QMediaDevices::audioOutputs().isEmpty())
        return;
    m_audio = new QAudioOutput(QMediaDevices::defaultAudioOutput(), this);
    applySound();
    m_player->setAudioOutput(m_audio);
}

void PreviewPlayer::applySound()
{
    if (!m_audio)
        return;
    m_audio->setVolume(float(m_volume) / 100.0f);
    m_audio->setMuted(m_muted);
}

void PreviewPlayer::OpenMedia(const QString &fileName, QWidget *videoArea, bool startPaused)
{
    m_lastError.clear();
    m_openReported = false;
    m_errorReported = false;
    m_pendingSeekMs = -1;
    m_fileName = fileName;
    if (videoArea != m_videoArea) {
        if (m_videoArea)
            m_videoArea->removeEventFilter(this);
        delete m_video;
        m_videoArea = videoArea;
        if (m_videoArea) {
            m_video = new QVideoWidget(m_videoArea);
            m_video->setAttribute(Qt::WA_TransparentForMouseEvents);
            m_videoArea->installEventFilter(this);
        }
        m_player->setVideoOutput(m_video.data());
    }
    if (m_video) {
        fitVideo();
        m_video->show();
    }
    m_player->setSource(QUrl::fromLocalFile(fileName));
    if (startPaused)
        m_player->pause();
    else
        m_player->play();
}

int PreviewPlayer::HasOpenMedia() const
{
    if (m_player->source().isEmpty())
        return 0;
    const QMediaPlayer::MediaStatus status = m_player->mediaStatus();
    return status == QMediaPlayer::NoMedia || status == QMediaPlayer::InvalidMedia ? 0 : 1;
}

void PreviewPlayer::TogglePause()
{
    if (!HasOpenMedia())
        return;
    if (m_player->playbackState() == QMediaPlayer::PlayingState)
        m_player->pause();
    else
        m_player->play();
}

void PreviewPlayer::CloseMedia(bool)
{
    m_player->stop();
    m_player->setSource(QUrl());
    m_openReported = false;
    m_pendingSeekMs = -1;
    // The last picture would otherwise stay on screen; the area's own background shows instead.
    if (m_video)
        m_video->hide();
}

void PreviewPlayer::SeekTo(const TimeHalves &time)
{
    if (!HasOpenMedia())
        return;
    // Qt seeks in milliseconds; round to the nearest rather than cut off.
    const int64_t us = time.microseconds();
    const qint64 ms = us < 0 ? 0 : (us + 500) / 1000;
    if (m_player->isSeekable()) {
        m_pendingSeekMs = -1;
        m_player->setPosition(ms);
    } else {
        m_pendingSeekMs = ms;
    }
}

int PreviewPlayer::PlayState() const
{
    if (!HasOpenMedia())
        return Closed;
    switch (m_player->playbackState()) {
    case QMediaPlayer::PlayingState:
        return Playing;
    case QMediaPlayer::PausedState:
        return Paused;
    default:
        return Closed;
    }
}

TimeHalves PreviewPlayer::position() const
{
    if (!HasOpenMedia())
        return {};
    return fromMilliseconds(m_pendingSeekMs >= 0 ? m_pendingSeekMs : m_player->position());
}

void PreviewPlayer::setAudioVolume(int16_t volume)
{
    m_volume = qBound(0, int(volume), 100);
    applySound();
}

void PreviewPlayer::setMute(bool mute)
{
    m_muted = mute;
    applySound();
}

void PreviewPlayer::setAspectRatio(float ratio)
{
    m_aspectRatio = ratio;
    fitVideo();
}

QWidget *PreviewPlayer::VideoWindowHandle() const
{
    return m_video.data();
}

void PreviewPlayer::fitVideo()
{
    if (!m_video || !m_videoArea)
        return;
    if (m_aspectRatio > 0.0f) {
        m_video->setAspectRatioMode(Qt::IgnoreAspectRatio);
        m_video->setGeometry(
            fitAspectRatio(m_videoArea->width(), m_videoArea->height(), double(m_aspectRatio)));
    } else {
        m_video->setAspectRatioMode(Qt::KeepAspectRatio);
        m_video->setGeometry(m_videoArea->rect());
    }
}

bool PreviewPlayer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_videoArea && event->type() == QEvent::Resize)
        fitVideo();
    return QObject::eventFilter(watched, event);
}

void PreviewPlayer::onMediaStatus(int status)
{
    switch (QMediaPlayer::MediaStatus(status)) {
    case QMediaPlayer::LoadedMedia:
    case QMediaPlayer::BufferingMedia:
    case QMediaPlayer::BufferedMedia:
        if (!m_openReported && m_player->duration() > 0) {
            m_openReported = true;
            const TimeHalves d = fromMilliseconds(m_player->duration());
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
