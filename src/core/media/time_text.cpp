#include "core/media/time_text.h"

#include <QLocale>
#include <array>
#include <cmath>

namespace sonivert {

int64_t joinTimeHalves(int32_t low, int32_t high)
{
    const uint64_t bits = (uint64_t(uint32_t(high)) << 32) | uint64_t(uint32_t(low));
    return int64_t(bits);
}

void splitTime(int64_t value, int32_t &low, int32_t &high)
{
    const uint64_t bits = uint64_t(value);
    low = int32_t(uint32_t(bits & 0xffffffffu));
    high = int32_t(uint32_t(bits >> 32));
}

double MicrosecondsToSeconds(int32_t low, int32_t high)
{
    return double(joinTimeHalves(low, high)) / 1000000.0;
}

QString FormatMediaTime(int32_t low, int32_t high)
{
    return FormatMediaTime(joinTimeHalves(low, high));
}

QString FormatMediaTime(int64_t microseconds)
{
    if (microseconds < 0)
        return QStringLiteral("00:00:00.000");
    // Integer arithmetic: floating point would read 1.001 s as 1.000.
    const int64_t n = microseconds / 1000000;
    const int64_t millis = (microseconds % 1000000) / 1000;
    return QStringLiteral("%1:%2:%3.%4")
        .arg(n / 3600, 2, 10, QLatin1Char('0'))
        .arg((n / 60) % 60, 2, 10, QLatin1Char('0'))
        .arg(n % 60, 2, 10, QLatin1Char('0'))
        .arg(millis, 3, 10, QLatin1Char('0'));
}

QString FormatSeconds(int32_t seconds, bool asWords)
{
    const int64_t s = seconds;
    const int64_t hours = int64_t(std::floor(double(s) / 3600.0));
    const int64_t minutes = int64_t(std::floor(double(s) / 60.0)) - hours * 60;
    const int64_t secs = s % 60;
    const QString text = QStringLiteral("%1:%2:%3")
                             .arg(hours, 2, 10, QLatin1Char('0'))
                             .arg(minutes, 2, 10, QLatin1Char('0'))
                             .arg(secs, 2, 10, QLatin1Char('0'));
    return asWords ? clockTextToWords(text) : text;
}

QString clockTextToWords(const QString &text)
{
    const qsizetype p = text.indexOf(QLatin1Char(':'));
    if (p < 0 || text.size() < p + 3)
        return QString();
    const int h = text.left(p).toInt();
    const QString minuteText = text.mid(p + 1, 2);
    const int m = minuteText.toInt();
    const int s = text.right(2).toInt();

    QString result;
    if (h != 0) {
        result += QString::number(h) + QStringLiteral(" hour");
        if (h > 1)
            result += QLatin1Char('s');
        result += QStringLiteral(", ");
    }
    if (minuteText == QLatin1String("00")) {
        if (!result.isEmpty())
            result += QStringLiteral("0 minutes, and ");
    } else {
        const QString unit = m == 1 ? QStringLiteral(" minute") : QStringLiteral(" minutes");
        const QString connector
            = result.isEmpty() ? QStringLiteral(" and ") : QStringLiteral(", and ");
        result += QString::number(m) + unit + connector;
    }
    result += QString::number(s) + QStringLiteral(" second");
    if (s != 1)
        result += QLatin1Char('s');
    return result;
}

QString FormatByteSize(double size)
{
    if (!std::isfinite(size))
        return QStringLiteral("N/A");
    if (size < 1024)
        return QString::number(size, 'g', 15) + QStringLiteral(" bytes");

    static constexpr std::array units { " kB", " MB", " GB", " TB", " PB", " EB", " ZB", " YB" };
    double x = size;
    for (const char *unit : units) {
        int decimals = -1;
        if (x < 10240)
            decimals = 2;
        else if (x < 102400)
            decimals = 1;
        else if (x < 1024000)
            decimals = 0;
        if (decimals >= 0)
            return QLocale().toString(x / 1024, 'f', decimals) + QLatin1String(unit);
        x /= 1024;
    }
    return QString();
}

} // namespace sonivert
