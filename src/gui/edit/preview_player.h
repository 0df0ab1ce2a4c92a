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

    bool IsEngineLoaded() const { return m_engineLoaded; }
    // Qt Multimedia needs no library folder; the call only checks that a backend is there.
    bool LoadEngine(bool load, const QString &librariesFolder);
    QString LastErrorText() const { return m_lastError; }

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
    TimeHalves position() const;

    void setAudioVolume(int16_t volume); // 0 to 100
    void setMute(bool mute);
    bool muted() const { return m_muted; }
    int AudioVolume() const { return m_volume; }
    // Display aspect ratio of the picture (width / height); 0 or less keeps the stream's own.
    void setAspectRatio(float ratio);
    bool hasAudioOutput() const { return m_audio != nullptr; }

    QWidget *VideoWindowHandle() const;
    QString fileName() const { return m_fileName; }

signals:
    // Duration of the medium just opened.
    void MediaOpened(qint32 low, qint32 high);
    void PositionChanged(qint32 low, qint32 high);
    // Repaint (4) when playback stops, EndOfPlayback (5) at the end of the medium.
    void StateChanged(int code);
    // Always delivered after the call that caused it has returned.
    void errorOccurred(const QString &text);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void attachAudioIfPossible();
    void applySound();
    void fitVideo();
    void onMediaStatus(int status);

    QMediaPlayer *m_player = nullptr;
    QMediaDevices *m_devices = nullptr;
    QAudioOutput *m_audio = nullptr;
    QPointer<QWidget> m_videoArea;
    QPointer<QVideoWidget> m_video;
    QString m_fileName;
    QString m_lastError;
    bool m_engineLoaded = false;
    bool m_openReported = false;
    bool m_errorReported = false;
    qint64 m_pendingSeekMs = -1;
    bool m_muted = false;
    int m_volume = 100;
    float m_aspectRatio = 0.0f;
};

} // namespace sonivert
