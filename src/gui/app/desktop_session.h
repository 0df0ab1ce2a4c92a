#pragma once

#include "gui/app/desktop_notifier.h"
#include "gui/app/sleep_inhibitor.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>

namespace sonivert {

class ConversionRun;
enum class RunState : int;
enum class RowOutcome;
enum class RunStopReason;

// What the desktop learns of a run: the dock's icon shows its progress and the files left, the
// session does not suspend while it converts, and a run that ends while the window is not in
// front is announced with a notification that can open the output folder.
//
// Every call is asynchronous and nothing waits for an answer: without a bus or without one of
// the services, the run goes on exactly as before, silently.
class DesktopSession : public QObject
{
    Q_OBJECT
public:
    struct Buses
    {
        QDBusConnection session;
        QDBusConnection system; // where the login manager lives
    };
    // The user's session bus and the system bus, or disconnected ones when there is none (no
    // attempt is made to start a bus).
    static Buses defaultBuses();

    DesktopSession(ConversionRun &run, Buses buses, QObject *parent = nullptr);
    ~DesktopSession() override;

    // Whether the person sees the program now; only a run that ends unseen is announced.
    void setWindowActive(std::function<bool()> isActive) { m_windowActive = std::move(isActive); }
    // What the notification's "Open folder" does.
    void setOpenFolder(std::function<void(const QString &)> open)
    {
        m_notifier.setOpenFolder(std::move(open));
    }

    static QString desktopId() { return DesktopNotifier::desktopId(); }

private:
    void onStateChanged(RunState state);
    void onRowEnded(int row, RowOutcome outcome);
    void onRunEnded(RunStopReason reason);
    void publishProgress(bool visible);
    void announceEnd(RunStopReason reason);

    ConversionRun &m_run;
    Buses m_buses;
    DesktopNotifier m_notifier;
    SleepInhibitor m_sleep;
    std::function<bool()> m_windowActive;
    bool m_running = false;
    int m_rowsLeft = 0;
    int m_done = 0;
    int m_failed = 0;
    int m_percent = 0;
};

} // namespace sonivert
