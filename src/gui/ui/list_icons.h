#pragma once

#include <QList>
#include <QPixmap>
#include <QString>

namespace sonivert {

// The file list's row icons, cut from one horizontal strip of equal squares. The file list model
// reports an icon id per row and the list's delegate draws the matching picture.
class ListIcons
{
public:
    static constexpr int Count = 14;
    static constexpr int None = 0;
    static constexpr int FirstBusyFrame = 1; // 1 to 9 animate a row in progress
    static constexpr int BusyFrames = 9;
    static constexpr int Done = 10;
    static constexpr int Failed = 11;
    static constexpr int Ready = 12;
    static constexpr int Cancelled = 13;
    static constexpr int Trimmed = 14;

    // Cuts the strip at path into Count icons. The strip's magenta (#ff00ff) is transparent:
    // BMP keeps no alpha channel. Returns false and holds no icons when the file cannot be read or
    // is too narrow for Count icons.
    bool load(const QString &path);

    bool isLoaded() const { return !m_icons.isEmpty(); }

    // The icon with id 1 to Count; a null pixmap for None, an unknown id or an unloaded strip.
    QPixmap icon(int id) const;

private:
    QList<QPixmap> m_icons;
};

} // namespace sonivert
