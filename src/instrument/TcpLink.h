#pragma once
// A TCP connection: either the meter's raw SCPI socket, which needs a line feed
// after each command, or the byte stream to a "++" controller, whose lines the
// controller link ends itself.

#include "SerialFraming.h"
#include "StreamLink.h"

#include <QTcpSocket>
#include <memory>

namespace kvx {

// The meter's raw SCPI socket, when a connection text names no port.
inline constexpr quint16 kScpiSocketPort = 5025;

class TcpLink final : public StreamLink {
public:
    enum class Framing { AppendLineFeed, AsGiven };
    TcpLink(const QString& host, quint16 port, Framing framing);
    ~TcpLink() override;

    // "host:port" into its parts; the port may be left out when defaultPort is not 0.
    static bool splitHostPort(const QString& text, quint16 defaultPort, QString* host, quint16* port);
    // "host:port" in one form, the port always written.
    static bool readHostPort(const QString& text, quint16 defaultPort, QString* hostPort);
    // Reads the rest of a "tcp:" text, "<host>[:<port>]", the port written back.
    static bool readPlace(const QString& text, ConnectionTarget* target, QString* error);
    // The link to the meter's SCPI socket a target names.
    static std::unique_ptr<Link> make(const ConnectionTarget& target, const SerialFraming&);
    QString connectionText() const override;

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
