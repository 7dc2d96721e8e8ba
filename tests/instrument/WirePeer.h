#pragma once
// The far end of a link, for checking the exact bytes the driver puts on the
// wire: a pseudo-terminal master or a one-client TCP listener, served by a
// thread that records every byte and answers whenever the bytes received so far
// end with a trigger (for example "?\r" for a query on RS-232).

#include <QByteArray>
#include <QString>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace kvx::test {

class WirePeer {
public:
    static std::unique_ptr<WirePeer> pseudoTerminal();
    static std::unique_ptr<WirePeer> tcpListener();
    ~WirePeer();
    WirePeer(const WirePeer&) = delete;
    WirePeer& operator=(const WirePeer&) = delete;

    // Where the driver connects: the slave device path, or "127.0.0.1:<port>".
    QString address() const { return m_address; }
    void answer(const QByteArray& trigger, const QByteArray& reply);
    QByteArray received() const;

private:
    WirePeer() = default;
    void serve();
    void take(const char* bytes, long count, int fd);

    QString m_address;
    int m_serverFd = -1; // TCP listener
    int m_streamFd = -1; // pty master or accepted client
    int m_slaveFd = -1;  // held open so the master never sees a hang-up
    mutable std::mutex m_mutex;
    QByteArray m_received;
    QByteArray m_trigger;
    QByteArray m_reply;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace kvx::test
