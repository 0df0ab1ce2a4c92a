#include "core/media/failure_report.h"

namespace sonivert {

void FailureReport::AddFailureReport(const QString &name, const QString &message)
{
    entries_.append(FailureEntry { name, message });
}

FailureReportDisplay ShowFailureReport(
    const FailureReport &report, const QString &title, const QString &message)
{
    FailureReportDisplay display;
    if (report.IsEmpty())
        return display;
    display.show = true;
    // The decoder's text for an unreadable input; protected files fail with it too.
    static const QString invalidData = QStringLiteral(": Invalid data found when processing input");
    for (const FailureEntry &entry : report.Entries()) {
        const QString line = (entry.name + QLatin1Char(' ') + entry.message).trimmed();
        if (line.contains(invalidData)) {
            display.copyProtected = true;
            break;
        }
    }
    if (display.copyProtected) {
        display.title = QStringLiteral("DRM Protection");
        display.message
            = QStringLiteral("These files are copy-protected and can not be converted.");
        display.messagePointSize = 10;
        display.imageId = 27;
    } else {
        display.title = title;
        display.message = message;
        display.messagePointSize = 12;
        display.imageId = 9;
    }
    return display;
}

} // namespace sonivert
