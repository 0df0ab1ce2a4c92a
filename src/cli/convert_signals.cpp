#include "cli/convert_signals.h"

#include <QSocketNotifier>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sonivert::cli {

namespace {

// The handler may only write to a descriptor; the notifier reads it on the event loop.
int pipeEnds[2] = { -1, -1 };

} // namespace

void StopSignals::handle(int signalNumber)
{
    const int saved = errno;
    const char byte = char(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(pipeEnds[0], &byte, 1);
    errno = saved;
}

StopSignals::StopSignals(QObject *parent)
    : QObject(parent)
{
    if (pipeEnds[0] >= 0)
        return; // one watcher at a time
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pipeEnds) != 0) {
        pipeEnds[0] = pipeEnds[1] = -1;
        return;
    }
    m_notifier = new QSocketNotifier(pipeEnds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &StopSignals::readSignal);

    struct sigaction action
    {
    };
    action.sa_handler = &StopSignals::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &m_previousInt);
    ::sigaction(SIGTERM, &action, &m_previousTerm);
}

StopSignals::~StopSignals()
{
    if (!m_notifier)
        return;
    ::sigaction(SIGINT, &m_previousInt, nullptr);
    ::sigaction(SIGTERM, &m_previousTerm, nullptr);
    delete m_notifier;
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    pipeEnds[0] = pipeEnds[1] = -1;
}

void StopSignals::readSignal()
{
    char byte = 0;
    while (::read(pipeEnds[1], &byte, 1) == 1)
        emit stopRequested(int(byte));
}

} // namespace sonivert::cli
