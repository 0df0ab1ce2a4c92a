#pragma once

#include <QDialog>

namespace sonivert {

// frmUnloading: a small notice shown while running conversions are being stopped at exit.
class UnloadingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit UnloadingDialog(QWidget *mainWindow);
};

} // namespace sonivert
