#include "gui/ui/icon_store.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>

namespace sonivert {

namespace {

struct Picture
{
    QPixmap pixmap;
    QIcon icon;
};

QHash<int, Picture> &pictures()
{
    static QHash<int, Picture> pictures;
    return pictures;
}

// Pixmaps belong to the GUI application; they must not outlive it in a static.
void releaseWithApplication()
{
    static bool registered = false;
    if (registered)
        return;
    registered = true;
    qAddPostRoutine([] {
        pictures().clear();
        registered = false;
    });
}

QString hiDpiSibling(const QString &path)
{
    const QFileInfo info(path);
    return info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral("@2x.")
        + info.suffix();
}

} // namespace

namespace IconStore {

void reset()
{
    pictures().clear();
}

bool load(const QString &path, int number)
{
    pictures().remove(number);
    QPixmap pixmap;
    if (path.isEmpty() || !pixmap.load(path))
        return false;

    QIcon icon(pixmap);
    QPixmap sharp;
    if (sharp.load(hiDpiSibling(path)) && sharp.size() == pixmap.size() * 2) {
        sharp.setDevicePixelRatio(2.0);
        icon.addPixmap(sharp);
    }
    releaseWithApplication();
    pictures().insert(number, Picture { pixmap, icon });
    return true;
}

QIcon get(int number)
{
    return pictures().value(number).icon;
}

QPixmap pixmap(int number)
{
    return pictures().value(number).pixmap;
}

} // namespace IconStore

} // namespace sonivert
