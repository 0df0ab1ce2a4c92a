#include "gui/media/frm_wait.h"

#include "core/media/import_job.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

frmWait::frmWait(ImportJob *job, QWidget *owner)
    : QDialog(owner)
    , m_job(job)
    , m_counter(new QLabel(this))
    , m_file(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_cancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("frmWait"));
    setWindowTitle(QStringLiteral("Please wait"));
    // Blocks the main window while the import runs, as a disabled window would.
    setWindowModality(Qt::WindowModal);
    m_counter->setObjectName(QStringLiteral("lbl_WaitFileNo"));
    m_file->setObjectName(QStringLiteral("lbl_WaitFile"));
    m_file->setTextFormat(Qt::PlainText);
    m_file->setMinimumWidth(360);
    m_bar->setObjectName(QStringLiteral("ProgressBar1"));
    m_bar->setTextVisible(false);
    m_cancel->setObjectName(QStringLiteral("Cmd_Cancel"));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_counter);
    layout->addWidget(m_file);
    layout->addWidget(m_bar);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    layout->addLayout(buttons);

    m_bar->setRange(0, std::max(1, job->total()));
    m_bar->setValue(0);
    connect(m_cancel, &QPushButton::clicked, job, &ImportJob::cancel);
    connect(m_cancel, &QPushButton::clicked, this, [this] { m_cancel->setEnabled(false); });
    connect(job, &ImportJob::progress, this, &frmWait::showProgress);
    connect(job, &ImportJob::finished, this, [this] {
        m_finished = true;
        accept();
    });
}

QString frmWait::counterText() const
{
    return m_counter->text();
}

QString frmWait::fileText() const
{
    return m_file->text();
}

int frmWait::barValue() const
{
    return m_bar->value();
}

int frmWait::barMaximum() const
{
    return m_bar->maximum();
}

void frmWait::showProgress(int current, int total, const QString &fileName)
{
    m_counter->setText(QStringLiteral("%1 of %2 files").arg(current).arg(total));
    m_file->setText(fileName);
    m_bar->setMaximum(std::max(1, total));
    m_bar->setValue(std::clamp(current, 0, m_bar->maximum()));
}

void frmWait::closeEvent(QCloseEvent *event)
{
    if (m_finished) {
        QDialog::closeEvent(event);
        return;
    }
    // The import ends at the next file and closes the dialog then.
    m_job->cancel();
    m_cancel->setEnabled(false);
    event->ignore();
}

void frmWait::reject()
{
    if (m_finished) {
        QDialog::reject();
        return;
    }
    m_job->cancel();
    m_cancel->setEnabled(false);
}

} // namespace sonivert
