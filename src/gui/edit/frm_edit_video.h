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
    static FrmEditVideo *current();

    // Presses Stop; the player's end of playback comes here.
    void EditWindow_StopPlayer();
    // Seeks to the time under pixel x of the bar.
    void SeekToPixel(int x);
    void SaveTrim();
    // For the program's unload.
    void stopTimers();

    const TrimRange &range() const { return m_range; }
    PreviewPlayer *player() const { return m_player; }
    TimeHalves MediaDuration() const;
    TimeHalves PlayPosition() const;
    TimeHalves LastSeekTime() const;
    int ResumeAfterSeek() const;
    QString filePath() const { return m_filePath; }

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

    QPointer<FileListModel> m_list;
    int m_row;
    QPointer<QWidget> m_mainWindow;
    QString m_filePath;
    TrimRange m_range;
    PreviewPlayer *m_player;
    PreviewTransport *m_transport = nullptr;

    bool m_closing = false;
    bool m_closed = false;

    EditorWidgets m_widgets;
};

// Opens the trim editor for a row over the main window: disables the main window, marks the
// editor open (encoder events are then ignored) and shows it application-modal without waiting.
// Closing it saves or drops the range, then re-enables the main window and clears the mark.
// Returns the editor, or null for a row that does not exist.
FrmEditVideo *openTrimEditor(QWidget *mainWindow, FileListModel *list, int row);

} // namespace sonivert
