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

    QString CounterText() const;
    QString FileText() const;
    int BarValue() const;
    int BarMaximum() const;

public slots:
    void ShowProgress(int current, int total, const QString &fileName);

protected:
    void closeEvent(QCloseEvent *event) override;
    void reject() override;

private:
    ImportJob *job_;
    QLabel *counter_;
    QLabel *file_;
    QProgressBar *bar_;
    QPushButton *cancel_;
    bool finished_ = false;
};

} // namespace sonivert
