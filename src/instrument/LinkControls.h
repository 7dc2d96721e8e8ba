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
#include "SerialLink.h"

#include <QString>
#include <memory>

namespace kvx {

// A meter answers within a few tens of milliseconds; a switched-off one must not
// stall the polling tick (two queries per reading) for longer than about a second.
inline constexpr int kDefaultReplyTimeoutMs = 500;

// What both link objects share: the link the settings chose, its timeout, and
// the number of the last failure.
class LinkControl {
public:
    void setTimeoutMs(int ms);
    int timeoutMs() const { return m_timeoutMs; }
    bool write(const QByteArray& data, QString* error);
    bool read(QByteArray* reply, QString* error);
    void close();
    // The LinkErrorNumber of the last failure, kLinkNoError after a success.
    int lastErrorNumber() const { return m_lastErrorNumber; }
    // The connection text of the link configured last; empty before the first.
    QString connectionText() const { return m_link ? m_link->connectionText() : QString(); }

    // Makes configure open `link` instead of the one the settings name
    // (benchmarks and tests); useLink(nullptr) goes back to the settings.
    void useLink(std::unique_ptr<Link> link);

    // The control's notification: the link failed while no exchange was running
    // (a socket or "++" controller that dropped its connection between readings;
    // links that cannot notice that never call it).
    void setNotificationHandler(Link::IdleErrorHandler handler);

protected:
    explicit LinkControl(const char* notConfiguredText) : m_notConfiguredText(notConfiguredText) {}
    ~LinkControl() = default;
    bool fail(int number, const QString& text, QString* error);
    // Opens the installed link, or `made` when none is installed.
    bool openLink(std::unique_ptr<Link> made, QString* error);
    bool linkInstalled() const { return m_linkInstalled; }
    Link* link() const { return m_link.get(); }
    void dropInstalledLink();

private:
    const char* m_notConfiguredText;
    int m_timeoutMs = kDefaultReplyTimeoutMs;
    int m_lastErrorNumber = kLinkNoError;
    std::unique_ptr<Link> m_link;
    bool m_linkInstalled = false;
    Link::IdleErrorHandler m_notificationHandler;
};

class SerialControl : public LinkControl {
public:
    SerialControl() : LinkControl("The serial port is not configured") {}
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

    // Applies the settings and opens the port. False (with the reason) when it cannot.
    bool configure(QString* error);

private:
    qint16 m_port = 1;
    qint32 m_baud = kDefaultBaudRate;
    SerialFraming m_framing;
    QString m_devicePath;
};

class GpibControl : public LinkControl {
public:
    GpibControl() : LinkControl("The GPIB link is not configured") {}
    void setPrimaryAddress(qint16 address) { m_address = address; }
    qint16 primaryAddress() const { return m_address; }
    // "gpib:<board>", "prologix:<device>", "prologix-tcp:<host>:<port>", "tcp:<host>:<port>".
    void setBackend(const QString& backend);
    QString backend() const { return m_backend.isEmpty() ? QStringLiteral("gpib:0") : m_backend; }

    bool configure(QString* error);

private:
    qint16 m_address = 0;
    QString m_backend;
};

// Puts a parsed connection text on the link objects: the serial device and rate,
// or the GPIB back-end and address. Settings the text leaves open stay as they are.
void applyConnectionTarget(const ConnectionTarget& target, SerialControl& serial, GpibControl& gpib);

} // namespace kvx
