#pragma once

#include <QString>

class QWidget;

namespace sonivert {

// Opens a folder in the desktop's file manager. With select, the file manager shows the parent
// folder with the item named by path selected (where the desktop supports that). With askCreate,
// a missing folder is offered for creation first; declining opens nothing.
void OpenOutputFolder(QWidget *owner, const QString &path, bool select, bool askCreate);

// Shows one file selected in its folder; the parent folder opens where selection is unsupported.
void revealInFileManager(QWidget *owner, const QString &path);

} // namespace sonivert
