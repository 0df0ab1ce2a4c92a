#pragma once

#include "core/edit/player_time.h"

#include <QObject>
#include <QString>

namespace sonivert {

class FileListModel;

// The range being trimmed: two points on a bar of W pixels that stands for the whole file of
// duration D, the times they stand for, and whether there are unsaved changes. The editor window
// shows it and moves the player where it asks.
class TrimRange : public QObject
{
    Q_OBJECT

public:
    static constexpr int InitialTrimGap = 100;
    static constexpr int Unchanged = -1; // a pixel argument that leaves its point alone

    explicit TrimRange(QObject *parent = nullptr);

    // The bar's width in pixels, set once the window has its size.
    void SetBarMaximum(int pixels) { barMaximum_ = pixels; }
    int BarMaximum() const { return barMaximum_; }

    // Reads the duration and the range of the row. False, with nothing read, when the duration
    // rounds to 0 whole seconds: the smallest gap cannot be computed for it then.
    bool Activate(const TimeHalves &duration, const TimeHalves &start, const TimeHalves &end);
    bool Activated() const { return activated_; }
    // The same from the row's fields 36 to 39, 44 and 45.
    bool ActivateFromRow(const FileListModel &list, int row);

    // Places one or both points (Unchanged leaves one alone). keepTimes false gives each placed
    // point the time of its pixel; pushOther lets a point that comes closer than TrimGap to the
    // other one push that one to its end of the bar; seek asks the player to move there.
    void SetTrimPoints(int startPixel, int endPixel, bool keepTimes, bool pushOther, bool seek);
    // Back to the whole file; the unsaved-changes mark stays as it was.
    void Reset();
    // Writes the range into the row: fields 36 to 39, the duration cell's caption, tooltip and
    // trimmed mark, field 5 and the footer. A range whose start equals its end keeps the end and
    // starts at 0.
    void SaveTrim(FileListModel &list, int row);

    int TrimGap() const { return trimGap_; }
    // D / W in the fixed-point unit (hundredths of a second per pixel).
    double TimePerPixel() const { return timePerPixel_; }
    TimeHalves Duration() const { return duration_; }
    TimeHalves Start() const { return start_; }
    TimeHalves End() const { return end_; }
    int StartPixel() const { return startPixel_; }
    int EndPixel() const { return endPixel_; }
    TimeHalves TimeOf(int pixel) const { return TimeOfPixel(pixel, barMaximum_, duration_); }
    int PixelOf(const TimeHalves &time) const { return PixelOfTime(time, duration_, barMaximum_); }

    double SelectedSeconds() const;
    QString StartText() const { return startText_; } // "Start Time : 00:00:10"
    QString EndText() const { return endText_; } // "End Time : 00:01:10"
    QString SelectedCaption() const { return selectedCaption_; } // "00:01:00"
    QString SelectedTag() const { return selectedTag_; } // "60.00"

    bool TrimDirty() const { return dirty_; }
    void SetTrimDirty(bool dirty) { dirty_ = dirty; }

signals:
    void changed();
    void seekRequested(int pixel);

private:
    void placeStart(int s, bool keepTimes, bool pushOther);
    void placeEnd(int e, bool keepTimes, bool pushOther);
    void updateTexts();

    int barMaximum_ = 0;
    int trimGap_ = InitialTrimGap;
    double timePerPixel_ = 0.0;
    bool activated_ = false;
    bool dirty_ = false;
    TimeHalves duration_;
    TimeHalves start_;
    TimeHalves end_;
    int startPixel_ = 0;
    int endPixel_ = 0;
    QString startText_;
    QString endText_;
    QString selectedCaption_;
    QString selectedTag_;
};

} // namespace sonivert
