#include "gui/app/messages.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QWindow>

namespace sonivert {

namespace {

QMessageBox::Icon iconFor(int style)
{
    switch (style & 0x70) {
    case 16:
        return QMessageBox::Critical;
    case 32:
        return QMessageBox::Question;
    case 48:
        return QMessageBox::Warning;
    case 64:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

bool asksYesNo(int style)
{
    return (style & 0x0f) == 4;
}

// Window systems never show an empty title: they put the program's name there instead. A box
// whose title is empty gets a blank one on screen; its own title stays empty.
void keepTitleBarEmpty(QWidget *window)
{
    if (!window->windowTitle().isEmpty())
        return;
    window->winId();
    if (QWindow *handle = window->windowHandle())
        handle->setTitle(QStringLiteral(" "));
}

} // namespace

int ShowMessage(const QString &prompt, int style, const QString &title, QWidget *parent)
{
    if (!parent)
        parent = QApplication::activeWindow();
    QMessageBox box(parent);
    box.setObjectName(QStringLiteral("MessageBox"));
    box.setIcon(iconFor(style));
    box.setWindowTitle(title);
    box.setText(prompt);
    keepTitleBarEmpty(&box);
    if (asksYesNo(style)) {
        QPushButton *yes = box.addButton(QMessageBox::Yes);
        QPushButton *no = box.addButton(QMessageBox::No);
        box.setDefaultButton(yes);
        box.setEscapeButton(no);
        box.exec();
        return box.clickedButton() == yes ? ResultYes : ResultNo;
    }
    QPushButton *ok = box.addButton(QMessageBox::Ok);
    box.setDefaultButton(ok);
    box.setEscapeButton(ok);
    box.exec();
    return ResultOk;
}

} // namespace sonivert
