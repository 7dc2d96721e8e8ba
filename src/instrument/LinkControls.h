#pragma once
// The two link objects the driver talks through. Each holds its settings and,
// once configured, an open link chosen by its settings.
//
//   SerialControl (the "RS232" method): a serial device; the driver ends each
//     command with one carriage return.
//   GpibControl (the "GPIB" method): a message link that ends each message
//     itself: linux-gpib, a "++" controller on a serial device or TCP, or a LAN
//     socket (raw SCPI).
//
// A device that went away (unplugged USB adapter, dropped socket) fails the
// exchange that notices it and is closed; the next write opens it again, so a
// running trace picks up again once the device is back.

#include "Link.h"
#include "SerialFraming.h"

#include <QString>
#include <memory>

namespace kvx {

// A meter answers within a few tens of milliseconds; a switched-off one must not
// stall the polling tick (two queries per reading) for longer than about a second.
inline constexpr int kDefaultReplyTimeoutMs = 500;

class SerialControl {
public:
    void setPortNumber(qint16 port) { m_port = port; }
    qint16 portNumber() const { return m_port; }
    // Rates above 32767 (38400, 115200) are why this is wider than the settings' field.
    void setBaudRate(qint32 baud) { m_baud = baud; }
    qint32 baudRate() const { return m_baud; }
    // Taken by the next configure, like the port and the rate.
    void setFraming(const SerialFraming& framing) { m_framing = framing; }
    const SerialFraming& framing() const { return m_framing; }
    // A device path overrides the port-number rule (COM n -> /dev/ttyS(n-1)).
    void setDevicePath(const QString& path) { m_devicePath = path; }
    QString devicePath() const;
    void setTimeoutMs(int ms);
    int timeoutMs() const { return m_timeoutMs; }

    // Applies the settings and opens the port. False (with the reason) when it cannot.
    bool configure(QString* error);
    bool write(const QByteArray& data, QString* error);
    bool read(QByteArray* reply, QString* error);
    void close();
    // The LinkErrorNumber of the last failure, kLinkNoError after a success.
    int lastErrorNumber() const { return m_lastErrorNumber; }

    // Makes configure open `link` instead of a serial device (benchmarks and
    // tests); useLink(nullptr) goes back to the settings.
    void useLink(std::unique_ptr<Link> link);

private:
    bool fail(int number, const QString& text, QString* error);

    qint16 m_port = 1;
    qint32 m_baud = 9600;
    SerialFraming m_framing;
    QString m_devicePath;
    int m_timeoutMs = kDefaultReplyTimeoutMs;
    int m_lastErrorNumber = kLinkNoError;
    std::unique_ptr<Link> m_link;
    bool m_linkInstalled = false;
};

class GpibControl {
public:
    void setPrimaryAddress(qint16 address) { m_address = address; }
    qint16 primaryAddress() const { return m_address; }
    // "gpib:<board>", "prologix:<device>", "prologix-tcp:<host>:<port>", "tcp:<host>:<port>".
    void setBackend(const QString& backend);
    QString backend() const { return m_backend.isEmpty() ? QStringLiteral("gpib:0") : m_backend; }
    void setTimeoutMs(int ms);
    int timeoutMs() const { return m_timeoutMs; }

    bool configure(QString* error);
    bool write(const QByteArray& data, QString* error);
    bool read(QByteArray* reply, QString* error);
    void close();
    int lastErrorNumber() const { return m_lastErrorNumber; }

    // The control's notification: the link failed while no exchange was running
    // (a socket or "++" controller that dropped its connection between readings).
    void setNotificationHandler(Link::IdleErrorHandler handler);

    // Makes configure open `link` instead of the back-end's (benchmarks and
    // tests); useLink(nullptr) or setBackend goes back to the settings.
    void useLink(std::unique_ptr<Link> link);

private:
    bool fail(int number, const QString& text, QString* error);

    qint16 m_address = 0;
    QString m_backend;
    int m_timeoutMs = kDefaultReplyTimeoutMs;
    int m_lastErrorNumber = kLinkNoError;
    Link::IdleErrorHandler m_notificationHandler;
    std::unique_ptr<Link> m_link;
    bool m_linkInstalled = false;
};

// Puts a parsed connection text on the link objects: the serial device and rate,
// or the GPIB back-end and address. Settings the text leaves open stay as they are.
void applyConnectionTarget(const ConnectionTarget& target, SerialControl& serial, GpibControl& gpib);

// The link a GPIB back-end text names, with the instrument at `address`; null
// with a message when the text names none.
std::unique_ptr<Link> makeGpibLink(const QString& backend, int address, QString* error);

} // namespace kvx
