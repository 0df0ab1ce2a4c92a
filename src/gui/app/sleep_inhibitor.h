#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>

namespace sonivert {

// Keeps the computer from suspending while files convert: a "sleep" lock of the login manager
// (org.freedesktop.login1.Manager.Inhibit on the system bus), held until released. Asking does
// not wait; without the service nothing happens.
class SleepInhibitor : public QObject
{
    Q_OBJECT
public:
    explicit SleepInhibitor(QDBusConnection systemBus, QObject *parent = nullptr);

    void hold();
    // Also what a late answer to an earlier hold() finds: the lock it brings is dropped at once.
    void release();

private:
    QDBusConnection m_bus;
    bool m_wanted = false;
    int m_request = 0; // counts requests, so that a late answer to an old one is dropped
    QDBusUnixFileDescriptor m_lock;
};

} // namespace sonivert
