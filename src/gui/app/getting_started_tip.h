#pragma once

#include <QObject>
#include <QPoint>
#include <QTimer>

class QPushButton;
class QWidget;

namespace sonivert {

class FileListArea;
class TipPopup;

// The getting-started tip of a start without a file to open: shortly after start-up it shows in
// place of the drag-and-drop picture, and it closes when the window moves or is minimised.
class GettingStartedTip : public QObject
{
    Q_OBJECT
public:
    GettingStartedTip(QWidget &window, FileListArea &listArea, QPushButton *addFiles);

    TipPopup *popup() const { return m_popup; }
    void start() { m_timerTags.start(); }
    void stopTimers();

private:
    void showTip();
    void checkWindowMoved();

    QWidget &m_window;
    FileListArea &m_listArea;
    QPushButton *m_addFiles;
    TipPopup *m_popup = nullptr;
    QTimer m_timerTags;
    QTimer m_timerCheckMoveForm;
    QPoint m_tipWindowPos;
};

} // namespace sonivert
