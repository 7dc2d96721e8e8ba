#pragma once

#include "hostendpoint.h"

#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

namespace kvxsim {

// Listens on the loopback interface only: the simulator is a test tool, not a service.
class TcpEndpoint : public HostEndpoint {
    Q_OBJECT
public:
    explicit TcpEndpoint(quint16 port, QObject* parent = nullptr);
    ~TcpEndpoint() override;

    TcpEndpoint(const TcpEndpoint&) = delete;
    TcpEndpoint& operator=(const TcpEndpoint&) = delete;

    bool open(QString* error) override;
    void close() override;
    QString address() const override;
    void write(const QByteArray& bytes) override;

private:
    void acceptNext();
    void onClientGone();
    void releaseClient();

    quint16 m_port; // after the first open: the port actually bound, reused on reopen
    QTcpServer m_server;
    QPointer<QTcpSocket> m_client;
};

} // namespace kvxsim
