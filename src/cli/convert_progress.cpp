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

bool IsTerminal(int fd)
{
    return ::isatty(fd) == 1;
}

ConvertProgress::ConvertProgress(QTextStream &out, bool live, const QStringList &taskNames)
    : out_(out)
    , live_(live)
{
    for (const QString &name : taskNames)
        tasks_.append(Task { name });
    if (live_)
        columns_ = terminalColumns();
    elapsed_.start();
}

int ConvertProgress::TotalPercent() const
{
    if (tasks_.isEmpty())
        return 0;
    int sum = 0;
    for (const Task &task : tasks_)
        sum += task.ended ? 100 : std::max(task.percent, 0);
    return sum / int(tasks_.size());
}

void ConvertProgress::Progress(int task, int percent)
{
    if (task < 0 || task >= tasks_.size() || tasks_[task].ended)
        return;
    Task &t = tasks_[task];
    // The row shows 99 at most until its task has really ended.
    t.percent = std::clamp(percent, 0, 99);
    if (live_) {
        redraw(false);
        return;
    }
    if (t.printed < 0 || t.percent >= t.printed + PlainStep) {
        t.printed = t.percent - t.percent % PlainStep;
        out_ << t.name << ": " << t.printed << "% (total " << TotalPercent() << "%)\n";
        out_.flush();
    }
}

void ConvertProgress::Ended(int task, const QString &line)
{
    if (task >= 0 && task < tasks_.size())
        tasks_[task].ended = true;
    clearLive();
    out_ << line << "\n";
    if (live_)
        redraw(true);
    out_.flush();
}

void ConvertProgress::Finish()
{
    clearLive();
    out_.flush();
}

void ConvertProgress::clearLive()
{
    if (!live_ || liveLines_ == 0)
        return;
    // Up to the first live line, then erase to the end of the screen.
    out_ << "\x1b[" << liveLines_ << "A\r\x1b[J";
    liveLines_ = 0;
}

void ConvertProgress::redraw(bool force)
{
    if (!force && sinceDraw_.isValid() && sinceDraw_.elapsed() < RedrawIntervalMs)
        return;
    sinceDraw_.start();
    clearLive();
    const int barWidth = std::clamp(columns_ / 4, 10, 30);
    int done = 0;
    for (const Task &task : std::as_const(tasks_)) {
        if (task.ended) {
            ++done;
            continue;
        }
        if (task.percent < 0)
            continue;
        out_ << fit(QStringLiteral("  %1 %2%  %3")
                        .arg(bar(task.percent, barWidth))
                        .arg(task.percent, 3)
                        .arg(task.name))
             << "\n";
        ++liveLines_;
    }
    const int seconds = int(elapsed_.elapsed() / 1000);
    out_ << fit(QStringLiteral("  %1 %2%  total, %3 of %4 files, %5")
                    .arg(bar(TotalPercent(), barWidth))
                    .arg(TotalPercent(), 3)
                    .arg(done)
                    .arg(tasks_.size())
                    .arg(FormatSeconds(seconds, false)))
         << "\n";
    ++liveLines_;
    out_.flush();
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
    return text.size() < columns_ ? text : text.left(columns_ - 1);
}

} // namespace sonivert::cli
