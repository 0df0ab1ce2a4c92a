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
    , job_(job)
    , counter_(new QLabel(this))
    , file_(new QLabel(this))
    , bar_(new QProgressBar(this))
    , cancel_(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("frmWait"));
    setWindowTitle(QStringLiteral("Please wait"));
    // Blocks the main window while the import runs, as a disabled window would.
    setWindowModality(Qt::WindowModal);
    counter_->setObjectName(QStringLiteral("lbl_WaitFileNo"));
    file_->setObjectName(QStringLiteral("lbl_WaitFile"));
    file_->setTextFormat(Qt::PlainText);
    file_->setMinimumWidth(360);
    bar_->setObjectName(QStringLiteral("ProgressBar1"));
    bar_->setTextVisible(false);
    cancel_->setObjectName(QStringLiteral("Cmd_Cancel"));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(counter_);
    layout->addWidget(file_);
    layout->addWidget(bar_);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel_);
    layout->addLayout(buttons);

    bar_->setRange(0, std::max(1, job->Total()));
    bar_->setValue(0);
    connect(cancel_, &QPushButton::clicked, job, &ImportJob::cancel);
    connect(cancel_, &QPushButton::clicked, this, [this] { cancel_->setEnabled(false); });
    connect(job, &ImportJob::progress, this, &frmWait::ShowProgress);
    connect(job, &ImportJob::finished, this, [this] {
        finished_ = true;
        accept();
    });
}

QString frmWait::CounterText() const
{
    return counter_->text();
}

QString frmWait::FileText() const
{
    return file_->text();
}

int frmWait::BarValue() const
{
    return bar_->value();
}

int frmWait::BarMaximum() const
{
    return bar_->maximum();
}

void frmWait::ShowProgress(int current, int total, const QString &fileName)
{
    counter_->setText(QStringLiteral("%1 of %2 files").arg(current).arg(total));
    file_->setText(fileName);
    bar_->setMaximum(std::max(1, total));
    bar_->setValue(std::clamp(current, 0, bar_->maximum()));
}

void frmWait::closeEvent(QCloseEvent *event)
{
    if (finished_) {
        QDialog::closeEvent(event);
        return;
    }
    // The import ends at the next file and closes the dialog then.
    job_->cancel();
    cancel_->setEnabled(false);
    event->ignore();
}

void frmWait::reject()
{
    if (finished_) {
        QDialog::reject();
        return;
    }
    job_->cancel();
    cancel_->setEnabled(false);
}

} // namespace sonivert
