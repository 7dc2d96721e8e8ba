#include "LinkControls.h"

#include "LinkSchemes.h"

namespace kvx {

namespace {

// Opens the link again when the device went away since the last exchange.
bool ensureOpen(Link& link, QString* error) {
    return link.isOpen() || link.open(error);
}

} // namespace

// --- LinkControl ---

void LinkControl::setTimeoutMs(int ms) {
    m_timeoutMs = ms;
    if (m_link)
        m_link->setTimeoutMs(ms);
}

bool LinkControl::fail(int number, const QString& text, QString* error) {
    m_lastErrorNumber = number;
    if (error)
        *error = text;
    return false;
}

void LinkControl::setNotificationHandler(Link::IdleErrorHandler handler) {
    m_notificationHandler = std::move(handler);
}

void LinkControl::useLink(std::unique_ptr<Link> link) {
    close();
    m_linkInstalled = link != nullptr;
    m_link = std::move(link);
}

void LinkControl::dropInstalledLink() {
    if (!m_linkInstalled)
        return;
    close();
    m_link.reset();
    m_linkInstalled = false;
}

bool LinkControl::openLink(std::unique_ptr<Link> made, QString* error) {
    if (!m_linkInstalled)
        m_link = std::move(made);
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

bool LinkControl::write(const QByteArray& data, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QLatin1String(m_notConfiguredText), error);
    QString linkError;
    if (!ensureOpen(*m_link, &linkError) || !m_link->write(data, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

bool LinkControl::read(QByteArray* reply, QString* error) {
    if (!m_link)
        return fail(kLinkNotOpenError, QLatin1String(m_notConfiguredText), error);
    QString linkError;
    if (!m_link->read(reply, &linkError))
        return fail(m_link->lastErrorNumber(), linkError, error);
    m_lastErrorNumber = kLinkNoError;
    return true;
}

void LinkControl::close() {
    if (m_link)
        m_link->close();
}

// --- SerialControl ---

QString SerialControl::devicePath() const {
    if (!m_devicePath.isEmpty())
        return m_devicePath;
    // COM1 is the first on-board port, /dev/ttyS0, and so on.
    return m_port >= 1 ? QStringLiteral("/dev/ttyS%1").arg(m_port - 1) : QString();
}

bool SerialControl::configure(QString* error) {
    close();
    if (linkInstalled())
        return openLink(nullptr, error);
    const QString path = devicePath();
    if (path.isEmpty())
        return fail(kLinkSettingsError, QStringLiteral("No serial port chosen (port %1)").arg(m_port), error);
    if (m_baud <= 0)
        return fail(kLinkSettingsError, QStringLiteral("Invalid baud rate %1").arg(m_baud), error);
    ConnectionTarget target;
    target.scheme = QStringLiteral("serial");
    target.where = path;
    target.baudRate = m_baud;
    return openLink(makeLink(target, m_framing), error);
}

// --- GpibControl ---

void GpibControl::setBackend(const QString& backend) {
    m_backend = backend;
    dropInstalledLink();
}

// The settings are read whether or not a link is installed, so an address
// outside the bus's range is refused the same way in both cases.
bool GpibControl::configure(QString* error) {
    close();
    ConnectionTarget target;
    QString settingsError;
    if (!readGpibSettings(backend(), m_address, &target, &settingsError))
        return fail(kLinkSettingsError, settingsError, error);
    return openLink(makeLink(target), error);
}

void applyConnectionTarget(const ConnectionTarget& target, SerialControl& serial, GpibControl& gpib) {
    if (target.method == QLatin1String("RS232")) {
        serial.setDevicePath(target.where);
        if (target.baudRate > 0)
            serial.setBaudRate(target.baudRate);
    } else if (target.method == QLatin1String("GPIB")) {
        gpib.setBackend(target.gpibBackend());
        if (target.gpibAddress >= 0)
            gpib.setPrimaryAddress(target.gpibAddress);
    }
}

} // namespace kvx
