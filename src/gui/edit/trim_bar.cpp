#include "gui/edit/trim_bar.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace sonivert {

PositionBar::PositionBar(QWidget *parent)
    : QProgressBar(parent)
{
    setTextVisible(false);
    setMinimum(0);
}

void PositionBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit pressedAt(qBound(0, int(event->position().x()), maximum()));
    event->accept();
}

TrimHandle::TrimHandle(Side side, QWidget *bar, QWidget *parent)
    : QWidget(parent)
    , m_side(side)
    , m_bar(bar)
{
    setCursor(Qt::SizeHorCursor);
    setToolTip(side == StartSide ? QStringLiteral("Start") : QStringLiteral("End"));
}

void TrimHandle::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor fill = isEnabled() ? QColor(0x00, 0x7a, 0xff) : QColor(0xa0, 0xa0, 0xa0);
    const qreal w = width();
    const qreal h = height();
    // A bracket whose straight side marks the point, with a grip pointing into the selection.
    QPainterPath path;
    if (m_side == StartSide) {
        path.moveTo(w, 0);
        path.lineTo(w, h);
        path.lineTo(w - 4, h);
        path.lineTo(0, h - 6);
        path.lineTo(0, 6);
        path.lineTo(w - 4, 0);
    } else {
        path.moveTo(0, 0);
        path.lineTo(0, h);
        path.lineTo(4, h);
        path.lineTo(w, h - 6);
        path.lineTo(w, 6);
        path.lineTo(4, 0);
    }
    path.closeSubpath();
    p.fillPath(path, fill);
}

void TrimHandle::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit pressed();
    event->accept();
}

void TrimHandle::mouseMoveEvent(QMouseEvent *event)
{
    if (!(event->buttons() & Qt::LeftButton))
        return;
    const int x = m_bar->mapFromGlobal(event->globalPosition()).toPoint().x();
    emit dragged(qBound(0, x, m_bar->width()));
}

void TrimHandle::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit released();
}

RangeHighlight::RangeHighlight(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void RangeHighlight::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(0xff, 0xa5, 0x00, 110));
    p.setPen(QColor(0xff, 0x8c, 0x00));
    p.drawLine(0, height() - 1, width() - 1, height() - 1);
    p.drawLine(0, 0, width() - 1, 0);
}

SeekSlider::SeekSlider(QWidget *parent)
    : QSlider(Qt::Horizontal, parent)
{
}

int SeekSlider::clampedX(const QMouseEvent *event) const
{
    return qBound(0, int(event->position().x()), maximum());
}

void SeekSlider::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_down = true;
    emit pressedAt(clampedX(event));
    setValue(clampedX(event));
    event->accept();
}

void SeekSlider::mouseMoveEvent(QMouseEvent *event)
{
    if (m_down)
        setValue(clampedX(event));
    event->accept();
}

void SeekSlider::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_down)
        return;
    m_down = false;
    setValue(clampedX(event));
    emit releasedAt(clampedX(event));
    event->accept();
}

} // namespace sonivert
