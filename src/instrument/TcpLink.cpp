#include "TcpLink.h"

namespace kvx {

TcpLink::TcpLink(const QString& host, quint16 port, Framing framing)
    : m_host(host), m_port(port), m_framing(framing) {
    QObject::connect(
        &m_socket, &QAbstractSocket::errorOccurred, &m_socket,
        [this](QAbstractSocket::SocketError e) { deviceFailed(e != QAbstractSocket::SocketTimeoutError); });
}

TcpLink::~TcpLink() {
    closeDevice();
}

QString TcpLink::description() const {
    return QStringLiteral("TCP %1:%2").arg(m_host).arg(m_port);
}

bool TcpLink::open(QString* error) {
    Busy busy(*this);
    closeDevice();
    m_socket.connectToHost(m_host, m_port);
    if (!m_socket.waitForConnected(timeoutMs())) {
        const QString reason = m_socket.errorString();
        closeDevice();
        return fail(kLinkOpenError,
                    QStringLiteral("Cannot connect to %1:%2: %3").arg(m_host).arg(m_port).arg(reason), error);
    }
    // Commands are a few bytes each; waiting to fill a segment would only add latency.
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    opened();
    return succeed();
}

bool TcpLink::write(const QByteArray& data, QString* error) {
    return StreamLink::write(m_framing == Framing::AppendLineFeed ? data + '\n' : data, error);
}

void TcpLink::close() {
    closeDevice();
}

void TcpLink::closeDevice() {
    if (m_socket.state() != QAbstractSocket::UnconnectedState)
        m_socket.abort();
}

} // namespace kvx
