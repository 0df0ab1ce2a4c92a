#pragma once

#include "core/media/probe.h"

#include <QObject>
#include <QStringList>
#include <QThreadPool>
#include <atomic>
#include <map>

namespace sonivert {

class FailureReport;
class FileListModel;

struct ImportOutcome
{
    int rowsAdded = 0;
    int firstNewRow = -1; // -1 when no row was added
    bool cancelled = false;
};

// Probes a set of files on worker threads (at most one per core) and appends their rows to the
// list strictly in the order of the paths; failures become report lines in the same order.
// Lives on the user-interface thread; every list and report change happens there.
class ImportJob : public QObject
{
    Q_OBJECT

public:
    ImportJob(FileListModel *list, FailureReport *report, QObject *parent = nullptr);
    ~ImportJob() override;

    void setReadTimeout(int milliseconds) { m_readTimeoutMs = milliseconds; }
    void setMaxParallel(int probes);

    // Files chosen in the open dialog or named on the command line. A single file is probed
    // without an existence test; with more, a missing file gives "File not found!".
    void ImportFiles(const QStringList &paths);
    // Dropped files: the accepted ones are probed (the counter starts at 0 as the drop loop
    // counts), the refused ones each give "File format not supported!" at the end.
    void ImportDroppedFiles(const QStringList &accepted, const QStringList &refused);

    // Two or more files show the wait dialog; one file is probed behind the window.
    bool showsWaitDialog() const { return m_paths.size() >= 2; }
    int total() const { return int(m_paths.size()); }
    bool isRunning() const { return m_running; }
    bool isCancelled() const { return m_cancel.load(); }

public slots:
    // Stops before the next file: the file the counter shows is still added.
    void cancel();

signals:
    // The counter text is "current of total files"; fileName is the name with extension.
    void progress(int current, int total, const QString &fileName);
    void rowReady(int row);
    // Each path in order once its outcome is in: the row it became, or -1 when it became the
    // report's latest line (also for a missing file). Paths dropped by a cancel never settle.
    void fileSettled(int pathIndex, int row);
    // After the footer has been updated. The caller selects a row and shows the report.
    void finished(const sonivert::ImportOutcome &outcome);

private:
    struct Result
    {
        bool missing = false;
        bool skipped = false;
        ProbeResult probe;
    };

    void start(const QStringList &paths, const QStringList &refused, bool countFromZero);
    void launchMore();
    void onResult(int index, const Result &result);
    void advanceHead();
    void reportHead();
    void finish();

    FileListModel *m_list;
    FailureReport *m_report;
    QThreadPool m_pool;
    int m_readTimeoutMs = 30000;
    int m_maxParallel;
    QStringList m_paths;
    QStringList m_refused;
    bool m_countFromZero = false;
    bool m_testExistence = false;
    bool m_running = false;
    int m_head = 0; // the next path whose outcome goes into the list
    int m_launched = 0;
    int m_inFlight = 0;
    std::atomic_int m_stopAfter { -1 }; // set by cancel: the last path still taken
    std::map<int, Result> m_waiting; // outcomes that arrived ahead of the head
    ImportOutcome m_outcome;
    std::atomic_bool m_cancel { false };
    std::atomic_bool m_abort { false };
};

} // namespace sonivert

Q_DECLARE_METATYPE(sonivert::ImportOutcome)
