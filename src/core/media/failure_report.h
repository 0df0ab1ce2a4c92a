#pragma once

#include <QList>
#include <QString>

namespace sonivert {

struct FailureEntry
{
    QString name; // file name with extension
    QString message;
};

// The ordered list of files that failed to import or convert, shown by the report dialog.
class FailureReport
{
public:
    void ClearFailureReport() { entries_.clear(); }
    void AddFailureReport(const QString &name, const QString &message);

    const QList<FailureEntry> &Entries() const { return entries_; }
    int Count() const { return int(entries_.size()); }
    bool IsEmpty() const { return entries_.isEmpty(); }

private:
    QList<FailureEntry> entries_;
};

// What the report dialog shows for a report: nothing when it is empty; the copy-protection
// texts when any line says the input was invalid data; otherwise the given title and message.
struct FailureReportDisplay
{
    bool show = false;
    bool copyProtected = false;
    QString title;
    QString message;
    int messagePointSize = 12;
    int imageId = 9; // picture of the shared image list
};

FailureReportDisplay ShowFailureReport(
    const FailureReport &report, const QString &title, const QString &message);

} // namespace sonivert
