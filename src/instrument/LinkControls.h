#pragma once
// The two link objects the driver talks through. Each holds its settings and,
// once configured, an open link chosen by its settings.
//
//   SerialControl (the "RS232" method): a serial device; the driver ends each
//     command with one carriage return.
//   GpibControl (the "GPIB" method): a message link that ends each message
//     itself: linux-gpib, a "++" controller on a serial device or TCP, or a LAN
//     socket (raw SCPI).

#include "Link.h"

#include <QString>
#include <memory>

namespace kvx {

class SerialControl {
public:
    void setPortNumber(qint16 port) { m_port = port; }
    qint16 portNumber() const { return m_port; }
    void setBaudRate(qint16 baud) { m_baud = baud; }
    qint16 baudRate() const { return m_baud; }
    // A device path overrides the port-number rule (COM n -> /dev/ttyS(n-1)).
    void setDevicePath(const QString& path) { m_devicePath = path; }
    QString devicePath() const;
    void setTimeoutMs(int ms) { m_timeoutMs = ms; }
    int timeoutMs() const { return m_timeoutMs; }

    // Applies the settings and opens the port. False (with the reason) when it cannot.
    bool configure(QString* error);
    bool write(const QByteArray& data, QString* error);
    bool read(QByteArray* reply, QString* error);
    void close();

private:
    qint16 m_port = 1;
    qint16 m_baud = 9600;
    QString m_devicePath;
    int m_timeoutMs = 1000;
    std::unique_ptr<Link> m_link;
};

class GpibControl {
public:
    void setPrimaryAddress(qint16 address) { m_address = address; }
    qint16 primaryAddress() const { return m_address; }
    // "gpib:<board>", "prologix:<device>", "prologix-tcp:<host>:<port>", "tcp:<host>:<port>".
    void setBackend(const QString& backend) { m_backend = backend; }
    QString backend() const { return m_backend.isEmpty() ? QStringLiteral("gpib:0") : m_backend; }
    void setTimeoutMs(int ms) { m_timeoutMs = ms; }
    int timeoutMs() const { return m_timeoutMs; }

    bool configure(QString* error);
    bool write(const QByteArray& data, QString* error);
    bool read(QByteArray* reply, QString* error);
    void close();

private:
    qint16 m_address = 0;
    QString m_backend;
    int m_timeoutMs = 1000;
    std::unique_ptr<Link> m_link;
};

} // namespace kvx
