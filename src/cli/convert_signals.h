#pragma once

#include <QObject>
#include <csignal>

class QSocketNotifier;

namespace sonivert::cli {

// Turns SIGINT and SIGTERM into a Qt signal on the thread that made it, so a run can stop its
// tasks cleanly instead of dying with half-written files. The previous handlers come back when
// the object goes.
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject *parent = nullptr);
    ~StopSignals() override;

    bool active() const { return m_notifier != nullptr; }

signals:
    void stopRequested(int signalNumber);

private:
    static void handle(int signalNumber);
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
    struct sigaction m_previousInt
    {
    };
    struct sigaction m_previousTerm
    {
    };
};

} // namespace sonivert::cli
