#include "gui/app/sleep_inhibitor.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace sonivert {

SleepInhibitor::SleepInhibitor(QDBusConnection systemBus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(systemBus))
{
}

void SleepInhibitor::hold()
{
    if (m_wanted || !m_bus.isConnected())
        return;
    m_wanted = true;
    const int request = ++m_request;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.login1"),
        QStringLiteral("/org/freedesktop/login1"), QStringLiteral("org.freedesktop.login1.Manager"),
        QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << QStringLiteral("Sonivert")
         << QStringLiteral("Converting files") << QStringLiteral("block");
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, request, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        if (!reply.isError() && m_wanted && request == m_request)
            m_lock = reply.value();
    });
}

void SleepInhibitor::release()
{
    m_wanted = false;
    ++m_request;
    // Closing our copy of the descriptor is what gives the lock back.
    m_lock = QDBusUnixFileDescriptor();
}

} // namespace sonivert
