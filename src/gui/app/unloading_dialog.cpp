#include "gui/app/unloading_dialog.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace sonivert {

UnloadingDialog::UnloadingDialog(QWidget *mainWindow)
    : QDialog(mainWindow, Qt::Dialog | Qt::FramelessWindowHint)
{
    setObjectName(QStringLiteral("frmUnloading"));
    setModal(false);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->addWidget(new QLabel(QStringLiteral("Stopping conversions, please wait...")));
    auto *bar = new QProgressBar;
    bar->setRange(0, 0);
    bar->setTextVisible(false);
    layout->addWidget(bar);
    setFixedSize(sizeHint().expandedTo(QSize(320, 0)));
}

} // namespace sonivert
