#pragma once

#include "core/edit/player_time.h"
#include "gui/edit/player_command.h"

#include <QObject>
#include <QString>
#include <array>

class QLabel;
class QPushButton;
class QSlider;
class QTimer;
class QWidget;

namespace sonivert {

class PositionBar;
class PreviewPlayer;
class SeekSlider;

// The trim editor's widgets that play the medium.
struct TransportControls
{
    QWidget *dialog = nullptr; // the parent of messages
    QWidget *preview = nullptr;
    PositionBar *bar = nullptr;
    SeekSlider *seekSlider = nullptr;
    std::array<QPushButton *, 3> buttons {}; // play/pause, stop, mute
    QSlider *volume = nullptr;
    QLabel *playTime = nullptr;
    QLabel *playTotal = nullptr;
    QTimer *playSelected = nullptr; // the editor's selection playback, which a seek ends
};

// The playback side of the trim editor: play and pause, stop, sound, seeking by the slider and
// the position bar, and what the player reports. The editor keeps the trim range; this keeps
// the play state, the position and the medium's length.
class PreviewTransport : public QObject
{
    Q_OBJECT

public:
    PreviewTransport(PreviewPlayer *player, const TransportControls &controls,
        const QString &filePath, QObject *parent = nullptr);

    void pressPlayPause();
    void pressStop();
    void pressMute();
    // Seeks to the time under pixel x of the position bar.
    void SeekToPixel(int x);
    void SeekTo(const TimeHalves &time);
    void showPosition(const TimeHalves &position);
    void showPlayPixel(int x);

    // A fresh start for a medium of the given length: stopped, at 0, with sound.
    void prepare(const TimeHalves &duration);
    // Once the editor is closing, the player's late reports go unheard.
    void close();
    // The person may have muted the preview; the player is left with sound.
    void restoreSound();

    TimeHalves MediaDuration() const { return m_mediaDuration; }
    TimeHalves PlayPosition() const { return m_playPosition; }
    // The bar pixel the picture stands on: where Set Start/End and the nudges take a trim point.
    int playPixel() const { return m_playPixel; }
    TimeHalves LastSeekTime() const { return m_lastSeekTime; }
    // -1 while starting, 0: resume after a seek, 1: the person paused, 2: stopped.
    int ResumeAfterSeek() const { return m_resumeAfterSeek; }
    bool playing() const { return m_playing; }

signals:
    // The controls that need an open medium follow this: on once it plays, off when stopped.
    void controlsEnabled(bool enabled);

private:
    void onVolumeChanged(int value);
    void onMediaOpened(qint32 low, qint32 high);
    void onStateChanged(int code);
    void onPlayerError(const QString &text);
    void onSeekSliderPressed();
    void onSeekSliderMoved(int value);
    void onSeekSliderReleased(int x);
    void showMuted(bool muted);
    PlayerLaunchSettings launchSettings() const;

    PreviewPlayer *m_player;
    TransportControls m_controls;
    QString m_filePath;
    TimeHalves m_mediaDuration;
    TimeHalves m_playPosition;
    int m_playPixel = 0;
    TimeHalves m_lastSeekTime;
    int m_resumeAfterSeek = 2;
    bool m_playing = false; // the play button offers Pause
    bool m_muted = false;
    bool m_progressUpdating = false;
    bool m_dragInProgress = false;
    bool m_closed = false;
};

} // namespace sonivert
