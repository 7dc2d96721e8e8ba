#include "tcpendpoint.h"

#include "simlog.h"

namespace kvxsim {

TcpEndpoint::TcpEndpoint(quint16 port, QObject* parent) : HostEndpoint(parent), m_port(port) {
    connect(&m_server, &QTcpServer::newConnection, this, &TcpEndpoint::acceptNext);
}

TcpEndpoint::~TcpEndpoint() {
    close();
}

bool TcpEndpoint::open(QString* error) {
    if (!m_server.listen(QHostAddress::LocalHost, m_port)) {
        *error = QStringLiteral("cannot listen on 127.0.0.1:%1: %2").arg(m_port).arg(m_server.errorString());
        return false;
    }
    m_port = m_server.serverPort();
    m_server.resumeAccepting();
    return true;
}

void TcpEndpoint::close() {
    releaseClient();
    m_server.close(); // also refuses whoever was still waiting in the backlog
}

QString TcpEndpoint::address() const {
    return QStringLiteral("tcp:127.0.0.1:%1").arg(m_port);
}

void TcpEndpoint::write(const QByteArray& bytes) {
    if (m_client)
        m_client->write(bytes);
}

void TcpEndpoint::acceptNext() {
    if (m_client) {
        // One host at a time; the others wait in the queue until this one leaves.
        m_server.pauseAccepting();
        return;
    }
    QTcpSocket* client = m_server.nextPendingConnection();
    if (!client) {
        m_server.resumeAccepting();
        return;
    }
    m_client = client;
    connect(client, &QTcpSocket::readyRead, this, [this, client] { emit received(client->readAll()); });
    connect(client, &QTcpSocket::disconnected, this, &TcpEndpoint::onClientGone);
    qCInfo(lcSim) << "host connected from port" << client->peerPort();
    emit hostChanged();
    // A host that waited its turn may have spoken already; that came before our connect.
    if (client->bytesAvailable() > 0)
        emit received(client->readAll());
}

void TcpEndpoint::onClientGone() {
    qCInfo(lcSim) << "host disconnected";
    releaseClient();
    emit hostChanged();
    acceptNext();
}

void TcpEndpoint::releaseClient() {
    if (!m_client)
        return;
    QTcpSocket* client = m_client;
    m_client = nullptr;
    client->disconnect(this);
    client->abort();
    client->deleteLater();
}

} // namespace kvxsim
