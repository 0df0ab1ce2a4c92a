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

QHash<int, Picture> &Pictures()
{
    static QHash<int, Picture> pictures;
    return pictures;
}

// Pixmaps belong to the GUI application; they must not outlive it in a static.
void ReleaseWithApplication()
{
    static bool registered = false;
    if (registered)
        return;
    registered = true;
    qAddPostRoutine([] {
        Pictures().clear();
        registered = false;
    });
}

QString HiDpiSibling(const QString &path)
{
    const QFileInfo info(path);
    return info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral("@2x.")
        + info.suffix();
}

} // namespace

namespace IconStore {

void Reset()
{
    Pictures().clear();
}

bool Load(const QString &path, int number)
{
    Pictures().remove(number);
    QPixmap pixmap;
    if (path.isEmpty() || !pixmap.load(path))
        return false;

    QIcon icon(pixmap);
    QPixmap sharp;
    if (sharp.load(HiDpiSibling(path)) && sharp.size() == pixmap.size() * 2) {
        sharp.setDevicePixelRatio(2.0);
        icon.addPixmap(sharp);
    }
    ReleaseWithApplication();
    Pictures().insert(number, Picture { pixmap, icon });
    return true;
}

QIcon Get(int number)
{
    return Pictures().value(number).icon;
}

QPixmap Pixmap(int number)
{
    return Pictures().value(number).pixmap;
}

} // namespace IconStore

} // namespace sonivert
