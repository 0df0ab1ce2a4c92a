#include "core/convert/run_progress.h"

#include <QLocale>
#include <cmath>

namespace sonivert {

QString totalBarText(int value, int taskCount)
{
    if (taskCount <= 0)
        return QStringLiteral("00%");
    const int percent = value / taskCount;
    if (percent < 0)
        return QStringLiteral("00%");
    return QStringLiteral("%1%").arg(percent, 2, 10, QLatin1Char('0'));
}

int taskPercent(qint64 positionUs, qint64 totalUs)
{
    if (totalUs <= 0)
        return -1;
    const double seconds = double(positionUs) / 1000000.0;
    const double total = double(totalUs) / 1000000.0;
    return int(std::floor(seconds * 100.0 / total));
}

RunStopReason classifyTaskMessage(const QString &message)
{
    if (message == QLatin1String("av_interleaved_write_frame(): No space left on device"))
        return RunStopReason::DiskFull;
    if (message
            == QLatin1String("transcode_init() error: Invalid argument / Invalid data found when "
                             "processing input")
        || message
            == QLatin1String("av_interleaved_write_frame(): Invalid argument / Invalid data "
                             "found when processing input"))
        return RunStopReason::FormatParameters;
    return RunStopReason::None;
}

QString stopExplanation(RunStopReason reason, const QString &folder)
{
    switch (reason) {
    case RunStopReason::DiskFull:
        return QStringLiteral("Not enough disk space for output file!\n\"") + folder
            + QLatin1Char('"');
    case RunStopReason::FormatParameters:
        return QStringLiteral(
            "Please change the format parameters or use one of the preset profiles.");
    case RunStopReason::None:
    case RunStopReason::UserStop:
        break;
    }
    return QString();
}

int threadCountFor(bool threadMode, const QString &countText)
{
    if (!threadMode)
        return 0;
    bool ok = false;
    const double number = QLocale::c().toDouble(countText.trimmed(), &ok);
    if (!ok || !std::isfinite(number))
        return 1;
    const double rounded = std::nearbyint(number);
    return rounded < 1 ? 1 : rounded > 64 ? 64 : int(rounded);
}

} // namespace sonivert
