#pragma once

#include <QProgressBar>
#include <QSlider>
#include <QWidget>

namespace sonivert {

// The position bar under the picture; a press seeks to the pixel under the pointer.
class PositionBar : public QProgressBar
{
    Q_OBJECT

public:
    explicit PositionBar(QWidget *parent = nullptr);

signals:
    void pressedAt(int x);

protected:
    void mousePressEvent(QMouseEvent *event) override;
};

// One of the two trim handles. The start handle stands left of its point, the end handle right
// of it. Drags are reported in the coordinates of the bar the handle belongs to, clamped to it.
class TrimHandle : public QWidget
{
    Q_OBJECT

public:
    enum Side { StartSide, EndSide };
    static constexpr int Width = 12;

    TrimHandle(Side side, QWidget *bar, QWidget *parent);

    // The pixel of the point the handle stands on, as decimal text.
    QString tag() const { return m_tag; }
    void setTag(const QString &tag) { m_tag = tag; }

signals:
    void pressed();
    void dragged(int barX);
    void released();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    Side m_side;
    QWidget *m_bar;
    QString m_tag = QStringLiteral("0");
};

// The highlight of the selected range, drawn over the bar; clicks pass through to the bar.
class RangeHighlight : public QWidget
{
    Q_OBJECT

public:
    explicit RangeHighlight(QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;
};

// The seek slider: its value is the pixel under the pointer (its maximum is its width).
class SeekSlider : public QSlider
{
    Q_OBJECT

public:
    explicit SeekSlider(QWidget *parent = nullptr);

signals:
    void pressedAt(int x);
    void releasedAt(int x);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    int clampedX(const QMouseEvent *event) const;
    bool m_down = false;
};

} // namespace sonivert
