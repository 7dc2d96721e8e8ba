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

bool TcpLink::splitHostPort(const QString& text, quint16 defaultPort, QString* host, quint16* port) {
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    int value = defaultPort;
    if (colon >= 0 && !readWholeNumber(text.mid(colon + 1), 1, 65535, &value))
        return false;
    *host = colon < 0 ? text : text.left(colon);
    if (value < 1 || host->isEmpty())
        return false;
    *port = static_cast<quint16>(value);
    return true;
}

bool TcpLink::readHostPort(const QString& text, quint16 defaultPort, QString* hostPort) {
    QString host;
    quint16 port = 0;
    if (!splitHostPort(text, defaultPort, &host, &port))
        return false;
    *hostPort = host + QLatin1Char(':') + QString::number(port);
    return true;
}

bool TcpLink::readPlace(const QString& text, ConnectionTarget* target, QString*) {
    return readHostPort(text, kScpiSocketPort, &target->where);
}

std::unique_ptr<Link> TcpLink::make(const ConnectionTarget& target, const SerialFraming&) {
    QString host;
    quint16 port = 0;
    splitHostPort(target.where, kScpiSocketPort, &host, &port);
    return std::make_unique<TcpLink>(host, port, Framing::AppendLineFeed);
}

QString TcpLink::connectionText() const {
    return QStringLiteral("tcp:%1:%2").arg(m_host).arg(m_port);
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
