#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>

namespace sonivert {

// One notification of ours on the desktop (org.freedesktop.Notifications), replaced by each
// newer one. A notice that names a folder offers "Open folder".
//
// Calls are asynchronous and nothing waits: without a bus or a notification service the answer
// is simply "not shown".
class DesktopNotifier : public QObject
{
    Q_OBJECT
public:
    struct Notice
    {
        QString summary;
        QString body;
        QString folder; // "" offers no "Open folder"
        QString category = QStringLiteral("transfer.complete");
    };

    explicit DesktopNotifier(QDBusConnection session, QObject *parent = nullptr);

    // shown (may be empty) learns whether the desktop took the notice.
    void show(const Notice &notice, std::function<void(bool shown)> shown = {});
    // What "Open folder" (or a click on the notice) does.
    void setOpenFolder(std::function<void(const QString &)> open)
    {
        m_openFolder = std::move(open);
    }

    static QString desktopId();

signals:
    // The person dismissed the notice or the desktop let it go.
    void closed();

private slots:
    void onActionInvoked(uint id, const QString &action);
    void onClosed(uint id, uint reason);

private:
    QDBusConnection m_session;
    std::function<void(const QString &)> m_openFolder;
    uint m_id = 0;
    QString m_folder;
};

} // namespace sonivert
