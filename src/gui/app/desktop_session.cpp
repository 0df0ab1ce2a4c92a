#include "gui/app/desktop_session.h"

#include "core/convert/conversion_run.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFileInfo>
#include <QVariantMap>

namespace sonivert {

namespace {

const QString kLauncherEntry = QStringLiteral("com.canonical.Unity.LauncherEntry");

bool sessionBusExists()
{
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        return true;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus"));
}

QDBusConnection disconnected()
{
    return QDBusConnection(QStringLiteral("sonivert-no-bus"));
}

} // namespace

DesktopSession::Buses DesktopSession::defaultBuses()
{
    if (!sessionBusExists())
        return { disconnected(), disconnected() };
    const bool systemBus = QFileInfo::exists(QStringLiteral("/run/dbus/system_bus_socket"))
        || !qEnvironmentVariableIsEmpty("DBUS_SYSTEM_BUS_ADDRESS");
    return { QDBusConnection::sessionBus(),
        systemBus ? QDBusConnection::systemBus() : disconnected() };
}

DesktopSession::DesktopSession(ConversionRun &run, Buses buses, QObject *parent)
    : QObject(parent)
    , m_run(run)
    , m_buses(std::move(buses))
    , m_notifier(m_buses.session)
    , m_sleep(m_buses.system)
{
    connect(&m_run, &ConversionRun::stateChanged, this, &DesktopSession::onStateChanged);
    connect(&m_run, &ConversionRun::totalProgress, this, [this](int percent) {
        m_percent = percent;
        publishProgress(true);
    });
    connect(&m_run, &ConversionRun::rowEnded, this,
        [this](int row, RowOutcome outcome, const QString &) { onRowEnded(row, outcome); });
    connect(&m_run, &ConversionRun::runEnded, this, &DesktopSession::onRunEnded);
}

DesktopSession::~DesktopSession()
{
    // The lock goes with the process anyway; the dock's entry would stay without this.
    if (m_running)
        publishProgress(false);
}

void DesktopSession::onStateChanged(RunState state)
{
    if (state != RunState::Idle && !m_running) {
        m_running = true;
        m_rowsLeft = m_run.rowCount();
        m_done = m_failed = m_percent = 0;
        m_sleep.hold();
        publishProgress(true);
    } else if (state == RunState::Idle && m_running) {
        // Also the way out of an abandoned run, which sends no runEnded.
        m_running = false;
        m_sleep.release();
        publishProgress(false);
    }
}

void DesktopSession::onRowEnded(int, RowOutcome outcome)
{
    m_rowsLeft = qMax(0, m_rowsLeft - 1);
    if (outcome == RowOutcome::Done)
        ++m_done;
    else if (outcome == RowOutcome::Failed)
        ++m_failed;
    publishProgress(m_running);
}

void DesktopSession::onRunEnded(RunStopReason reason)
{
    m_running = false;
    m_sleep.release();
    publishProgress(false);
    if (!m_windowActive || !m_windowActive())
        announceEnd(reason);
}

void DesktopSession::publishProgress(bool visible)
{
    if (!m_buses.session.isConnected())
        return;
    // Docks match the entry by the application's desktop file; the object path is ours to pick.
    QDBusMessage update
        = QDBusMessage::createSignal(QStringLiteral("/com/corvallo/Sonivert/LauncherEntry"),
            kLauncherEntry, QStringLiteral("Update"));
    const QVariantMap properties {
        { QStringLiteral("progress"), visible ? m_percent / 100.0 : 0.0 },
        { QStringLiteral("progress-visible"), visible },
        { QStringLiteral("count"), qint64(visible ? m_rowsLeft : 0) },
        { QStringLiteral("count-visible"), visible && m_rowsLeft > 0 },
    };
    update << QStringLiteral("application://%1.desktop").arg(desktopId()) << properties;
    m_buses.session.send(update);
}

void DesktopSession::announceEnd(RunStopReason reason)
{
    DesktopNotifier::Notice notice;
    notice.summary = reason == RunStopReason::None ? QStringLiteral("Conversion finished")
                                                   : QStringLiteral("Conversion stopped");
    notice.body = m_done == 1 ? QStringLiteral("1 file converted")
                              : QStringLiteral("%1 files converted").arg(m_done);
    if (m_failed > 0)
        notice.body += QStringLiteral(", %1 failed").arg(m_failed);
    if (const QString why = stopExplanation(reason, m_run.folder()); !why.isEmpty())
        notice.body += QStringLiteral(".\n") + why;
    notice.folder = m_run.folder();
    m_notifier.show(notice);
}

} // namespace sonivert
