#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;

namespace sonivert {

class ImportJob;

// The wait dialog of an import of several files: "3 of 12 files", the current file name, a bar
// and Cancel. Closing it by its close box cancels too and keeps it open; it closes itself when
// the import ends.
class frmWait : public QDialog
{
    Q_OBJECT

public:
    frmWait(ImportJob *job, QWidget *owner);

    QString counterText() const;
    QString fileText() const;
    int barValue() const;
    int barMaximum() const;

public slots:
    void showProgress(int current, int total, const QString &fileName);

protected:
    void closeEvent(QCloseEvent *event) override;
    void reject() override;

private:
    ImportJob *m_job;
    QLabel *m_counter;
    QLabel *m_file;
    QProgressBar *m_bar;
    QPushButton *m_cancel;
    bool m_finished = false;
};

} // namespace sonivert
