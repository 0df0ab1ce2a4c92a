#include "gui/ui/list_icons.h"

#include <QImage>

namespace sonivert {

namespace {

constexpr QRgb kTransparentKey = 0xffff00ff;

} // namespace

bool ListIcons::load(const QString &path)
{
    m_icons.clear();
    QImage strip;
    if (path.isEmpty() || !strip.load(path))
        return false;

    const int width = strip.width() / Count;
    if (width < 1)
        return false;

    QImage keyed = strip.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < keyed.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(keyed.scanLine(y));
        for (int x = 0; x < keyed.width(); ++x) {
            if ((line[x] | 0xff000000) == kTransparentKey)
                line[x] = 0;
        }
    }

    m_icons.reserve(Count);
    for (int i = 0; i < Count; ++i)
        m_icons.append(QPixmap::fromImage(keyed.copy(i * width, 0, width, keyed.height())));
    return true;
}

QPixmap ListIcons::icon(int id) const
{
    if (id < 1 || id > m_icons.size())
        return {};
    return m_icons.at(id - 1);
}

} // namespace sonivert
