#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;

namespace sonivert {

// frmWait while a run is being queued: "Preparing for conversion...", "3 of 12 files", a bar and
// Cancel. Cancel, or the close box, asks the preparation to stop; the driver closes the window.
class PreparationDialog : public QDialog
{
    Q_OBJECT
public:
    explicit PreparationDialog(QWidget *mainWindow);

    void setRowCount(int rows);
    void showRow(int row, int rows);
    bool cancelRequested() const { return m_cancelRequested; }
    void finish();

protected:
    void closeEvent(QCloseEvent *event) override;
    void reject() override;

private:
    QLabel *m_file;
    QLabel *m_count;
    QProgressBar *m_bar;
    bool m_cancelRequested = false;
    bool m_finished = false;
};

} // namespace sonivert
