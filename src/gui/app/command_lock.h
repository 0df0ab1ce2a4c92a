#pragma once

#include <QList>
#include <QPointer>
#include <QWidget>

namespace sonivert {

// Takes a set of controls out of use while a piece of work runs behind the window, and gives
// each one back the state it had: a control that was disabled before stays disabled.
class CommandLock
{
public:
    void lock(const QList<QWidget *> &controls);
    void release();
    bool isLocked() const { return m_locked; }

private:
    struct Saved
    {
        QPointer<QWidget> control;
        bool enabled = false;
    };
    QList<Saved> m_saved;
    bool m_locked = false;
};

} // namespace sonivert
