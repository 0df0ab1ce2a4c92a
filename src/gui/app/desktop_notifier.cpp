#include "gui/app/desktop_notifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>

namespace sonivert {

namespace {

const QString kNotifications = QStringLiteral("org.freedesktop.Notifications");
const QString kNotificationsPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kOpenFolderAction = QStringLiteral("open-folder");

} // namespace

DesktopNotifier::DesktopNotifier(QDBusConnection session, QObject *parent)
    : QObject(parent)
    , m_session(std::move(session))
{
    if (!m_session.isConnected())
        return;
    m_session.connect(kNotifications, kNotificationsPath, kNotifications,
        QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
    m_session.connect(kNotifications, kNotificationsPath, kNotifications,
        QStringLiteral("NotificationClosed"), this, SLOT(onClosed(uint, uint)));
}

QString DesktopNotifier::desktopId()
{
    return QStringLiteral("com.corvallo.Sonivert");
}

void DesktopNotifier::show(const Notice &notice, std::function<void(bool)> shown)
{
    if (!m_session.isConnected()) {
        if (shown)
            shown(false);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        kNotifications, kNotificationsPath, kNotifications, QStringLiteral("Notify"));
    QStringList actions;
    if (!notice.folder.isEmpty()) {
        actions = QStringList { QStringLiteral("default"), QStringLiteral("Open folder"),
            kOpenFolderAction, QStringLiteral("Open folder") };
    }
    const QVariantMap hints { { QStringLiteral("desktop-entry"), desktopId() },
        { QStringLiteral("category"), notice.category } };
    call << QStringLiteral("Sonivert") << m_id << desktopId() << notice.summary << notice.body
         << actions << hints << -1;
    m_folder = notice.folder;
    auto *watcher = new QDBusPendingCallWatcher(m_session.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, watcher, shown = std::move(shown)] {
            watcher->deleteLater();
            const QDBusPendingReply<uint> reply = *watcher;
            if (!reply.isError())
                m_id = reply.value();
            if (shown)
                shown(!reply.isError());
        });
}

void DesktopNotifier::onActionInvoked(uint id, const QString &action)
{
    if (id == 0 || id != m_id || !m_openFolder || m_folder.isEmpty())
        return;
    if (action == kOpenFolderAction || action == QLatin1String("default"))
        m_openFolder(m_folder);
}

void DesktopNotifier::onClosed(uint id, uint)
{
    if (id != 0 && id == m_id)
        emit closed();
}

} // namespace sonivert
