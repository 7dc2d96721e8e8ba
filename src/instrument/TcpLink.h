#pragma once
// A TCP connection: either the meter's raw SCPI socket, which needs a line feed
// after each command, or the byte stream to a "++" controller, whose lines the
// controller link ends itself.

#include "StreamLink.h"

#include <QTcpSocket>

namespace kvx {

class TcpLink final : public StreamLink {
public:
    enum class Framing { AppendLineFeed, AsGiven };
    TcpLink(const QString& host, quint16 port, Framing framing);
    ~TcpLink() override;

    bool open(QString* error) override;
    void close() override;
    bool write(const QByteArray& data, QString* error) override;
    QString description() const override;

protected:
    QIODevice& device() override { return m_socket; }
    const QIODevice& device() const override { return m_socket; }
    bool waitTimedOut() const override { return m_socket.error() == QAbstractSocket::SocketTimeoutError; }
    QString deviceErrorText() const override { return m_socket.errorString(); }
    void closeDevice() override;
    void pushWritten() override { m_socket.flush(); }

private:
    QString m_host;
    quint16 m_port;
    Framing m_framing;
    QTcpSocket m_socket;
};

} // namespace kvx
