#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

namespace sonivert {

// The process-wide pictures of the skin, keyed by number, filled once at start-up and read by
// every window that shows one (see skin.h for the numbers). Pictures are used at their own size.
namespace IconStore {

// Forgets every picture.
void reset();

// Loads the picture at path under number, replacing any picture held under it. A sibling file
// with "@2x" before the extension, when present, serves high-density screens. Returns false and
// leaves the number empty when the file cannot be read.
bool load(const QString &path, int number);

// The picture under number as an icon for a button; a null icon when the number holds none.
QIcon get(int number);

// The same picture at its own size; a null pixmap when the number holds none.
QPixmap pixmap(int number);

} // namespace IconStore

} // namespace sonivert
