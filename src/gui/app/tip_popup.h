#pragma once

#include <QTimer>
#include <QWidget>

namespace sonivert {

// PopupControl_Tag: the getting-started tip, a frameless picture laid over the main window.
class TipPopup : public QWidget
{
    Q_OBJECT
public:
    enum State { Closed = 0, Showing = 2 };

    explicit TipPopup(QWidget *mainWindow);

    // Loads the picture (a missing file leaves the tip blank) and shows it at the tip's place.
    void ShowGettingStartedTip(const QString &imageFolder);
    void closeTip();
    State state() const { return m_state; }

    static constexpr int Width = 360;
    static constexpr int Height = 112;
    static QPoint placeFor(QPoint windowTopLeft)
    {
        return windowTopLeft + QPoint(Width + 25, Height + 85);
    }

signals:
    void stateChanged(int state);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    QPixmap m_picture;
    QTimer m_lifetime;
    State m_state = Closed;
};

} // namespace sonivert
