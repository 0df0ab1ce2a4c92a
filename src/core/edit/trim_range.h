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
    void setBarMaximum(int pixels) { m_barMaximum = pixels; }
    int barMaximum() const { return m_barMaximum; }

    // Reads the duration and the range of the row. False, with nothing read, when the duration
    // rounds to 0 whole seconds: the smallest gap cannot be computed for it then.
    bool activate(const TimeHalves &duration, const TimeHalves &start, const TimeHalves &end);
    bool activated() const { return m_activated; }
    // The same from the row's fields 36 to 39, 44 and 45.
    bool activateFromRow(const FileListModel &list, int row);

    // Places one or both points (Unchanged leaves one alone). keepTimes false gives each placed
    // point the time of its pixel; pushOther lets a point that comes closer than TrimGap to the
    // other one push that one to its end of the bar; seek asks the player to move there.
    void SetTrimPoints(int startPixel, int endPixel, bool keepTimes, bool pushOther, bool seek);
    // Back to the whole file; the unsaved-changes mark stays as it was.
    void reset();
    // Writes the range into the row: fields 36 to 39, the duration cell's caption, tooltip and
    // trimmed mark, field 5 and the footer. A range whose start equals its end keeps the end and
    // starts at 0.
    void SaveTrim(FileListModel &list, int row);

    int TrimGap() const { return m_trimGap; }
    // D / W in the fixed-point unit (hundredths of a second per pixel).
    double TimePerPixel() const { return m_timePerPixel; }
    TimeHalves duration() const { return m_duration; }
    TimeHalves start() const { return m_start; }
    TimeHalves end() const { return m_end; }
    int startPixel() const { return m_startPixel; }
    int endPixel() const { return m_endPixel; }
    TimeHalves timeOf(int pixel) const { return timeOfPixel(pixel, m_barMaximum, m_duration); }
    int pixelOf(const TimeHalves &time) const
    {
        return pixelOfTime(time, m_duration, m_barMaximum);
    }

    double selectedSeconds() const;
    QString startText() const { return m_startText; } // "Start Time : 00:00:10"
    QString endText() const { return m_endText; } // "End Time : 00:01:10"
    QString selectedCaption() const { return m_selectedCaption; } // "00:01:00"
    QString selectedTag() const { return m_selectedTag; } // "60.00"

    bool TrimDirty() const { return m_dirty; }
    void setTrimDirty(bool dirty) { m_dirty = dirty; }

signals:
    void changed();
    void seekRequested(int pixel);

private:
    void placeStart(int s, bool keepTimes, bool pushOther);
    void placeEnd(int e, bool keepTimes, bool pushOther);
    void updateTexts();

    int m_barMaximum = 0;
    int m_trimGap = InitialTrimGap;
    double m_timePerPixel = 0.0;
    bool m_activated = false;
    bool m_dirty = false;
    TimeHalves m_duration;
    TimeHalves m_start;
    TimeHalves m_end;
    int m_startPixel = 0;
    int m_endPixel = 0;
    QString m_startText;
    QString m_endText;
    QString m_selectedCaption;
    QString m_selectedTag;
};

} // namespace sonivert
