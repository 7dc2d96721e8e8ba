#include "WirePeer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace kvx::test {

std::unique_ptr<WirePeer> WirePeer::pseudoTerminal() {
    std::unique_ptr<WirePeer> peer(new WirePeer);
    char name[128] = {};
    termios raw{};
    cfmakeraw(&raw);
    if (openpty(&peer->m_streamFd, &peer->m_slaveFd, name, &raw, nullptr) != 0)
        return nullptr;
    peer->m_address = QString::fromLocal8Bit(name);
    peer->m_thread = std::thread([p = peer.get()] { p->serve(); });
    return peer;
}

std::unique_ptr<WirePeer> WirePeer::tcpListener() {
    std::unique_ptr<WirePeer> peer(new WirePeer);
    peer->m_serverFd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(peer->m_serverFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(peer->m_serverFd, 1) != 0 ||
        ::getsockname(peer->m_serverFd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return nullptr;
    peer->m_address = QStringLiteral("127.0.0.1:%1").arg(ntohs(address.sin_port));
    peer->m_thread = std::thread([p = peer.get()] { p->serve(); });
    return peer;
}

WirePeer::~WirePeer() {
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    for (const int fd : {m_streamFd, m_slaveFd, m_serverFd}) {
        if (fd >= 0)
            ::close(fd);
    }
}

void WirePeer::answer(const QByteArray& trigger, const QByteArray& reply) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_trigger = trigger;
    m_reply = reply;
}

QByteArray WirePeer::received() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
}

void WirePeer::take(const char* bytes, long count, int fd) {
    QByteArray reply;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_received.append(bytes, static_cast<int>(count));
        if (!m_trigger.isEmpty() && m_received.endsWith(m_trigger))
            reply = m_reply;
    }
    if (!reply.isEmpty() && ::write(fd, reply.constData(), static_cast<size_t>(reply.size())) < 0)
        return;
}

void WirePeer::serve() {
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
        const long got = ::read(m_streamFd, buffer, sizeof buffer);
        if (got > 0) {
            take(buffer, got, m_streamFd);
        } else if (m_serverFd >= 0) { // the client left; wait for the next one
            ::close(m_streamFd);
            m_streamFd = -1;
        }
    }
}

} // namespace kvx::test
