#include "gui/app/getting_started_tip.h"

#include "gui/app/tip_popup.h"
#include "gui/media/file_list_area.h"
#include "gui/ui/skin.h"

#include <QPushButton>

namespace sonivert {

GettingStartedTip::GettingStartedTip(QWidget &window, FileListArea &listArea, QPushButton *addFiles)
    : QObject(&window)
    , m_window(window)
    , m_listArea(listArea)
    , m_addFiles(addFiles)
{
    m_popup = new TipPopup(&window);
    connect(m_popup, &TipPopup::stateChanged, this, [this](int state) {
        if (state == TipPopup::Closed)
            m_listArea.setDropPictureShown(true);
    });

    // Findable by name; a member leaves its parent before the parent goes.
    for (QTimer *timer : { &m_timerTags, &m_timerCheckMoveForm })
        timer->setParent(this);
    m_timerTags.setObjectName(QStringLiteral("Timer_Tags"));
    m_timerTags.setInterval(200);
    m_timerTags.setSingleShot(true);
    m_timerCheckMoveForm.setObjectName(QStringLiteral("Timer_CheckMoveForm"));
    m_timerCheckMoveForm.setInterval(50);
    connect(&m_timerTags, &QTimer::timeout, this, &GettingStartedTip::showTip);
    connect(&m_timerCheckMoveForm, &QTimer::timeout, this, &GettingStartedTip::checkWindowMoved);
}

void GettingStartedTip::stopTimers()
{
    m_timerTags.stop();
    m_timerCheckMoveForm.stop();
}

void GettingStartedTip::showTip()
{
    m_timerTags.stop();
    m_tipWindowPos = m_window.pos();
    m_timerCheckMoveForm.start();
    m_listArea.setDropPictureShown(false);
    m_popup->ShowGettingStartedTip(skinImageFolder());
    m_addFiles->setEnabled(true);
}

void GettingStartedTip::checkWindowMoved()
{
    if (m_window.pos() != m_tipWindowPos && m_popup->state() == TipPopup::Showing)
        m_popup->closeTip();
    if (m_popup->state() == TipPopup::Closed)
        m_timerCheckMoveForm.stop();
}

} // namespace sonivert
