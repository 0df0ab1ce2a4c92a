#pragma once

#include "core/edit/player_time.h"
#include "core/edit/trim_range.h"
#include "gui/edit/player_command.h"

#include <QDialog>
#include <QPointer>
#include <array>

class QLabel;
class QPushButton;
class QSlider;
class QTimer;

namespace sonivert {

class FileListModel;
class PositionBar;
class PreviewPlayer;
class RangeHighlight;
class SeekSlider;
class TrimHandle;

// The trim editor: a preview of one row's file with a bar whose two handles set the range that
// the conversion will keep. Opened with OpenTrimEditor; deletes itself when closed.
class FrmEditVideo : public QDialog
{
    Q_OBJECT

public:
    // Geometry of the fixed-size window (pixels).
    static constexpr int BarLeft = 30;
    static constexpr int BarWidth = 580;

    FrmEditVideo(FileListModel *list, int row, QWidget *mainWindow);
    ~FrmEditVideo() override;

    // The editor that is open, or null.
    static FrmEditVideo *Current();

    // Presses Stop; the player's end of playback comes here.
    void EditWindow_StopPlayer();
    // Seeks to the time under pixel x of the bar.
    void SeekToPixel(int x);
    void SaveTrim();
    // For the program's unload.
    void StopTimers();

    const TrimRange &Range() const { return range_; }
    PreviewPlayer *Player() const { return player_; }
    TimeHalves MediaDuration() const { return mediaDuration_; }
    TimeHalves PlayPosition() const { return playPosition_; }
    TimeHalves LastSeekTime() const { return lastSeekTime_; }
    int ResumeAfterSeek() const { return resumeAfterSeek_; }
    QString FilePath() const { return filePath_; }

public slots:
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;
    bool event(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void buildLayout();
    void connectControls();
    void activateEditor();
    void onWaitToPlay();

    // The buttons, pressed by the person or by the editor itself.
    void pressPlayPause();
    void pressStop();
    void pressMute();
    void pressSetPoint(int index);
    void pressPlaySelection();
    void pressNudge(int index);
    void pressReset();

    void onVolumeChanged(int value);
    void onMediaOpened(qint32 low, qint32 high);
    void onPositionChanged(qint32 low, qint32 high);
    void onStateChanged(int code);
    void onPlayerError(const QString &text);
    void onPlaySelectedTick();
    void onHandlePressed(int index);
    void onHandleDragged(int index, int barX);
    void onHandleReleased();
    void onSeekSliderPressed();
    void onSeekSliderMoved(int value);
    void onSeekSliderReleased(int x);
    void onRangeChanged();

    void seekPlayerTo(const TimeHalves &time);
    void showPosition(const TimeHalves &position);
    void setPlayerControlsEnabled(bool enabled);
    PlayerLaunchSettings launchSettings() const;
    bool askToSaveAndClose();
    void finishClose();

    QPointer<FileListModel> list_;
    int row_;
    QPointer<QWidget> mainWindow_;
    QString filePath_;
    TrimRange range_;
    PreviewPlayer *player_;

    TimeHalves mediaDuration_;
    TimeHalves playPosition_;
    TimeHalves lastSeekTime_;
    bool progressUpdating_ = false;
    int resumeAfterSeek_ = 2;
    bool dragInProgress_ = false;
    bool closing_ = false;
    bool closed_ = false;

    QWidget *picPreview_ = nullptr;
    PositionBar *progressBarPlay_ = nullptr;
    std::array<TrimHandle *, 2> trimPointImage_ {};
    RangeHighlight *trimRange_ = nullptr;
    std::array<QPushButton *, 5> cmdTrim_ {};
    QPushButton *cmdReset_ = nullptr;
    std::array<QPushButton *, 2> cmdPanels_ {};
    std::array<QPushButton *, 3> cmdPlayer_ {};
    QSlider *sliderMPVolume_ = nullptr;
    SeekSlider *sliderPlay_ = nullptr;
    QLabel *lblPlayTime_ = nullptr;
    QLabel *lblPlayTotal_ = nullptr;
    QLabel *lblStartTime_ = nullptr;
    QLabel *lblEndTime_ = nullptr;
    QLabel *lblSelectedTime_ = nullptr;
    QTimer *timerWaitToPlay_ = nullptr;
    QTimer *timerPlaySelected_ = nullptr;
};

// Opens the trim editor for a row over the main window: disables the main window, marks the
// editor open (encoder events are then ignored) and shows it application-modal without waiting.
// Closing it saves or drops the range, then re-enables the main window and clears the mark.
// Returns the editor, or null for a row that does not exist.
FrmEditVideo *OpenTrimEditor(QWidget *mainWindow, FileListModel *list, int row);

} // namespace sonivert
