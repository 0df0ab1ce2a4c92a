#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QString>
#include <QTextStream>

namespace sonivert::cli {

// What a conversion run shows while it works. On a terminal: one bar per running file and a
// total, redrawn in place; elsewhere (a pipe, a log file) plain lines that only ever append.
class ConvertProgress
{
public:
    ConvertProgress(QTextStream &out, bool live, const QStringList &taskNames);

    void progress(int task, int percent);
    // A line that stays, printed above the live bars.
    void ended(int task, const QString &line);
    // Clears the live bars before the summary.
    void finish();

    int totalPercent() const;

private:
    struct Task
    {
        QString name;
        int percent = -1; // -1: not started
        int printed = -1; // the last percent a plain line showed
        bool ended = false;
    };

    void redraw(bool force);
    void clearLive();
    QString bar(int percent, int width) const;
    QString fit(const QString &text) const;

    QTextStream &m_out;
    bool m_live;
    QList<Task> m_tasks;
    int m_liveLines = 0;
    int m_columns = 80;
    QElapsedTimer m_sinceDraw;
    QElapsedTimer m_elapsed;
};

// True when the stream's file descriptor is a terminal.
bool isTerminal(int fd);

} // namespace sonivert::cli
