#include "SerialLink.h"

namespace kvx {

SerialLink::SerialLink(const QString& devicePath, qint32 baudRate, const SerialFraming& framing)
    : m_devicePath(devicePath), m_baudRate(baudRate), m_framing(framing) {
    QObject::connect(&m_port, &QSerialPort::errorOccurred, &m_port, [this](QSerialPort::SerialPortError e) {
        // ResourceError is what an unplugged adapter or a closed pseudo-terminal gives.
        deviceFailed(e == QSerialPort::ResourceError);
    });
}

SerialLink::~SerialLink() {
    closeDevice();
}

QString SerialLink::description() const {
    return QStringLiteral("serial port %1").arg(m_devicePath);
}

bool SerialLink::readPlace(const QString& text, ConnectionTarget* target, QString* error) {
    // A device name may hold an '@' itself; the rate is after the last one.
    const int at = text.lastIndexOf(QLatin1Char('@'));
    int baud = 0;
    if (at >= 0 && !readWholeNumber(text.mid(at + 1), 1, 4000000, &baud)) {
        *error = QStringLiteral("the baud rate after '@' must be a positive whole number");
        return false;
    }
    target->where = at >= 0 ? text.left(at) : text;
    target->baudRate = baud;
    if (target->where.isEmpty()) {
        *error = QStringLiteral("a serial connection needs a device, e.g. serial:/dev/ttyUSB0@9600");
        return false;
    }
    return true;
}

std::unique_ptr<Link> SerialLink::make(const ConnectionTarget& target, const SerialFraming& framing) {
    return std::make_unique<SerialLink>(target.where,
                                        target.baudRate > 0 ? target.baudRate : kDefaultBaudRate, framing);
}

QString SerialLink::connectionText() const {
    return QStringLiteral("serial:%1@%2").arg(m_devicePath).arg(m_baudRate);
}

QString SerialLink::deviceErrorText() const {
    // Qt's text for this one is whatever errno a later call left behind.
    if (m_port.error() == QSerialPort::ResourceError)
        return QStringLiteral("the device went away (unplugged or closed)");
    return m_port.errorString();
}

// What the operator can do about a refused open; Qt's own text names only the errno.
QString SerialLink::openAdvice() const {
    switch (m_port.error()) {
    case QSerialPort::DeviceNotFoundError:
        return QStringLiteral(" (is the adapter plugged in, and is this its name?)");
    case QSerialPort::PermissionError:
        // Another program's lock file or exclusive open gives the same error as missing rights.
        return m_port.errorString().contains(QLatin1String("lock"), Qt::CaseInsensitive) ||
                       m_port.errorString().contains(QLatin1String("busy"), Qt::CaseInsensitive)
                   ? QStringLiteral(" (another program is using the device)")
                   : QStringLiteral(" (serial devices belong to the group dialout: "
                                    "add yourself with \"sudo adduser $USER dialout\" and log in again)");
    default:
        return {};
    }
}

bool SerialLink::open(QString* error) {
    Busy busy(*this);
    closeDevice();
    m_port.setPortName(m_devicePath);
    if (!m_port.open(QIODevice::ReadWrite))
        return fail(
            kLinkOpenError,
            QStringLiteral("Cannot open %1: %2%3").arg(m_devicePath, m_port.errorString(), openAdvice()),
            error);
    const bool settingsTaken = m_port.setBaudRate(m_baudRate) && m_port.setDataBits(m_framing.dataBits) &&
                               m_port.setParity(m_framing.parity) && m_port.setStopBits(m_framing.stopBits) &&
                               m_port.setFlowControl(m_framing.handshake);
    if (!settingsTaken) {
        const QString reason = m_port.errorString();
        closeDevice();
        return fail(kLinkOpenError,
                    QStringLiteral("Cannot set %1 baud, %2 on %3: %4")
                        .arg(m_baudRate)
                        .arg(m_framing.text(), m_devicePath, reason),
                    error);
    }
    opened();
    return succeed();
}

void SerialLink::discardInput() {
    StreamLink::discardInput();
    m_port.clear(QSerialPort::Input);
}

void SerialLink::close() {
    closeDevice();
}

void SerialLink::closeDevice() {
    if (m_port.isOpen())
        m_port.close();
    m_port.clearError();
}

} // namespace kvx
