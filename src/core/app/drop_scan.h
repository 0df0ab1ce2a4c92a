#pragma once

#include <QObject>
#include <QStringList>
#include <atomic>
#include <functional>

class QThread;

namespace sonivert {

// Called for every file the scan finds, with the running count of files found so far.
using ScanProgress = std::function<void(const QString &file, int totalFound)>;

// Appends every file under folder to found: entries in case-insensitive name order, dot-files
// included, sub-folders scanned where they stand in that order. Symbolic links to folders are
// listed as files rather than followed, so a link loop cannot trap the scan. Returns the number
// of files this call added.
int scanFolder(const QString &folder, QStringList &found, const ScanProgress &progress = {});

// The dropped items in drop order: a folder contributes the files under it (a dropped link to a
// folder is scanned: the person chose it), anything else contributes itself. itemStarted is
// called with each dropped item before it is looked at.
QStringList collectDroppedFiles(const QStringList &droppedPaths,
    const std::function<void(const QString &item)> &itemStarted = {},
    const ScanProgress &progress = {});

struct DropPartition
{
    QStringList accepted; // supported files, the last found first
    QStringList refused; // unsupported files in the order found; empty when anything was accepted
};

// Splits the files found under a drop by the supported extension list ("|mp4|avi|"). Refused
// files are only worth reporting when the drop brought nothing usable.
DropPartition partitionDroppedFiles(const QStringList &found, const QString &extensionList);

// Runs CollectDroppedFiles on a worker thread so that the window showing its progress stays
// responsive. Progress arrives as queued signals, thinned out so a large tree does not flood the
// event queue; the last count always arrives before finished.
class DropScanner : public QObject
{
    Q_OBJECT
public:
    explicit DropScanner(QObject *parent = nullptr);
    ~DropScanner() override;

    // Starts a scan; false when one is still running.
    bool start(const QStringList &droppedPaths);
    bool isRunning() const;

signals:
    void itemStarted(const QString &item);
    void progress(const QString &file, int totalFound);
    void finished(const QStringList &found);

private:
    void takeResult();

    QThread *m_thread = nullptr;
    std::atomic_bool m_stopping = false;
    QStringList m_found; // written by the worker, read once it has finished
};

} // namespace sonivert
