#pragma once

#include "core/edit/player_time.h"
#include "core/edit/trim_range.h"
#include "gui/edit/editor_widgets.h"

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
class PreviewTransport;
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
    static constexpr int BarLeft = EditorBarLeft;
    static constexpr int BarWidth = EditorBarWidth;

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
    TimeHalves MediaDuration() const;
    TimeHalves PlayPosition() const;
    TimeHalves LastSeekTime() const;
    int ResumeAfterSeek() const;
    QString FilePath() const { return filePath_; }

public slots:
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;
    bool event(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void connectControls();
    void activateEditor();
    void onWaitToPlay();

    // The trim buttons, pressed by the person or by the editor itself.
    void pressSetPoint(int index);
    void pressPlaySelection();
    void pressNudge(int index);
    void pressReset();

    void onPlaySelectedTick();
    void onHandlePressed(int index);
    void onHandleDragged(int index, int barX);
    void onHandleReleased();
    void onRangeChanged();

    void setPlayerControlsEnabled(bool enabled);
    void finishClose();

    QPointer<FileListModel> list_;
    int row_;
    QPointer<QWidget> mainWindow_;
    QString filePath_;
    TrimRange range_;
    PreviewPlayer *player_;
    PreviewTransport *transport_ = nullptr;

    bool closing_ = false;
    bool closed_ = false;

    EditorWidgets w_;
};

// Opens the trim editor for a row over the main window: disables the main window, marks the
// editor open (encoder events are then ignored) and shows it application-modal without waiting.
// Closing it saves or drops the range, then re-enables the main window and clears the mark.
// Returns the editor, or null for a row that does not exist.
FrmEditVideo *OpenTrimEditor(QWidget *mainWindow, FileListModel *list, int row);

} // namespace sonivert
