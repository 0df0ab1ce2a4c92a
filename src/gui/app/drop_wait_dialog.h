#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;

namespace sonivert {

// frmWaitDragDrop: shows which dropped item is being looked at and how many files were found so
// far while a drop is scanned. The scan cannot be cancelled, so the dialog cannot be closed.
class DropWaitDialog : public QDialog
{
    Q_OBJECT
public:
    explicit DropWaitDialog(QWidget *mainWindow);

    void showItem(const QString &item);
    void showProgress(const QString &file, int totalFound);

protected:
    void reject() override { }

private:
    QLabel *m_fileName = nullptr;
    QLabel *m_totalFile = nullptr;
    QProgressBar *m_progress = nullptr;
};

} // namespace sonivert
