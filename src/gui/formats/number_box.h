#pragma once

#include <QLineEdit>
#include <QWidget>

class QToolButton;

namespace sonivert {

// A text box for a whole number: it takes digits, backspace and one leading minus sign and drops
// every other key that would type something.
class NumberBox : public QLineEdit
{
    Q_OBJECT

public:
    explicit NumberBox(QWidget *parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

// The small up and down arrows beside a number box.
class SpinButtons : public QWidget
{
    Q_OBJECT

public:
    explicit SpinButtons(QWidget *parent = nullptr);

signals:
    void stepped(int delta);

private:
    QToolButton *m_up;
    QToolButton *m_down;
};

} // namespace sonivert
