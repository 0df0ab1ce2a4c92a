#include "core/edit/player_time.h"

#include "core/media/time_text.h"

#include <cmath>
#include <cstdlib>

namespace sonivert {

namespace {

// n / d rounded to the nearest integer, halves to even, without going through floating point
// while the product fits (it does for any real duration and bar).
int64_t roundedQuotient(int64_t value, int64_t numerator, int64_t denominator)
{
    int64_t n = 0;
    if (__builtin_mul_overflow(value, numerator, &n))
        return int64_t(std::nearbyint(
            static_cast<long double>(value) * numerator / static_cast<long double>(denominator)));
    if (denominator < 0) {
        n = -n;
        denominator = -denominator;
    }
    int64_t q = n / denominator;
    const int64_t r = n % denominator; // same sign as n
    const int64_t twice = 2 * std::llabs(r);
    const int64_t step = n < 0 ? -1 : 1;
    if (twice > denominator || (twice == denominator && (q % 2) != 0))
        q += step;
    return q;
}

} // namespace

TimeHalves TimeHalves::fromMicroseconds(int64_t microseconds)
{
    TimeHalves t;
    splitTime(microseconds, t.low, t.high);
    return t;
}

int64_t TimeHalves::microseconds() const
{
    return joinTimeHalves(low, high);
}

CurrencyTime CurrencyTime::mulDiv(int64_t numerator, int64_t denominator) const
{
    if (denominator == 0)
        return {};
    return fromRaw(roundedQuotient(m_raw, numerator, denominator));
}

CurrencyTime CurrencyTime::fromValue(double value)
{
    return fromRaw(int64_t(std::nearbyint(value * 10000.0)));
}

void clearTime(TimeHalves &time)
{
    time.low = 0;
    time.high = 0;
}

bool isPositiveTime(const TimeHalves &time)
{
    return isPositiveTime(time.low, time.high);
}

bool isPositiveTime(int32_t low, int32_t high)
{
    return (low != 0 || high != 0) && high >= 0;
}

bool isNoValueTime(int32_t low, int32_t high)
{
    return low == 0 && uint32_t(high) == 0x80000000u;
}

CurrencyTime toCurrencyTime(const TimeHalves &time)
{
    return CurrencyTime::fromRaw(time.microseconds());
}

CurrencyTime toCurrencyTime(int32_t low, int32_t high)
{
    return toCurrencyTime(TimeHalves { low, high });
}

TimeHalves fromCurrencyTime(CurrencyTime value)
{
    return TimeHalves::fromMicroseconds(value.raw());
}

double timeToSeconds(const TimeHalves &time)
{
    return toCurrencyTime(time).value() / 100.0;
}

double timeToSeconds(int32_t low, int32_t high)
{
    return timeToSeconds(TimeHalves { low, high });
}

TimeHalves storedDuration(int32_t low, int32_t high)
{
    return { low == -1 ? 0 : low, high == -1 ? 0 : high };
}

int32_t wholeSeconds(double seconds)
{
    return int32_t(std::nearbyint(seconds));
}

TimeHalves timeOfPixel(int x, int barMaximum, const TimeHalves &duration)
{
    return fromCurrencyTime(toCurrencyTime(duration).mulDiv(x, barMaximum));
}

int pixelOfTime(const TimeHalves &time, const TimeHalves &duration, int barMaximum)
{
    const double total = timeToSeconds(duration);
    if (!(total > 0.0))
        return 0;
    return int(std::floor(timeToSeconds(time) / total * barMaximum));
}

int barValueForPosition(const TimeHalves &position, const TimeHalves &duration, int barMaximum)
{
    if (!isPositiveTime(position) || !isPositiveTime(duration))
        return -1;
    return pixelOfTime(position, duration, barMaximum);
}

QRect fitAspectRatio(int width, int height, double aspectRatio)
{
    if (!(aspectRatio > 0.0) || width <= 0 || height <= 0)
        return QRect(0, 0, width, height);
    int w = width;
    int h = int(std::nearbyint(width / aspectRatio));
    if (h > height) {
        h = height;
        w = int(std::nearbyint(height * aspectRatio));
    }
    return QRect((width - w) / 2, (height - h) / 2, w, h);
}

} // namespace sonivert
