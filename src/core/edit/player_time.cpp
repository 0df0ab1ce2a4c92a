#include "core/edit/player_time.h"

#include "core/media/time_text.h"

#include <cmath>
#include <cstdlib>

namespace sonivert {

namespace {

// n / d rounded to the nearest integer, halves to even, without going through floating point
// while the product fits (it does for any real duration and bar).
int64_t RoundedQuotient(int64_t value, int64_t numerator, int64_t denominator)
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

TimeHalves TimeHalves::FromMicroseconds(int64_t microseconds)
{
    TimeHalves t;
    SplitTime(microseconds, t.low, t.high);
    return t;
}

int64_t TimeHalves::Microseconds() const
{
    return JoinTimeHalves(low, high);
}

CurrencyTime CurrencyTime::MulDiv(int64_t numerator, int64_t denominator) const
{
    if (denominator == 0)
        return {};
    return FromRaw(RoundedQuotient(raw_, numerator, denominator));
}

CurrencyTime CurrencyTime::FromValue(double value)
{
    return FromRaw(int64_t(std::nearbyint(value * 10000.0)));
}

void ClearTime(TimeHalves &time)
{
    time.low = 0;
    time.high = 0;
}

bool IsPositiveTime(const TimeHalves &time)
{
    return IsPositiveTime(time.low, time.high);
}

bool IsPositiveTime(int32_t low, int32_t high)
{
    return (low != 0 || high != 0) && high >= 0;
}

bool IsNoValueTime(int32_t low, int32_t high)
{
    return low == 0 && uint32_t(high) == 0x80000000u;
}

CurrencyTime ToCurrencyTime(const TimeHalves &time)
{
    return CurrencyTime::FromRaw(time.Microseconds());
}

CurrencyTime ToCurrencyTime(int32_t low, int32_t high)
{
    return ToCurrencyTime(TimeHalves { low, high });
}

TimeHalves FromCurrencyTime(CurrencyTime value)
{
    return TimeHalves::FromMicroseconds(value.Raw());
}

double TimeToSeconds(const TimeHalves &time)
{
    return ToCurrencyTime(time).Value() / 100.0;
}

double TimeToSeconds(int32_t low, int32_t high)
{
    return TimeToSeconds(TimeHalves { low, high });
}

TimeHalves StoredDuration(int32_t low, int32_t high)
{
    return { low == -1 ? 0 : low, high == -1 ? 0 : high };
}

int32_t WholeSeconds(double seconds)
{
    return int32_t(std::nearbyint(seconds));
}

TimeHalves TimeOfPixel(int x, int barMaximum, const TimeHalves &duration)
{
    return FromCurrencyTime(ToCurrencyTime(duration).MulDiv(x, barMaximum));
}

int PixelOfTime(const TimeHalves &time, const TimeHalves &duration, int barMaximum)
{
    const double total = TimeToSeconds(duration);
    if (!(total > 0.0))
        return 0;
    return int(std::floor(TimeToSeconds(time) / total * barMaximum));
}

int BarValueForPosition(const TimeHalves &position, const TimeHalves &duration, int barMaximum)
{
    if (!IsPositiveTime(position) || !IsPositiveTime(duration))
        return -1;
    return PixelOfTime(position, duration, barMaximum);
}

QRect FitAspectRatio(int width, int height, double aspectRatio)
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
