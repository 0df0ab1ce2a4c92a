#pragma once

#include "core/edit/player_time.h"

#include <QObject>
#include <QPointer>
#include <QString>

class QAudioOutput;
class QMediaDevices;
class QMediaPlayer;
class QVideoWidget;
class QWidget;

namespace sonivert {

// The preview player: one medium at a time, its picture drawn inside a given area, times in
// microsecond halves. Wraps QMediaPlayer; the sound goes out only when the machine has an output
// device (Qt's FFmpeg backend crashes when an audio output is attached without one), so a machine
// without sound shows the picture silently.
class PreviewPlayer : public QObject
{
    Q_OBJECT

public:
    enum PlayStateCode { Closed = 0, Paused = 1, Playing = 2 };
    enum StateCode { Repaint = 4, EndOfPlayback = 5 };

    explicit PreviewPlayer(QObject *parent = nullptr);
    ~PreviewPlayer() override;

    bool IsEngineLoaded() const { return engineLoaded_; }
    // Qt Multimedia needs no library folder; the call only checks that a backend is there.
    bool LoadEngine(bool load, const QString &librariesFolder);
    QString LastErrorText() const { return lastError_; }

    // Opens the file and shows its picture inside videoArea (filling it at the aspect ratio set
    // with SetAspectRatio); startPaused stops on the first picture.
    void OpenMedia(const QString &fileName, QWidget *videoArea, bool startPaused);
    // Non-zero while a medium is open.
    int HasOpenMedia() const;
    void TogglePause();
    void CloseMedia(bool unused = false);
    void SeekTo(const TimeHalves &time);
    // Closed (or stopped) 0, paused 1, playing 2.
    int PlayState() const;
    TimeHalves Position() const;

    void SetAudioVolume(int16_t volume); // 0 to 100
    void SetMute(bool mute);
    bool Muted() const { return muted_; }
    int AudioVolume() const { return volume_; }
    // Display aspect ratio of the picture (width / height); 0 or less keeps the stream's own.
    void SetAspectRatio(float ratio);
    bool HasAudioOutput() const { return audio_ != nullptr; }

    QWidget *VideoWindowHandle() const;
    QString FileName() const { return fileName_; }

signals:
    // Duration of the medium just opened.
    void MediaOpened(qint32 low, qint32 high);
    void PositionChanged(qint32 low, qint32 high);
    // Repaint (4) when playback stops, EndOfPlayback (5) at the end of the medium.
    void StateChanged(int code);
    // Always delivered after the call that caused it has returned.
    void ErrorOccurred(const QString &text);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void attachAudioIfPossible();
    void applySound();
    void fitVideo();
    void onMediaStatus(int status);

    QMediaPlayer *player_ = nullptr;
    QMediaDevices *devices_ = nullptr;
    QAudioOutput *audio_ = nullptr;
    QPointer<QWidget> videoArea_;
    QPointer<QVideoWidget> video_;
    QString fileName_;
    QString lastError_;
    bool engineLoaded_ = false;
    bool openReported_ = false;
    bool errorReported_ = false;
    qint64 pendingSeekMs_ = -1;
    bool muted_ = false;
    int volume_ = 100;
    float aspectRatio_ = 0.0f;
};

} // namespace sonivert
