#pragma once
// The far end of a link, for checking the exact bytes the driver puts on the
// wire: a pseudo-terminal master or a one-client TCP listener, served by a
// thread that records every byte and sends `reply` whenever the bytes received
// so far end with `trigger` (for example "?\r" for a query on RS-232).

#include <QByteArray>
#include <QString>
#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <mutex>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace kvx::test {

class WirePeer {
public:
    WirePeer(bool tcp, QByteArray trigger, QByteArray reply)
        : m_trigger(std::move(trigger)), m_reply(std::move(reply)) {
        if (tcp ? listenOnLoopback() : openPseudoTerminal())
            m_thread = std::thread([this] { serve(); });
    }
    ~WirePeer() {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
        for (const int fd : {m_streamFd, m_slaveFd, m_serverFd})
            ::close(fd); // -1 for the ones never opened: harmless
    }
    WirePeer(const WirePeer&) = delete;
    WirePeer& operator=(const WirePeer&) = delete;

    bool ready() const { return m_thread.joinable(); }
    // Where the driver connects: the slave device path, or "127.0.0.1:<port>".
    QString address() const { return m_address; }
    QByteArray received() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_received;
    }

private:
    bool openPseudoTerminal() {
        char name[128] = {};
        termios raw{};
        cfmakeraw(&raw);
        // The slave stays open here so that the master never sees a hang-up.
        if (openpty(&m_streamFd, &m_slaveFd, name, &raw, nullptr) != 0)
            return false;
        m_address = QString::fromLocal8Bit(name);
        return true;
    }

    bool listenOnLoopback() {
        m_serverFd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(m_serverFd, generic, length) != 0 || ::listen(m_serverFd, 1) != 0 ||
            ::getsockname(m_serverFd, generic, &length) != 0)
            return false;
        m_address = QStringLiteral("127.0.0.1:%1").arg(ntohs(address.sin_port));
        return true;
    }

    // Accepts a client when there is none (TCP), records what arrives, answers triggers.
    void serve() {
        while (!m_stop) {
            const bool accepting = m_streamFd < 0;
            pollfd watch{accepting ? m_serverFd : m_streamFd, POLLIN, 0};
            if (::poll(&watch, 1, 20) <= 0)
                continue;
            if (accepting) {
                m_streamFd = ::accept(m_serverFd, nullptr, nullptr);
                continue;
            }
            char buffer[512];
            const ssize_t got = ::read(m_streamFd, buffer, sizeof buffer);
            if (got <= 0 && m_serverFd >= 0) { // the client left; wait for the next one
                ::close(m_streamFd);
                m_streamFd = -1;
            }
            std::unique_lock<std::mutex> lock(m_mutex);
            m_received.append(buffer, static_cast<int>(std::max<ssize_t>(got, 0)));
            const bool answer = got > 0 && m_received.endsWith(m_trigger);
            lock.unlock();
            if (answer && ::write(m_streamFd, m_reply.constData(), static_cast<size_t>(m_reply.size())) < 0)
                return;
        }
    }

    const QByteArray m_trigger;
    const QByteArray m_reply;
    QString m_address;
    int m_serverFd = -1; // TCP listener
    int m_streamFd = -1; // pty master or accepted client
    int m_slaveFd = -1;
    mutable std::mutex m_mutex;
    QByteArray m_received;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace kvx::test
