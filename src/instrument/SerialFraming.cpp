#include "SerialFraming.h"

namespace kvx {

SerialFraming SerialFraming::fromSettings(const std::array<qint16, 4>& settings) {
    SerialFraming framing;
    if (settings[0] >= 5 && settings[0] <= 8)
        framing.dataBits = static_cast<QSerialPort::DataBits>(settings[0]);

    switch (settings[1]) {
    case 1:
        framing.parity = QSerialPort::OddParity;
        break;
    case 2:
        framing.parity = QSerialPort::EvenParity;
        break;
    case 3:
        framing.parity = QSerialPort::MarkParity;
        break;
    case 4:
        framing.parity = QSerialPort::SpaceParity;
        break;
    default:
        break;
    }

    if (settings[2] == 2)
        framing.stopBits = QSerialPort::TwoStop;

    switch (settings[3]) {
    case 1:
        framing.handshake = QSerialPort::HardwareControl;
        break;
    case 2:
        framing.handshake = QSerialPort::SoftwareControl;
        break;
    default:
        break;
    }
    return framing;
}

QString SerialFraming::text() const {
    QChar parityLetter = QLatin1Char('N');
    switch (parity) {
    case QSerialPort::OddParity:
        parityLetter = QLatin1Char('O');
        break;
    case QSerialPort::EvenParity:
        parityLetter = QLatin1Char('E');
        break;
    case QSerialPort::MarkParity:
        parityLetter = QLatin1Char('M');
        break;
    case QSerialPort::SpaceParity:
        parityLetter = QLatin1Char('S');
        break;
    default:
        break;
    }
    QString result = QStringLiteral("%1%2%3")
                         .arg(int(dataBits))
                         .arg(parityLetter)
                         .arg(stopBits == QSerialPort::TwoStop ? 2 : 1);
    if (handshake == QSerialPort::HardwareControl)
        result += QStringLiteral(" RTS/CTS");
    else if (handshake == QSerialPort::SoftwareControl)
        result += QStringLiteral(" XON/XOFF");
    return result;
}

bool SerialFraming::operator==(const SerialFraming& other) const {
    return dataBits == other.dataBits && parity == other.parity && stopBits == other.stopBits &&
           handshake == other.handshake;
}

} // namespace kvx
