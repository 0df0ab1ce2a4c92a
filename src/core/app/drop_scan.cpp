#include "core/app/drop_scan.h"

#include "core/app/command_line.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>
#include <algorithm>
#include <utility>

namespace sonivert {

namespace {

// Often enough for a counter that people watch, rarely enough not to flood the event queue.
constexpr qint64 kProgressIntervalMs = 40;

struct ScanState
{
    QStringList &found;
    const ScanProgress &progress;
    const std::atomic_bool *stop;
};

bool stopped(const ScanState &state)
{
    return state.stop && state.stop->load(std::memory_order_relaxed);
}

QStringList sortedEntries(const QString &folder)
{
    QStringList names = QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    // Names equal but for case keep a fixed order, so that the same tree always scans the same.
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        const int folded = a.compare(b, Qt::CaseInsensitive);
        return folded != 0 ? folded < 0 : a < b;
    });
    return names;
}

int scan(const QString &folder, ScanState &state)
{
    QString prefix = folder;
    if (!prefix.endsWith(QLatin1Char('/')))
        prefix += QLatin1Char('/');

    int added = 0;
    for (const QString &name : sortedEntries(folder)) {
        if (stopped(state))
            break;
        const QString path = prefix + name;
        const QFileInfo info(path);
        if (info.isDir() && !info.isSymLink()) {
            added += scan(path, state);
            continue;
        }
        state.found.append(path);
        ++added;
        if (state.progress)
            state.progress(path, int(state.found.size()));
    }
    return added;
}

QStringList collect(const QStringList &droppedPaths,
    const std::function<void(const QString &)> &itemStarted, const ScanProgress &progress,
    const std::atomic_bool *stop)
{
    QStringList found;
    ScanState state { found, progress, stop };
    for (const QString &item : droppedPaths) {
        if (stopped(state))
            break;
        if (itemStarted)
            itemStarted(item);
        if (QFileInfo(item).isDir())
            scan(item, state);
        else
            found.append(item);
    }
    return found;
}

} // namespace

int scanFolder(const QString &folder, QStringList &found, const ScanProgress &progress)
{
    ScanState state { found, progress, nullptr };
    return scan(folder, state);
}

QStringList collectDroppedFiles(const QStringList &droppedPaths,
    const std::function<void(const QString &)> &itemStarted, const ScanProgress &progress)
{
    return collect(droppedPaths, itemStarted, progress, nullptr);
}

DropPartition partitionDroppedFiles(const QStringList &found, const QString &extensionList)
{
    DropPartition result;
    for (auto it = found.crbegin(); it != found.crend(); ++it) {
        if (isSupportedInputExtension(*it, extensionList))
            result.accepted.append(*it);
    }
    if (result.accepted.isEmpty())
        result.refused = found;
    return result;
}

DropScanner::DropScanner(QObject *parent)
    : QObject(parent)
{
}

DropScanner::~DropScanner()
{
    if (!m_thread)
        return;
    m_stopping = true;
    m_thread->wait();
    delete m_thread;
}

bool DropScanner::isRunning() const
{
    return m_thread != nullptr;
}

bool DropScanner::start(const QStringList &droppedPaths)
{
    if (m_thread)
        return false;
    m_stopping = false;
    m_found.clear();

    // Signals emitted from the worker reach receivers on the user-interface thread queued, in
    // the order they were sent.
    m_thread = QThread::create([this, droppedPaths] {
        QElapsedTimer sinceLast;
        sinceLast.start();
        QString pendingFile;
        int pendingCount = -1;
        auto onFile = [&](const QString &file, int total) {
            pendingFile = file;
            pendingCount = total;
            if (sinceLast.elapsed() >= kProgressIntervalMs) {
                emit progress(file, total);
                pendingCount = -1;
                sinceLast.restart();
            }
        };
        auto onItem = [this](const QString &item) {
            emit itemStarted(item);
        };
        m_found = collect(droppedPaths, onItem, onFile, &m_stopping);
        if (pendingCount >= 0)
            emit progress(pendingFile, pendingCount);
    });
    connect(m_thread, &QThread::finished, this, &DropScanner::takeResult);
    m_thread->start();
    return true;
}

void DropScanner::takeResult()
{
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    const QStringList found = std::exchange(m_found, {});
    emit finished(found);
}

} // namespace sonivert
