#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

namespace sonivert {

// frmMsg: tells the person the run is complete and offers the output folder.
class CompletionDialog : public QDialog
{
    Q_OBJECT
public:
    CompletionDialog(const QString &outputFolder, QWidget *mainWindow);

    QPushButton *button(int index) const { return m_buttons[index]; }

private:
    void openOutputFolder();

    QString m_outputFolder;
    QWidget *m_mainWindow;
    QPushButton *m_buttons[3];
};

} // namespace sonivert
