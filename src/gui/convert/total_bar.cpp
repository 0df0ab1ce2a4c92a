#include "gui/convert/total_bar.h"

#include "core/convert/run_progress.h"

#include <QHBoxLayout>
#include <QLabel>

namespace sonivert {

TotalBar::TotalBar(QWidget *parent)
    : QProgressBar(parent)
{
    setObjectName(QStringLiteral("ProgressBar_Total"));
    setRange(0, 100);
    setValue(0);
    // The bar shows only while a run is on; its place stays so the buttons do not jump.
    QSizePolicy keepPlace = sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    setSizePolicy(keepPlace);
    hide();
    m_busyCaption = new QLabel(QStringLiteral("Processing..."), this);
    m_busyCaption->setObjectName(QStringLiteral("lbl_TotalBusy"));
    m_busyCaption->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto *overlay = new QHBoxLayout(this);
    overlay->setContentsMargins(0, 0, 0, 0);
    overlay->addWidget(m_busyCaption, 0, Qt::AlignCenter);
    m_busyCaption->hide();
}

void TotalBar::restart()
{
    setRange(0, 100);
    setValue(0);
    setFormat(QString());
    setStyle(Style::Percent);
    show();
    m_stallTicks = 0;
}

void TotalBar::showTotal(int percent)
{
    m_savedTotal = percent;
    if (m_style == Style::Percent) {
        setValue(percent);
        setFormat(totalBarText(percent, 1));
    }
}

void TotalBar::taskMoved(int percent)
{
    m_stallTicks = 1;
    if (percent >= 0 && percent < 100)
        setStyle(Style::Percent);
}

void TotalBar::tick()
{
    if (m_stallTicks < 1)
        return;
    ++m_stallTicks;
    setStyle(m_stallTicks < 3 ? Style::Percent : Style::Busy);
}

void TotalBar::clear()
{
    // A bar stopped while busy comes back empty, not with the percent it had saved.
    m_savedTotal = 0;
    m_stallTicks = 0;
    setStyle(Style::Percent);
    setValue(0);
    setFormat(QString());
}

void TotalBar::finish()
{
    setStyle(Style::Percent);
    hide();
    m_savedTotal = 0;
}

void TotalBar::setStyle(Style style)
{
    if (style == m_style)
        return;
    m_style = style;
    if (style == Style::Busy) {
        setRange(0, 0);
        setFormat(QStringLiteral("Processing..."));
        m_busyCaption->show();
    } else {
        m_busyCaption->hide();
        setRange(0, 100);
        setValue(m_savedTotal);
        setFormat(m_savedTotal > 0 ? totalBarText(m_savedTotal, 1) : QString());
    }
}

} // namespace sonivert
