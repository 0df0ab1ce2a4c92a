#include "gui/media/import_runner.h"

#include "core/media/import_job.h"
#include "gui/media/frm_wait.h"

namespace sonivert {

namespace {

ImportJob *prepare(QWidget *owner, FileListModel *list, FailureReport *report)
{
    auto *job = new ImportJob(list, report, owner);
    QObject::connect(job, &ImportJob::finished, job, &QObject::deleteLater);
    return job;
}

void showWaitDialog(QWidget *owner, ImportJob *job)
{
    if (!job->showsWaitDialog())
        return;
    auto *wait = new frmWait(job, owner);
    wait->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(wait, &QDialog::finished, wait, &QWidget::close);
    wait->show();
}

} // namespace

ImportJob *startImport(
    QWidget *owner, FileListModel *list, FailureReport *report, const QStringList &paths)
{
    ImportJob *job = prepare(owner, list, report);
    job->ImportFiles(paths);
    showWaitDialog(owner, job);
    return job;
}

ImportJob *startDroppedImport(QWidget *owner, FileListModel *list, FailureReport *report,
    const QStringList &accepted, const QStringList &refused)
{
    ImportJob *job = prepare(owner, list, report);
    job->ImportDroppedFiles(accepted, refused);
    showWaitDialog(owner, job);
    return job;
}

} // namespace sonivert
