#include "gui/formats/number_box.h"

#include <QKeyEvent>
#include <QToolButton>
#include <QVBoxLayout>

namespace sonivert {

NumberBox::NumberBox(QWidget *parent)
    : QLineEdit(parent)
{
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    setMaxLength(11);
    setContextMenuPolicy(Qt::NoContextMenu); // no pasting of arbitrary text
}

void NumberBox::keyPressEvent(QKeyEvent *event)
{
    const int key = event->key();
    const bool editing = key == Qt::Key_Backspace || key == Qt::Key_Left || key == Qt::Key_Right
        || key == Qt::Key_Home || key == Qt::Key_End || key == Qt::Key_Delete
        || key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab
        || key == Qt::Key_Backtab || key == Qt::Key_Escape;
    const QString typed = event->text();
    const bool digit = typed.size() == 1 && typed.at(0).isDigit()
        && event->modifiers().testAnyFlags(Qt::ControlModifier | Qt::AltModifier) == false;
    const bool minus = typed == QLatin1String("-") && !text().contains(QLatin1Char('-'))
        && cursorPosition() == 0;
    if (editing || digit || minus) {
        QLineEdit::keyPressEvent(event);
        // Enter completes the number; it must not also press the dialog's default button.
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            event->accept();
        return;
    }
    event->accept();
}

SpinButtons::SpinButtons(QWidget *parent)
    : QWidget(parent)
    , m_up(new QToolButton(this))
    , m_down(new QToolButton(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    for (QToolButton *button : { m_up, m_down }) {
        button->setAutoRepeat(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setFixedSize(16, 12);
        layout->addWidget(button);
    }
    m_up->setArrowType(Qt::UpArrow);
    m_down->setArrowType(Qt::DownArrow);
    connect(m_up, &QToolButton::clicked, this, [this] { emit stepped(1); });
    connect(m_down, &QToolButton::clicked, this, [this] { emit stepped(-1); });
}

} // namespace sonivert
