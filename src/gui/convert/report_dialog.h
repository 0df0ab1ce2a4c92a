#pragma once

#include "core/media/failure_report.h"

#include <QDialog>
#include <functional>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

namespace sonivert {

class FailureReportSender;

// frmReportList: the files that failed, with the reason for each. For a failed conversion the
// exact ffmpeg command and its error output can be shown and copied, so no failure stays opaque.
class ReportDialog : public QDialog
{
    Q_OBJECT
public:
    // The technical details of entry i (command and error output); empty when there are none.
    using DetailsProvider = std::function<QString(int entry)>;

    ReportDialog(FailureReport &report, const FailureReportDisplay &display,
        const QString &settingsKey, QWidget *mainWindow);
    void setDetailsProvider(DetailsProvider provider);

    QPushButton *panelButton(int index) const { return m_panels[index]; }
    QTreeWidget *entryList() const { return m_list; }
    QPlainTextEdit *detailsView() const { return m_details; }

public slots:
    // OK, Escape and the close box all end here.
    void done(int result) override;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void showDetails();
    void copyDetails();
    void sendReport();
    void finish();

    FailureReport &m_report;
    QString m_settingsKey;
    QWidget *m_mainWindow;
    DetailsProvider m_detailsProvider;
    QTreeWidget *m_list;
    QLabel *m_headline;
    QPlainTextEdit *m_details;
    QPushButton *m_copy;
    QPushButton *m_panels[2];
    FailureReportSender *m_sender = nullptr;
    bool m_finished = false;
};

// Shows the report over the main window (which is disabled until the dialog closes) when it
// holds lines; the copy-protection rule picks the caption. Returns the dialog, or nullptr.
ReportDialog *showFailureReportDialog(QWidget *mainWindow, FailureReport &report,
    const QString &caption, const QString &message, const QString &settingsKey,
    ReportDialog::DetailsProvider details = {});

} // namespace sonivert
