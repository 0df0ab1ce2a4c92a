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
    , m_list(list)
    , m_report(report)
    , m_maxParallel(std::max(1, QThread::idealThreadCount()))
{
    keepLargeBuffersOutOfTheHeaps();
    m_pool.setMaxThreadCount(m_maxParallel);
}

ImportJob::~ImportJob()
{
    // Probes still running must not post into a half-destroyed job.
    m_cancel = true;
    m_abort = true;
    m_pool.waitForDone();
}

void ImportJob::setMaxParallel(int probes)
{
    m_maxParallel = std::max(1, probes);
    m_pool.setMaxThreadCount(m_maxParallel);
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
    if (m_running)
        return;
    m_paths.clear();
    for (const QString &path : paths) {
        const QString trimmed = path.trimmed();
        if (trimmed.isEmpty())
            continue;
        if (m_paths.size() >= MaxImportPaths)
            break;
        m_paths.append(trimmed);
    }
    m_refused = refused;
    m_countFromZero = countFromZero;
    m_testExistence = m_paths.size() >= 2;
    m_running = true;
    m_cancel = false;
    m_abort = false;
    m_head = m_launched = m_inFlight = 0;
    m_stopAfter = -1;
    m_waiting.clear();
    m_outcome = ImportOutcome();

    if (m_paths.isEmpty()) {
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
    while (m_inFlight < m_maxParallel && m_launched < m_paths.size() && !m_cancel.load()) {
        const int index = m_launched++;
        ++m_inFlight;
        const QString path = m_paths.at(index);
        const bool testExistence = m_testExistence;
        const int timeout = m_readTimeoutMs;
        m_pool.start([this, index, path, testExistence, timeout] {
            Result result;
            // Files behind the head are dropped after a cancel; only the head is still probed.
            if (m_cancel.load() && index > m_stopAfter)
                result.skipped = true;
            else if (testExistence && !QFileInfo::exists(path))
                result.missing = true;
            else
                result.probe = probeMediaFile(path, ProbeOptions { timeout, &m_abort });
            QMetaObject::invokeMethod(
                this, [this, index, result] { onResult(index, result); }, Qt::QueuedConnection);
        });
    }
}

void ImportJob::onResult(int index, const Result &result)
{
    --m_inFlight;
    if (!m_running)
        return;
    m_waiting.emplace(index, result);
    advanceHead();
    if (m_running)
        launchMore();
}

void ImportJob::advanceHead()
{
    for (auto it = m_waiting.find(m_head); it != m_waiting.end(); it = m_waiting.find(m_head)) {
        const Result result = it->second;
        m_waiting.erase(it);
        const QString &path = m_paths.at(m_head);
        if (result.missing) {
            m_report->AddFailureReport(fileNameOf(path), QStringLiteral("File not found!"));
            emit fileSettled(m_head, -1);
        } else if (!result.skipped) {
            if (result.probe.ok) {
                const int row = m_list->appendMediaItem(ownedCopy(result.probe.item));
                if (m_outcome.firstNewRow < 0)
                    m_outcome.firstNewRow = row;
                ++m_outcome.rowsAdded;
                emit rowReady(row);
                emit fileSettled(m_head, row);
            } else {
                m_report->AddFailureReport(
                    result.probe.name, result.probe.message, result.probe.encrypted);
                emit fileSettled(m_head, -1);
            }
            readyLastRow(*m_list);
        }
        ++m_head;
        if (m_head >= m_paths.size() || (m_stopAfter >= 0 && m_head > m_stopAfter)) {
            finish();
            return;
        }
        reportHead();
    }
}

void ImportJob::reportHead()
{
    if (!m_running || m_head >= m_paths.size())
        return;
    const int shown = m_countFromZero ? m_head : m_head + 1;
    emit progress(shown, int(m_paths.size()), fileNameOf(m_paths.at(m_head)));
}

void ImportJob::cancel()
{
    if (!m_running || m_cancel.load())
        return;
    m_stopAfter = m_head;
    m_cancel = true;
    m_outcome.cancelled = true;
}

void ImportJob::finish()
{
    if (!m_running)
        return;
    m_running = false;
    // Probes still going are of files after the cancel point; stop them and drop their rows.
    m_abort = true;
    m_waiting.clear();
    for (const QString &path : std::as_const(m_refused))
        m_report->AddFailureReport(fileNameOf(path), QStringLiteral("File format not supported!"));
    m_refused.clear();
    m_list->UpdateListFooter();
    emit finished(m_outcome);
}

} // namespace sonivert
