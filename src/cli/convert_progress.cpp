#include "cli/convert_progress.h"

#include "core/media/time_text.h"

#include <algorithm>
#include <sys/ioctl.h>
#include <unistd.h>

namespace sonivert::cli {

namespace {

constexpr qint64 RedrawIntervalMs = 150;
constexpr int PlainStep = 10; // a plain progress line every 10 percent

int terminalColumns()
{
    winsize size {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 20)
        return size.ws_col;
    return 80;
}

} // namespace

bool isTerminal(int fd)
{
    return ::isatty(fd) == 1;
}

ConvertProgress::ConvertProgress(QTextStream &out, bool live, const QStringList &taskNames)
    : m_out(out)
    , m_live(live)
{
    for (const QString &name : taskNames)
        m_tasks.append(Task { name });
    if (m_live)
        m_columns = terminalColumns();
    m_elapsed.start();
}

int ConvertProgress::totalPercent() const
{
    if (m_tasks.isEmpty())
        return 0;
    int sum = 0;
    for (const Task &task : m_tasks)
        sum += task.ended ? 100 : std::max(task.percent, 0);
    return sum / int(m_tasks.size());
}

void ConvertProgress::progress(int task, int percent)
{
    if (task < 0 || task >= m_tasks.size() || m_tasks[task].ended)
        return;
    Task &t = m_tasks[task];
    // The row shows 99 at most until its task has really ended.
    t.percent = std::clamp(percent, 0, 99);
    if (m_live) {
        redraw(false);
        return;
    }
    if (t.printed < 0 || t.percent >= t.printed + PlainStep) {
        t.printed = t.percent - t.percent % PlainStep;
        m_out << t.name << ": " << t.printed << "% (total " << totalPercent() << "%)\n";
        m_out.flush();
    }
}

void ConvertProgress::ended(int task, const QString &line)
{
    if (task >= 0 && task < m_tasks.size())
        m_tasks[task].ended = true;
    clearLive();
    m_out << line << "\n";
    if (m_live)
        redraw(true);
    m_out.flush();
}

void ConvertProgress::finish()
{
    clearLive();
    m_out.flush();
}

void ConvertProgress::clearLive()
{
    if (!m_live || m_liveLines == 0)
        return;
    // Up to the first live line, then erase to the end of the screen.
    m_out << "\x1b[" << m_liveLines << "A\r\x1b[J";
    m_liveLines = 0;
}

void ConvertProgress::redraw(bool force)
{
    if (!force && m_sinceDraw.isValid() && m_sinceDraw.elapsed() < RedrawIntervalMs)
        return;
    m_sinceDraw.start();
    clearLive();
    const int barWidth = std::clamp(m_columns / 4, 10, 30);
    int done = 0;
    for (const Task &task : std::as_const(m_tasks)) {
        if (task.ended) {
            ++done;
            continue;
        }
        if (task.percent < 0)
            continue;
        m_out << fit(QStringLiteral("  %1 %2%  %3")
                         .arg(bar(task.percent, barWidth))
                         .arg(task.percent, 3)
                         .arg(task.name))
              << "\n";
        ++m_liveLines;
    }
    const int seconds = int(m_elapsed.elapsed() / 1000);
    m_out << fit(QStringLiteral("  %1 %2%  total, %3 of %4 files, %5")
                     .arg(bar(totalPercent(), barWidth))
                     .arg(totalPercent(), 3)
                     .arg(done)
                     .arg(m_tasks.size())
                     .arg(FormatSeconds(seconds, false)))
          << "\n";
    ++m_liveLines;
    m_out.flush();
}

QString ConvertProgress::bar(int percent, int width) const
{
    const int filled = std::clamp(percent, 0, 100) * width / 100;
    return QLatin1Char('[') + QString(filled, QLatin1Char('#'))
        + QString(width - filled, QLatin1Char('.')) + QLatin1Char(']');
}

// A line longer than the terminal would wrap and break the count of lines to redraw.
QString ConvertProgress::fit(const QString &text) const
{
    return text.size() < m_columns ? text : text.left(m_columns - 1);
}

} // namespace sonivert::cli
