#include "core/edit/trim_range.h"

#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "core/media/time_text.h"

#include <algorithm>
#include <cmath>

namespace sonivert {

namespace {

int32_t HalfOfField(const FileListModel &list, int row, int index)
{
    bool ok = false;
    const int32_t value = list.GetFieldText(row, index).trimmed().toInt(&ok);
    return ok ? value : 0;
}

} // namespace

TrimRange::TrimRange(QObject *parent)
    : QObject(parent)
{
    updateTexts();
}

bool TrimRange::Activate(const TimeHalves &duration, const TimeHalves &start, const TimeHalves &end)
{
    dirty_ = false;
    ClearTime(start_);
    ClearTime(end_);
    duration_ = duration;
    timePerPixel_ = barMaximum_ > 0 ? ToCurrencyTime(duration_).Value() / barMaximum_ : 0.0;
    const int32_t seconds = WholeSeconds(TimeToSeconds(duration_));
    if (seconds <= 0) {
        updateTexts();
        emit changed();
        return false;
    }
    trimGap_ = barMaximum_ / seconds;
    start_ = start;
    end_ = end;
    SetTrimPoints(PixelOf(start_), Unchanged, true, true, false);
    SetTrimPoints(Unchanged, PixelOf(end_), true, true, false);
    activated_ = true;
    return true;
}

bool TrimRange::ActivateFromRow(const FileListModel &list, int row)
{
    if (row < 0 || row >= list.Count())
        return false;
    return Activate({ HalfOfField(list, row, Field::FileDurationLow),
                        HalfOfField(list, row, Field::FileDurationHigh) },
        { HalfOfField(list, row, Field::TrimStartLow),
            HalfOfField(list, row, Field::TrimStartHigh) },
        { HalfOfField(list, row, Field::TrimEndLow), HalfOfField(list, row, Field::TrimEndHigh) });
}

void TrimRange::SetTrimPoints(
    int startPixel, int endPixel, bool keepTimes, bool pushOther, bool seek)
{
    if (startPixel >= 0) {
        placeStart(std::min(startPixel, barMaximum_), keepTimes, pushOther);
        if (seek)
            emit seekRequested(startPixel_);
    }
    if (endPixel >= 0) {
        placeEnd(std::min(endPixel, barMaximum_), keepTimes, pushOther);
        if (seek)
            emit seekRequested(endPixel_);
    }
    updateTexts();
    emit changed();
}

void TrimRange::placeStart(int s, bool keepTimes, bool pushOther)
{
    if (s + trimGap_ < endPixel_) {
        startPixel_ = s;
    } else if (!pushOther) {
        startPixel_ = std::max(0, endPixel_ - trimGap_);
    } else {
        endPixel_ = barMaximum_;
        if (!keepTimes)
            end_ = duration_;
        startPixel_ = s + trimGap_ <= barMaximum_ ? s : std::max(0, barMaximum_ - trimGap_);
    }
    if (!keepTimes)
        start_ = TimeOf(startPixel_);
}

void TrimRange::placeEnd(int e, bool keepTimes, bool pushOther)
{
    bool shortOfGap = false;
    if (e - trimGap_ >= startPixel_) {
        endPixel_ = e;
    } else if (!pushOther) {
        endPixel_ = std::min(barMaximum_, startPixel_ + trimGap_);
    } else {
        startPixel_ = 0;
        if (!keepTimes)
            ClearTime(start_);
        shortOfGap = e - trimGap_ < 0;
        endPixel_ = shortOfGap ? trimGap_ : e;
    }
    // An end pushed out to the gap takes the time of where its handle now stands, even when the
    // stored times are kept: the stored end lay inside the gap and cannot be shown.
    if (!keepTimes || shortOfGap)
        end_ = TimeOf(endPixel_);
}

double TrimRange::SelectedSeconds() const
{
    return TimeToSeconds(end_) - TimeToSeconds(start_);
}

void TrimRange::updateTexts()
{
    const double length = SelectedSeconds();
    selectedCaption_ = FormatSeconds(WholeSeconds(length), false);
    selectedTag_ = QString::number(std::nearbyint(length * 100.0) / 100.0, 'f', 2);
    startText_ = QStringLiteral("Start Time : ")
        + FormatSeconds(WholeSeconds(TimeToSeconds(start_)), false);
    endText_
        = QStringLiteral("End Time : ") + FormatSeconds(WholeSeconds(TimeToSeconds(end_)), false);
}

void TrimRange::Reset()
{
    ClearTime(start_);
    end_ = duration_;
    SetTrimPoints(PixelOf(start_), Unchanged, true, true, false);
    SetTrimPoints(Unchanged, PixelOf(end_), true, true, false);
}

void TrimRange::SaveTrim(FileListModel &list, int row)
{
    if (row < 0 || row >= list.Count())
        return;
    if (start_ == end_) {
        ClearTime(start_);
        // The stored length must be the one the conversion will produce.
        updateTexts();
        emit changed();
    }
    list.SetField(row, Field::TrimStartLow, HalfText(start_.low));
    list.SetField(row, Field::TrimStartHigh, HalfText(start_.high));
    list.SetField(row, Field::TrimEndLow, HalfText(end_.low));
    list.SetField(row, Field::TrimEndHigh, HalfText(end_.high));
    list.SetField(row, Field::SrcDuration, selectedTag_);
    list.SetTrimmed(row, start_.Microseconds() > 0 || end_ != duration_);
    list.UpdateListFooter();
    list.SetDurationDisplay(row, QStringLiteral("  ") + selectedCaption_,
        QStringLiteral("Trimmed from (") + list.GetFieldText(row, Field::Duration)
            + QStringLiteral(")"),
        ListIcon::Trimmed);
    dirty_ = false;
}

} // namespace sonivert
