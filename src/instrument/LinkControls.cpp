#include "LinkControls.h"

#include "LinuxGpibLink.h"
#include "PrologixLink.h"
#include "SerialLink.h"
#include "TcpLink.h"

namespace kvx {

namespace {

// USB "++" controllers ignore the rate; a serial one is usually set to this.
constexpr qint32 kControllerBaudRate = 115200;
constexpr quint16 kScpiSocketPort = 5025;

bool refuse(int* lastNumber, int number, const QString& text, QString* error) {
    *lastNumber = number;
    if (error)
        *error = text;
    return false;
}

// Opens the link again when the device went away since the last exchange.
bool ensureOpen(Link& link, QString* error) {
    return link.isOpen() || link.open(error);
}

// "host:port", the port optional when a default is given (0: required).
bool splitHostPort(const QString& text, quint16 defaultPort, QString* host, quint16* port) {
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    bool ok = true;
    const int value = colon < 0 ? defaultPort : text.mid(colon + 1).toInt(&ok);
    *host = colon < 0 ? text : text.left(colon);
    if (!ok || value < 1 || value > 65535 || host->isEmpty())
        return false;
    *port = static_cast<quint16>(value);
    return true;
}

} // namespace

// --- SerialControl ---

QString SerialControl::devicePath() const {
    if (!m_devicePath.isEmpty())
        return m_devicePath;
    // COM1 is the first on-board port, /dev/ttyS0, and so on.
    return m_port >= 1 ? QStringLiteral("/dev/ttyS%1").arg(m_port - 1) : QString();
}

void SerialControl::setTimeoutMs(int ms) {
    m_timeoutMs = ms;
    if (m_link)
        m_link->setTimeoutMs(ms);
}

bool SerialControl::fail(int number, const QString& text, QString* error) {
    return refuse(&m_lastErrorNumber, number, text, error);
}

void SerialControl::useLink(std::unique_ptr<Link> link) {
    close();
    m_linkInstalled = link != nullptr;
    m_link = std::move(link);
}

bool SerialControl::configure(QString* error) {
    close();
    if (!m_linkInstalled) {
        const QString path = devicePath();
        if (path.isEmpty())
            return fail(kLinkSettingsError, QStringLiteral("No serial port chosen (port %1)").arg(m_port),
                        error);
        if (m_baud <= 0)
            return fail(kLinkSettingsError, QStringLiteral("Invalid baud rate %1").arg(m_baud), error);
        m_link = std::make_unique<SerialLink>(path, m_baud, m_framing);
    }
    m_link->setTimeoutMs(m_timeoutMs);
    QString openError;
    if (!m_link->open(&openError))
        return fail(m_link->lastErrorNumber(), openError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

bool SerialControl::write(const QByteArray& data, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QStringLiteral("The serial port is not configured"), error);
    QString linkError;
    if (!ensureOpen(*m_link, &linkError) || !m_link->write(data, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

bool SerialControl::read(QByteArray* reply, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QStringLiteral("The serial port is not configured"), error);
    QString linkError;
    if (!m_link->read(reply, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

void SerialControl::close() {
    if (m_link)
        m_link->close();
}

// --- GpibControl ---

void GpibControl::setBackend(const QString& backend) {
    m_backend = backend;
    if (m_linkInstalled) {
        close();
        m_link.reset();
        m_linkInstalled = false;
    }
}

void GpibControl::setTimeoutMs(int ms) {
    m_timeoutMs = ms;
    if (m_link)
        m_link->setTimeoutMs(ms);
}

void GpibControl::setNotificationHandler(Link::IdleErrorHandler handler) {
    m_notificationHandler = std::move(handler);
}

bool GpibControl::fail(int number, const QString& text, QString* error) {
    return refuse(&m_lastErrorNumber, number, text, error);
}

void GpibControl::useLink(std::unique_ptr<Link> link) {
    close();
    m_linkInstalled = link != nullptr;
    m_link = std::move(link);
}

bool GpibControl::configure(QString* error) {
    close();
    if (!m_linkInstalled) {
        QString settingsError;
        m_link = makeGpibLink(backend(), m_address, &settingsError);
        if (!m_link)
            return fail(kLinkSettingsError, settingsError, error);
    }
    m_link->setTimeoutMs(m_timeoutMs);
    m_link->setIdleErrorHandler([this](const QString& description) {
        if (m_notificationHandler)
            m_notificationHandler(description);
    });
    QString openError;
    if (!m_link->open(&openError))
        return fail(m_link->lastErrorNumber(), openError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

bool GpibControl::write(const QByteArray& data, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QStringLiteral("The GPIB link is not configured"), error);
    QString linkError;
    if (!ensureOpen(*m_link, &linkError) || !m_link->write(data, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

bool GpibControl::read(QByteArray* reply, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QStringLiteral("The GPIB link is not configured"), error);
    QString linkError;
    if (!m_link->read(reply, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

void GpibControl::close() {
    if (m_link)
        m_link->close();
}

void applyConnectionTarget(const ConnectionTarget& target, SerialControl& serial, GpibControl& gpib) {
    if (target.method == QLatin1String("RS232")) {
        serial.setDevicePath(target.devicePath);
        if (target.baudRate > 0)
            serial.setBaudRate(target.baudRate);
    } else if (target.method == QLatin1String("GPIB")) {
        gpib.setBackend(target.gpibBackend);
        if (target.gpibAddress >= 0)
            gpib.setPrimaryAddress(target.gpibAddress);
    }
}

std::unique_ptr<Link> makeGpibLink(const QString& backend, int address, QString* error) {
    const int colon = backend.indexOf(QLatin1Char(':'));
    const QString scheme = backend.left(colon).toLower();
    const QString rest = colon < 0 ? QString() : backend.mid(colon + 1);
    const bool needsAddress = scheme != QLatin1String("tcp");
    if (needsAddress && (address < 0 || address > 30)) {
        *error = QStringLiteral("GPIB address %1 is outside 0 to 30").arg(address);
        return nullptr;
    }
    QString host;
    quint16 port = 0;
    bool boardOk = false;
    const int board = rest.toInt(&boardOk);
    if (scheme == QLatin1String("gpib") && boardOk && board >= 0)
        return std::make_unique<LinuxGpibLink>(board, address);
    if (scheme == QLatin1String("prologix") && !rest.isEmpty())
        return std::make_unique<PrologixLink>(std::make_unique<SerialLink>(rest, kControllerBaudRate),
                                              address);
    if (scheme == QLatin1String("prologix-tcp") && splitHostPort(rest, 0, &host, &port))
        return std::make_unique<PrologixLink>(
            std::make_unique<TcpLink>(host, port, TcpLink::Framing::AsGiven), address);
    if (scheme == QLatin1String("tcp") && splitHostPort(rest, kScpiSocketPort, &host, &port))
        return std::make_unique<TcpLink>(host, port, TcpLink::Framing::AppendLineFeed);
    *error = QStringLiteral("Unknown GPIB back-end \"%1\" (gpib:<board>, prologix:<device>, "
                            "prologix-tcp:<host>:<port>, tcp:<host>:<port>)")
                 .arg(backend);
    return nullptr;
}

} // namespace kvx
