#include "core/media/import_job.h"

#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/import_rules.h"

#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <mutex>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace sonivert {

namespace {

// The texts of a probed item were allocated on a worker thread. Rows live long, and small
// blocks left in a worker's heap between the probes' large buffers keep that heap from being
// reused: the list would cost several times its size. Rows get copies made here instead.
MediaItem ownedCopy(const MediaItem &probed)
{
    MediaItem item = probed;
    for (QVariant &field : item.fields) {
        if (field.typeId() == QMetaType::QString) {
            const QString text = field.toString();
            field = QVariant(QString(text.constData(), text.size()));
        }
    }
    item.srcDurationTag = QString(probed.srcDurationTag.constData(), probed.srcDurationTag.size());
    return item;
}

// Each probe allocates and frees buffers of a few hundred kilobytes on a worker thread. With
// glibc's adaptive threshold those soon come from the heaps instead of fresh mappings, and the
// rows allocated in between pin the heaps at their high-water mark: a 10,000-file import then
// cost two to four times what its rows need. A fixed threshold keeps such buffers as mappings.
void keepLargeBuffersOutOfTheHeaps()
{
#ifdef __GLIBC__
    static std::once_flag once;
    std::call_once(once, [] { mallopt(M_MMAP_THRESHOLD, 128 * 1024); });
#endif
}

} // namespace

ImportJob::ImportJob(FileListModel *list, FailureReport *report, QObject *parent)
    : QObject(parent)
    , list_(list)
    , report_(report)
    , maxParallel_(std::max(1, QThread::idealThreadCount()))
{
    keepLargeBuffersOutOfTheHeaps();
    pool_.setMaxThreadCount(maxParallel_);
}

ImportJob::~ImportJob()
{
    // Probes still running must not post into a half-destroyed job.
    cancel_ = true;
    abort_ = true;
    pool_.waitForDone();
}

void ImportJob::SetMaxParallel(int probes)
{
    maxParallel_ = std::max(1, probes);
    pool_.setMaxThreadCount(maxParallel_);
}

void ImportJob::ImportFiles(const QStringList &paths)
{
    start(paths, QStringList(), false);
}

void ImportJob::ImportDroppedFiles(const QStringList &accepted, const QStringList &refused)
{
    start(accepted, refused, true);
}

void ImportJob::start(const QStringList &paths, const QStringList &refused, bool countFromZero)
{
    if (running_)
        return;
    paths_.clear();
    for (const QString &path : paths) {
        const QString trimmed = path.trimmed();
        if (trimmed.isEmpty())
            continue;
        if (paths_.size() >= MaxImportPaths)
            break;
        paths_.append(trimmed);
    }
    refused_ = refused;
    countFromZero_ = countFromZero;
    testExistence_ = paths_.size() >= 2;
    running_ = true;
    cancel_ = false;
    abort_ = false;
    head_ = launched_ = inFlight_ = 0;
    stopAfter_ = -1;
    waiting_.clear();
    outcome_ = ImportOutcome();

    if (paths_.isEmpty()) {
        // Finish from the event loop so the caller can connect first.
        QTimer::singleShot(0, this, &ImportJob::finish);
        return;
    }
    // Reported from the event loop so that a wait dialog created right after can show it;
    // no result can arrive before it.
    QMetaObject::invokeMethod(this, &ImportJob::reportHead, Qt::QueuedConnection);
    launchMore();
}

void ImportJob::launchMore()
{
    while (inFlight_ < maxParallel_ && launched_ < paths_.size() && !cancel_.load()) {
        const int index = launched_++;
        ++inFlight_;
        const QString path = paths_.at(index);
        const bool testExistence = testExistence_;
        const int timeout = readTimeoutMs_;
        pool_.start([this, index, path, testExistence, timeout] {
            Result result;
            // Files behind the head are dropped after a cancel; only the head is still probed.
            if (cancel_.load() && index > stopAfter_)
                result.skipped = true;
            else if (testExistence && !QFileInfo::exists(path))
                result.missing = true;
            else
                result.probe = ProbeMediaFile(path, ProbeOptions { timeout, &abort_ });
            QMetaObject::invokeMethod(
                this, [this, index, result] { onResult(index, result); }, Qt::QueuedConnection);
        });
    }
}

void ImportJob::onResult(int index, const Result &result)
{
    --inFlight_;
    if (!running_)
        return;
    waiting_.emplace(index, result);
    advanceHead();
    if (running_)
        launchMore();
}

void ImportJob::advanceHead()
{
    for (auto it = waiting_.find(head_); it != waiting_.end(); it = waiting_.find(head_)) {
        const Result result = it->second;
        waiting_.erase(it);
        const QString &path = paths_.at(head_);
        if (result.missing) {
            report_->AddFailureReport(FileNameOf(path), QStringLiteral("File not found!"));
            emit fileSettled(head_, -1);
        } else if (!result.skipped) {
            if (result.probe.ok) {
                const int row = list_->AppendMediaItem(ownedCopy(result.probe.item));
                if (outcome_.firstNewRow < 0)
                    outcome_.firstNewRow = row;
                ++outcome_.rowsAdded;
                emit rowReady(row);
                emit fileSettled(head_, row);
            } else {
                report_->AddFailureReport(
                    result.probe.name, result.probe.message, result.probe.encrypted);
                emit fileSettled(head_, -1);
            }
            ReadyLastRow(*list_);
        }
        ++head_;
        if (head_ >= paths_.size() || (stopAfter_ >= 0 && head_ > stopAfter_)) {
            finish();
            return;
        }
        reportHead();
    }
}

void ImportJob::reportHead()
{
    if (!running_ || head_ >= paths_.size())
        return;
    const int shown = countFromZero_ ? head_ : head_ + 1;
    emit progress(shown, int(paths_.size()), FileNameOf(paths_.at(head_)));
}

void ImportJob::cancel()
{
    if (!running_ || cancel_.load())
        return;
    stopAfter_ = head_;
    cancel_ = true;
    outcome_.cancelled = true;
}

void ImportJob::finish()
{
    if (!running_)
        return;
    running_ = false;
    // Probes still going are of files after the cancel point; stop them and drop their rows.
    abort_ = true;
    waiting_.clear();
    for (const QString &path : std::as_const(refused_))
        report_->AddFailureReport(FileNameOf(path), QStringLiteral("File format not supported!"));
    refused_.clear();
    list_->UpdateListFooter();
    emit finished(outcome_);
}

} // namespace sonivert
