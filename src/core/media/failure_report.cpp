#include "core/media/failure_report.h"

#include <algorithm>

namespace sonivert {

void FailureReport::AddFailureReport(const QString &name, const QString &message, bool encrypted)
{
    m_entries.append(FailureEntry { name, message, encrypted });
}

bool saysInvalidData(const QString &text)
{
    return text.contains(QLatin1String(": Invalid data found when processing input"));
}

bool isCopyProtected(const FailureEntry &entry)
{
    return entry.encrypted
        && saysInvalidData((entry.name + QLatin1Char(' ') + entry.message).trimmed());
}

FailureReportDisplay ShowFailureReport(
    const FailureReport &report, const QString &title, const QString &message)
{
    FailureReportDisplay display;
    if (report.isEmpty())
        return display;
    display.show = true;
    const QList<FailureEntry> &entries = report.entries();
    display.copyProtected = std::any_of(entries.begin(), entries.end(), isCopyProtected);
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
