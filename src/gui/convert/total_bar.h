#pragma once

#include <QProgressBar>

class QLabel;

namespace sonivert {

// The total bar of a run. It reads the run's percent ("05%") and turns into a busy bar reading
// "Processing..." when no task has moved for a few elapsed seconds.
class TotalBar : public QProgressBar
{
    Q_OBJECT
public:
    explicit TotalBar(QWidget *parent = nullptr);

    // Empty and shown, at the start of a run.
    void restart();
    void showTotal(int percent);
    // A task has reported its percent (negative while it cannot tell).
    void taskMoved(int percent);
    // One elapsed second of the run.
    void tick();
    // Back to an empty percent bar, still shown (a run was stopped).
    void clear();
    // Hidden at the end of a run.
    void finish();

private:
    enum class Style { Percent, Busy };
    void setStyle(Style style);

    QLabel *m_busyCaption = nullptr; // a busy bar draws no text of its own
    Style m_style = Style::Percent;
    int m_stallTicks = 0;
    int m_savedTotal = 0; // the percent while the bar shows "Processing..."
};

} // namespace sonivert
