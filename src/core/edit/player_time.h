#pragma once

#include <QRect>
#include <cstdint>

namespace sonivert {

// A player time as it travels between the player, the trim range and the row: a signed count of
// microseconds in two signed 32-bit halves (value = high * 2^32 + low taken as unsigned).
struct TimeHalves
{
    int32_t low = 0;
    int32_t high = 0;

    static TimeHalves fromMicroseconds(int64_t microseconds);
    int64_t microseconds() const;
    bool operator==(const TimeHalves &) const = default;
};

// The same 64 bits read as a fixed-point number with four decimals, so that its value is
// microseconds / 10,000 and seconds are value / 100. Converting to and from the halves copies the
// bits; arithmetic that comes back into this form is rounded to the microsecond, halves to even.
class CurrencyTime
{
public:
    constexpr CurrencyTime() = default;
    static constexpr CurrencyTime fromRaw(int64_t raw)
    {
        CurrencyTime c;
        c.m_raw = raw;
        return c;
    }

    constexpr int64_t raw() const { return m_raw; } // the 64 bits: microseconds
    double value() const { return double(m_raw) / 10000.0; }
    double seconds() const { return double(m_raw) / 1000000.0; }

    // value * numerator / denominator, rounded to four decimals (halves to even); 0 for a
    // denominator of 0.
    CurrencyTime mulDiv(int64_t numerator, int64_t denominator) const;
    // Rounds a value given in the fixed-point unit (hundredths of a second) to the microsecond.
    static CurrencyTime fromValue(double value);

    bool operator==(const CurrencyTime &) const = default;

private:
    int64_t m_raw = 0;
};

void clearTime(TimeHalves &time);
// Greater than zero: some bit set and the sign bit of the high half clear.
bool isPositiveTime(const TimeHalves &time);
bool isPositiveTime(int32_t low, int32_t high);
// The media library's mark for an unknown time: only the sign bit set.
bool isNoValueTime(int32_t low, int32_t high);
CurrencyTime toCurrencyTime(const TimeHalves &time);
CurrencyTime toCurrencyTime(int32_t low, int32_t high);
TimeHalves fromCurrencyTime(CurrencyTime value);
double timeToSeconds(const TimeHalves &time);
double timeToSeconds(int32_t low, int32_t high);

// A duration as the player reports it: a half that arrives as -1 is stored as 0.
TimeHalves storedDuration(int32_t low, int32_t high);

// Whole seconds, rounded to the nearest integer with halves to the even neighbour.
int32_t wholeSeconds(double seconds);

// The bar's pixel and time mappings. W is the bar's maximum (its width in pixels), D the duration.
// Time of pixel x: D * x / W rounded to the microsecond (halves to even); 0 when W is 0.
TimeHalves timeOfPixel(int x, int barMaximum, const TimeHalves &duration);
// Pixel of time t: floor(seconds(t) / seconds(D) * W); 0 when D is not positive.
int pixelOfTime(const TimeHalves &time, const TimeHalves &duration, int barMaximum);
// The bar value a reported position moves the bar to, or -1 when the bar stays: both the position
// and the duration must be positive.
int barValueForPosition(const TimeHalves &position, const TimeHalves &duration, int barMaximum);

// The largest rectangle of the given display aspect ratio (width / height) centred in an area of
// the given size; the whole area when the ratio is not positive.
QRect fitAspectRatio(int width, int height, double aspectRatio);

} // namespace sonivert
