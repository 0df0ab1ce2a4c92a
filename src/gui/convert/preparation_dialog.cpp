#include "gui/convert/preparation_dialog.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

PreparationDialog::PreparationDialog(QWidget *mainWindow)
    : QDialog(mainWindow)
{
    setObjectName(QStringLiteral("frmWait"));
    setWindowTitle(QStringLiteral("Please wait"));
    setModal(false);

    m_file = new QLabel(QStringLiteral("File"), this);
    m_file->setObjectName(QStringLiteral("lbl_WaitFile"));
    m_count = new QLabel(QStringLiteral("0 of 0 files"), this);
    m_count->setObjectName(QStringLiteral("lbl_WaitFileNo"));
    m_bar = new QProgressBar(this);
    m_bar->setObjectName(QStringLiteral("ProgressBar1"));
    m_bar->setTextVisible(false);
    auto *cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("Cmd_Cancel"));
    connect(cancel, &QPushButton::clicked, this, [this] { m_cancelRequested = true; });

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->addWidget(m_file);
    layout->addWidget(m_count);
    layout->addWidget(m_bar);
    layout->addLayout(buttons);
    setFixedSize(sizeHint().expandedTo(QSize(360, 0)));
}

void PreparationDialog::setRowCount(int rows)
{
    m_file->setText(QStringLiteral("Preparing for conversion..."));
    // With one row the bar still needs a range to fill.
    m_bar->setRange(0, qMax(1, rows - 1));
    m_bar->setValue(0);
}

void PreparationDialog::showRow(int row, int rows)
{
    m_count->setText(QStringLiteral("%1 of %2 files").arg(row + 1).arg(rows));
    m_bar->setValue(row);
}

void PreparationDialog::finish()
{
    m_finished = true;
    close();
}

void PreparationDialog::closeEvent(QCloseEvent *event)
{
    if (!m_finished) {
        m_cancelRequested = true;
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

void PreparationDialog::reject()
{
    m_cancelRequested = true;
}

} // namespace sonivert
