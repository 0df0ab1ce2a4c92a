#include "gui/app/tip_popup.h"

#include <QMouseEvent>
#include <QPainter>

namespace sonivert {

TipPopup::TipPopup(QWidget *mainWindow)
    : QWidget(mainWindow)
{
    setObjectName(QStringLiteral("PopupControl_Tag"));
    setAttribute(Qt::WA_TranslucentBackground);
    setCursor(Qt::PointingHandCursor);
    resize(Width, Height);
    hide();
    m_lifetime.setSingleShot(true);
    m_lifetime.setInterval(5000);
    connect(&m_lifetime, &QTimer::timeout, this, &TipPopup::closeTip);
}

void TipPopup::ShowGettingStartedTip(const QString &imageFolder)
{
    m_picture = QPixmap(imageFolder + QStringLiteral("img_snv_tag_gettingstarted.png"));
    // The place is counted from the window's top-left corner; the tip lives inside the window
    // because a desktop may refuse free placement of top-level popups.
    move(placeFor(QPoint(0, 0)));
    raise();
    show();
    m_state = Showing;
    m_lifetime.start();
    emit stateChanged(m_state);
}

void TipPopup::closeTip()
{
    m_lifetime.stop();
    if (m_state == Closed)
        return;
    hide();
    m_state = Closed;
    emit stateChanged(m_state);
}

void TipPopup::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!m_picture.isNull())
        painter.drawPixmap(rect(), m_picture);
}

void TipPopup::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    closeTip();
}

} // namespace sonivert
