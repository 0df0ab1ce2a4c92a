#pragma once

#include <QString>
#include <cstdint>

namespace sonivert {

// A media time is a signed 64-bit count of microseconds. Where it crosses the row record it
// travels as two signed 32-bit halves: value = high * 2^32 + (low taken as unsigned).
constexpr int64_t UnknownTime = INT64_MIN;

int64_t joinTimeHalves(int32_t low, int32_t high);
void splitTime(int64_t value, int32_t &low, int32_t &high);

double MicrosecondsToSeconds(int32_t low, int32_t high);

// "hh:mm:ss.zzz"; hours keep all their digits past 99; negative times read "00:00:00.000".
QString FormatMediaTime(int32_t low, int32_t high);
QString FormatMediaTime(int64_t microseconds);

// "hh:mm:ss" of whole seconds, or the same spelled out ("1 hour, 1 minute, and 0 seconds").
QString FormatSeconds(int32_t seconds, bool asWords);
QString clockTextToWords(const QString &text);

// "512 bytes", "4.88 kB", "1.91 MB"... with the user's decimal separator; "" past yottabytes.
QString FormatByteSize(double size);

} // namespace sonivert
