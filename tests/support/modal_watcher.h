#pragma once

// For GUI tests only: needs Qt Widgets.
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>
#include <QTimer>
#include <functional>

namespace sonivert::test {

// While it lives, answers every modal window that comes up: a message box with its first
// (default) button, any other window by closing it. Remembers the message texts and the other
// windows' object names in seen.
class ModalWatcher : public QObject
{
public:
    ModalWatcher()
    {
        connect(&timer, &QTimer::timeout, this, [this] {
            QWidget *modal = QApplication::activeModalWidget();
            if (!modal)
                return;
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                seen << box->text();
                box->buttons().first()->click();
            } else {
                seen << modal->objectName();
                modal->close();
            }
        });
        timer.start(20);
    }

    QStringList seen;
    QTimer timer;
};

// Acts once on the next modal window, as soon as it is up.
inline void onNextModal(std::function<void(QWidget *)> action)
{
    QTimer::singleShot(0, [action] {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal) {
            onNextModal(action);
            return;
        }
        action(modal);
    });
}

} // namespace sonivert::test
