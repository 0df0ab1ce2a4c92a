#include "core/edit/trim_range.h"

#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "core/media/time_text.h"

#include <algorithm>
#include <cmath>

namespace sonivert {

namespace {

int32_t halfOfField(const FileListModel &list, int row, int index)
{
    bool ok = false;
    const int32_t value = list.getFieldText(row, index).trimmed().toInt(&ok);
    return ok ? value : 0;
}

} // namespace

TrimRange::TrimRange(QObject *parent)
    : QObject(parent)
{
    updateTexts();
}

bool TrimRange::activate(const TimeHalves &duration, const TimeHalves &start, const TimeHalves &end)
{
    m_dirty = false;
    clearTime(m_start);
    clearTime(m_end);
    m_duration = duration;
    m_timePerPixel = m_barMaximum > 0 ? toCurrencyTime(m_duration).value() / m_barMaximum : 0.0;
    const int32_t seconds = wholeSeconds(timeToSeconds(m_duration));
    if (seconds <= 0) {
        updateTexts();
        emit changed();
        return false;
    }
    m_trimGap = m_barMaximum / seconds;
    m_start = start;
    m_end = end;
    SetTrimPoints(pixelOf(m_start), Unchanged, true, true, false);
    SetTrimPoints(Unchanged, pixelOf(m_end), true, true, false);
    m_activated = true;
    return true;
}

bool TrimRange::activateFromRow(const FileListModel &list, int row)
{
    if (row < 0 || row >= list.count())
        return false;
    return activate({ halfOfField(list, row, Field::FileDurationLow),
                        halfOfField(list, row, Field::FileDurationHigh) },
        { halfOfField(list, row, Field::TrimStartLow),
            halfOfField(list, row, Field::TrimStartHigh) },
        { halfOfField(list, row, Field::TrimEndLow), halfOfField(list, row, Field::TrimEndHigh) });
}

void TrimRange::SetTrimPoints(
    int startPixel, int endPixel, bool keepTimes, bool pushOther, bool seek)
{
    if (startPixel >= 0) {
        placeStart(std::min(startPixel, m_barMaximum), keepTimes, pushOther);
        if (seek)
            emit seekRequested(m_startPixel);
    }
    if (endPixel >= 0) {
        placeEnd(std::min(endPixel, m_barMaximum), keepTimes, pushOther);
        if (seek)
            emit seekRequested(m_endPixel);
    }
    updateTexts();
    emit changed();
}

void TrimRange::placeStart(int s, bool keepTimes, bool pushOther)
{
    if (s + m_trimGap < m_endPixel) {
        m_startPixel = s;
    } else if (!pushOther) {
        m_startPixel = std::max(0, m_endPixel - m_trimGap);
    } else {
        m_endPixel = m_barMaximum;
        if (!keepTimes)
            m_end = m_duration;
        m_startPixel = s + m_trimGap <= m_barMaximum ? s : std::max(0, m_barMaximum - m_trimGap);
    }
    if (!keepTimes)
        m_start = timeOf(m_startPixel);
}

void TrimRange::placeEnd(int e, bool keepTimes, bool pushOther)
{
    bool shortOfGap = false;
    if (e - m_trimGap >= m_startPixel) {
        m_endPixel = e;
    } else if (!pushOther) {
        m_endPixel = std::min(m_barMaximum, m_startPixel + m_trimGap);
    } else {
        m_startPixel = 0;
        if (!keepTimes)
            clearTime(m_start);
        shortOfGap = e - m_trimGap < 0;
        m_endPixel = shortOfGap ? m_trimGap : e;
    }
    // An end pushed out to the gap takes the time of where its handle now stands, even when the
    // stored times are kept: the stored end lay inside the gap and cannot be shown.
    if (!keepTimes || shortOfGap)
        m_end = timeOf(m_endPixel);
}

double TrimRange::selectedSeconds() const
{
    return timeToSeconds(m_end) - timeToSeconds(m_start);
}

void TrimRange::updateTexts()
{
    const double length = selectedSeconds();
    m_selectedCaption = FormatSeconds(wholeSeconds(length), false);
    m_selectedTag = QString::number(std::nearbyint(length * 100.0) / 100.0, 'f', 2);
    m_startText = QStringLiteral("Start Time : ")
        + FormatSeconds(wholeSeconds(timeToSeconds(m_start)), false);
    m_endText
        = QStringLiteral("End Time : ") + FormatSeconds(wholeSeconds(timeToSeconds(m_end)), false);
}

void TrimRange::reset()
{
    clearTime(m_start);
    m_end = m_duration;
    SetTrimPoints(pixelOf(m_start), Unchanged, true, true, false);
    SetTrimPoints(Unchanged, pixelOf(m_end), true, true, false);
}

void TrimRange::SaveTrim(FileListModel &list, int row)
{
    if (row < 0 || row >= list.count())
        return;
    if (m_start == m_end) {
        clearTime(m_start);
        // The stored length must be the one the conversion will produce.
        updateTexts();
        emit changed();
    }
    list.SetField(row, Field::TrimStartLow, halfText(m_start.low));
    list.SetField(row, Field::TrimStartHigh, halfText(m_start.high));
    list.SetField(row, Field::TrimEndLow, halfText(m_end.low));
    list.SetField(row, Field::TrimEndHigh, halfText(m_end.high));
    list.SetField(row, Field::SrcDuration, m_selectedTag);
    list.setTrimmed(row, m_start.microseconds() > 0 || m_end != m_duration);
    list.UpdateListFooter();
    list.setDurationDisplay(row, QStringLiteral("  ") + m_selectedCaption,
        QStringLiteral("Trimmed from (") + list.getFieldText(row, Field::Duration)
            + QStringLiteral(")"),
        ListIcon::Trimmed);
    m_dirty = false;
}

} // namespace sonivert
