#pragma once

#include <QList>
#include <QString>

namespace sonivert {

struct FailureEntry
{
    QString name; // file name with extension
    QString message;
    bool encrypted = false; // the file's container shows encrypted content
};

// The ordered list of files that failed to import or convert, shown by the report dialog.
class FailureReport
{
public:
    void ClearFailureReport() { m_entries.clear(); }
    void AddFailureReport(const QString &name, const QString &message, bool encrypted = false);

    const QList<FailureEntry> &entries() const { return m_entries; }
    int count() const { return int(m_entries.size()); }
    bool isEmpty() const { return m_entries.isEmpty(); }

private:
    QList<FailureEntry> m_entries;
};

// The decoder's words for an input it cannot read: ": Invalid data found when processing input".
bool saysInvalidData(const QString &text);

// A line counts as copy-protected only when its message says the input was invalid data and the
// file's container shows encryption. A damaged download or a file without sound fails with the
// same words, and telling its owner that it is protected would send them the wrong way.
bool isCopyProtected(const FailureEntry &entry);

// What the report dialog shows for a report: nothing when it is empty; the copy-protection
// texts when any line is copy-protected; otherwise the given title and message.
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
