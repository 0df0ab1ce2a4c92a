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

    void PressPlayPause();
    void PressStop();
    void PressMute();
    // Seeks to the time under pixel x of the position bar.
    void SeekToPixel(int x);
    void SeekTo(const TimeHalves &time);
    void ShowPosition(const TimeHalves &position);

    // A fresh start for a medium of the given length: stopped, at 0, with sound.
    void Prepare(const TimeHalves &duration);
    // Once the editor is closing, the player's late reports go unheard.
    void Close();
    // The person may have muted the preview; the player is left with sound.
    void RestoreSound();

    TimeHalves MediaDuration() const { return mediaDuration_; }
    TimeHalves PlayPosition() const { return playPosition_; }
    TimeHalves LastSeekTime() const { return lastSeekTime_; }
    // -1 while starting, 0: resume after a seek, 1: the person paused, 2: stopped.
    int ResumeAfterSeek() const { return resumeAfterSeek_; }
    bool Playing() const { return playing_; }

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

    PreviewPlayer *player_;
    TransportControls c_;
    QString filePath_;
    TimeHalves mediaDuration_;
    TimeHalves playPosition_;
    TimeHalves lastSeekTime_;
    int resumeAfterSeek_ = 2;
    bool playing_ = false; // the play button offers Pause
    bool muted_ = false;
    bool progressUpdating_ = false;
    bool dragInProgress_ = false;
    bool closed_ = false;
};

} // namespace sonivert
