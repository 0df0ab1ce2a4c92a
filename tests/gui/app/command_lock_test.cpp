#include "gui/app/command_lock.h"

#include <QPushButton>
#include <QTest>
#include <memory>

using namespace sonivert;

class CommandLockTest : public QObject
{
    Q_OBJECT

private slots:
    // Each control gets back its own state: one the window had disabled stays disabled, one that
    // was only greyed by its disabled parent comes back usable, and a control deleted meanwhile
    // is skipped.
    void releaseGivesEachControlItsOwnStateBack()
    {
        QWidget window;
        auto *usable = new QPushButton(&window);
        auto *disabled = new QPushButton(&window);
        disabled->setEnabled(false);
        QWidget panel(&window);
        auto *inPanel = new QPushButton(&panel);
        panel.setEnabled(false);
        auto gone = std::make_unique<QPushButton>(&window);

        CommandLock lock;
        lock.lock({ usable, disabled, inPanel, gone.get() });
        QVERIFY(lock.isLocked());
        QVERIFY(!usable->isEnabled() && !disabled->isEnabled());
        // A second lock while locked must not take the locked states as the ones to restore.
        lock.lock({ usable });
        gone.reset();
        panel.setEnabled(true);
        QVERIFY(!inPanel->isEnabled());

        lock.release();
        QVERIFY(!lock.isLocked());
        QVERIFY(usable->isEnabled());
        QVERIFY(!disabled->isEnabled());
        QVERIFY(inPanel->isEnabled());
        lock.release();
        QVERIFY(usable->isEnabled());
    }
};

QTEST_MAIN(CommandLockTest)
#include "command_lock_test.moc"
