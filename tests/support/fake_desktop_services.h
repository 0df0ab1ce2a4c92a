#pragma once

// For GUI tests only: needs Qt D-Bus.
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <poll.h>
#include <unistd.h>

namespace sonivert::test {

// Stand-ins for the desktop's services on a test bus, recording what they are asked.
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    explicit FakeNotifications(uint id)
        : m_id(id)
    {
    }
    QList<QVariantList> calls;

public slots:
    uint Notify(const QString &appName, uint replacesId, const QString &icon,
        const QString &summary, const QString &body, const QStringList &actions,
        const QVariantMap &hints, int timeout)
    {
        calls.append({ appName, replacesId, icon, summary, body, actions, hints, timeout });
        return m_id;
    }

private:
    uint m_id;
};

class FakeLoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
public:
    QStringList calls;
    int lockReadEnd = -1; // sees end of file once every copy of the lock is closed

    ~FakeLoginManager() override
    {
        if (lockReadEnd >= 0)
            ::close(lockReadEnd);
    }
    bool lockReleased() const
    {
        pollfd watch { lockReadEnd, POLLIN, 0 };
        return ::poll(&watch, 1, 0) == 1 && (watch.revents & POLLHUP);
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(
        const QString &what, const QString &who, const QString &why, const QString &mode)
    {
        calls.append(QStringList { what, who, why, mode }.join(QLatin1Char('|')));
        int ends[2];
        if (::pipe(ends) != 0)
            return {};
        lockReadEnd = ends[0];
        QDBusUnixFileDescriptor lock(ends[1]);
        ::close(ends[1]);
        return lock;
    }
};

} // namespace sonivert::test
