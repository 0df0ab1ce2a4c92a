#include "gui/app/command_lock.h"

namespace sonivert {

void CommandLock::lock(const QList<QWidget *> &controls)
{
    if (m_locked)
        return;
    m_locked = true;
    m_saved.clear();
    for (QWidget *control : controls) {
        if (!control)
            continue;
        // isEnabledTo(nullptr) would include the window's own state; only the control's counts.
        m_saved.append({ control, !control->testAttribute(Qt::WA_ForceDisabled) });
        control->setEnabled(false);
    }
}

void CommandLock::release()
{
    if (!m_locked)
        return;
    m_locked = false;
    for (const Saved &saved : std::as_const(m_saved)) {
        if (saved.control)
            saved.control->setEnabled(saved.enabled);
    }
    m_saved.clear();
}

} // namespace sonivert
