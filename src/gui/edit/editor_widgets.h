#pragma once

#include <array>

class QDialog;
class QLabel;
class QPushButton;
class QSlider;
class QTimer;
class QWidget;

namespace sonivert {

class PositionBar;
class RangeHighlight;
class SeekSlider;
class TrimHandle;
class TrimRange;

// Where the trim bar lies in the fixed-size editor window (pixels).
inline constexpr int EditorBarLeft = 30;
inline constexpr int EditorBarWidth = 580;

// The trim editor's widgets, by their names in the window.
struct EditorWidgets
{
    QWidget *picPreview = nullptr;
    PositionBar *progressBarPlay = nullptr;
    std::array<TrimHandle *, 2> trimPointImage {};
    RangeHighlight *trimRange = nullptr;
    std::array<QPushButton *, 5> cmdTrim {};
    QPushButton *cmdReset = nullptr;
    std::array<QPushButton *, 2> cmdPanels {};
    std::array<QPushButton *, 3> cmdPlayer {};
    QSlider *sliderMPVolume = nullptr;
    SeekSlider *sliderPlay = nullptr;
    QLabel *lblPlayTime = nullptr;
    QLabel *lblPlayTotal = nullptr;
    QLabel *lblStartTime = nullptr;
    QLabel *lblEndTime = nullptr;
    QLabel *lblSelectedTime = nullptr;
    QLabel *lblCopyNote = nullptr; // shown when the output copies the original audio
    QTimer *timerWaitToPlay = nullptr;
    QTimer *timerPlaySelected = nullptr;
};

// Lays the editor out in dialog, its range texts as range has them.
EditorWidgets buildEditorWidgets(QDialog *dialog, const TrimRange &range);

} // namespace sonivert
