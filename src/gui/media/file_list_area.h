#pragma once

#include <QWidget>

class QLabel;
class QListWidget;

namespace sonivert {

class FileViewMain;

// The file list's place in the main window: an empty list with the drag-and-drop picture until
// files are listed, the file view from then on.
class FileListArea : public QWidget
{
    Q_OBJECT
public:
    explicit FileListArea(QWidget *parent = nullptr);

    FileViewMain *fileView() const { return m_view; }
    void setDropPicture(const QPixmap &picture);
    void setDropPictureShown(bool shown);
    // The file view, or the empty list in its place.
    void showFileView(bool shown);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void placeDropPicture();

    QListWidget *m_empty = nullptr;
    QLabel *m_dropPicture = nullptr;
    FileViewMain *m_view = nullptr;
};

} // namespace sonivert
