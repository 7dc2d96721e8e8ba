#include "signalwatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxsim {

namespace {
int g_wakeFds[2] = {-1, -1}; // written by the signal handler, read on the event loop
}

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_wakeFds) != 0)
        return;
    ::fcntl(g_wakeFds[0], F_SETFL, O_NONBLOCK);
    ::fcntl(g_wakeFds[1], F_SETFL, O_NONBLOCK);
    m_notifier = new QSocketNotifier(g_wakeFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::drain);

    struct sigaction action {};
    action.sa_handler = &SignalWatcher::onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

SignalWatcher::~SignalWatcher() {
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
    for (int& fd : g_wakeFds) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

void SignalWatcher::onSignal(int number) {
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const ssize_t ignored = ::write(g_wakeFds[0], &byte, 1);
}

void SignalWatcher::drain() {
    char buffer[16];
    while (::read(g_wakeFds[1], buffer, sizeof buffer) > 0) {
    }
    emit terminationRequested();
}

} // namespace kvxsim
