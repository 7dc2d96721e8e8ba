#include "QuitSignals.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvx {

namespace {

int g_wakeFds[2] = {-1, -1}; // [0] written by the handler, [1] read on the event loop
const int kQuitSignals[] = {SIGTERM, SIGINT, SIGHUP};

} // namespace

QuitSignals::QuitSignals(std::function<void()> quit, QObject* parent)
    : QObject(parent), m_quit(std::move(quit)) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, g_wakeFds) != 0)
        return;
    m_notifier = new QSocketNotifier(g_wakeFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &QuitSignals::onWake);
    struct sigaction action {};
    action.sa_handler = &QuitSignals::onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    for (int number : kQuitSignals)
        ::sigaction(number, &action, nullptr);
}

QuitSignals::~QuitSignals() {
    for (int number : kQuitSignals)
        ::signal(number, SIG_DFL);
    for (int& fd : g_wakeFds) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

void QuitSignals::onSignal(int number) {
    const int savedErrno = errno;
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const ssize_t written = ::write(g_wakeFds[0], &byte, 1);
    errno = savedErrno;
}

void QuitSignals::onWake() {
    char buffer[16];
    while (::read(g_wakeFds[1], buffer, sizeof buffer) > 0) {
    }
    // A second kind of signal arriving while the quit routine runs changes nothing.
    if (m_quitting)
        return;
    m_quitting = true;
    m_quit();
}

} // namespace kvx
