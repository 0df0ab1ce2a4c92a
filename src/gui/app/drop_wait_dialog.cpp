#include "gui/app/drop_wait_dialog.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace sonivert {

DropWaitDialog::DropWaitDialog(QWidget *mainWindow)
    : QDialog(mainWindow, Qt::Dialog | Qt::FramelessWindowHint)
    , m_fileName(new QLabel)
    , m_totalFile(new QLabel(QStringLiteral("Total File: 0")))
    , m_progress(new QProgressBar)
{
    setObjectName(QStringLiteral("frmWaitDragDrop"));
    setModal(false);
    m_fileName->setObjectName(QStringLiteral("lbl_FileName"));
    m_totalFile->setObjectName(QStringLiteral("lbl_TotalFile"));
    m_progress->setObjectName(QStringLiteral("ProgressBar1"));

    // Long paths must not widen the dialog.
    m_fileName->setMinimumWidth(1);
    m_fileName->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_progress->setRange(0, 0);
    m_progress->setTextVisible(false);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->addWidget(m_fileName);
    layout->addWidget(m_totalFile);
    layout->addWidget(m_progress);
    setFixedSize(sizeHint().expandedTo(QSize(420, 0)));
}

void DropWaitDialog::showItem(const QString &item)
{
    m_fileName->setText(item.toUpper());
}

void DropWaitDialog::showProgress(const QString &file, int totalFound)
{
    m_totalFile->setText(QStringLiteral("Total File: %1").arg(totalFound));
    m_fileName->setText(file);
}

} // namespace sonivert
