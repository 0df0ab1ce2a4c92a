#include "gui/app/open_folder.h"

#include "gui/app/messages.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace sonivert {

namespace {

bool showItemsOverDBus(const QString &path)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusInterface fileManager(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), bus);
    if (!fileManager.isValid())
        return false;
    const QStringList uris { QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString() };
    const QDBusMessage reply = fileManager.call(QStringLiteral("ShowItems"), uris, QString());
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool openLocal(const QString &folder)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(folder).absoluteFilePath()));
}

} // namespace

void revealInFileManager(QWidget *owner, const QString &path)
{
    Q_UNUSED(owner);
    if (showItemsOverDBus(path))
        return;
    openLocal(QFileInfo(path).absolutePath());
}

void OpenOutputFolder(QWidget *owner, const QString &path, bool select, bool askCreate)
{
    if (askCreate && !QFileInfo::exists(path)) {
        const QString prompt = QStringLiteral("Folder  '") + path
            + QStringLiteral("'  does not exist.\n\nDo you want to create it?");
        if (ShowMessage(prompt, MsgWarningQuestion, QString(), owner) != ResultYes)
            return;
        QDir().mkpath(path);
    }
    if (select) {
        revealInFileManager(owner, path);
        return;
    }
    openLocal(path);
}

} // namespace sonivert
