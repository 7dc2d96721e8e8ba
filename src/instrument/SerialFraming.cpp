#include "SerialFraming.h"

namespace kvx {

namespace {

// The record's parity numbers and the letter a framing is written with ("7E1").
struct ParityChoice {
    qint16 number;
    QSerialPort::Parity parity;
    char letter;
};
constexpr ParityChoice kParities[] = {{0, QSerialPort::NoParity, 'N'},
                                      {1, QSerialPort::OddParity, 'O'},
                                      {2, QSerialPort::EvenParity, 'E'},
                                      {3, QSerialPort::MarkParity, 'M'},
                                      {4, QSerialPort::SpaceParity, 'S'}};

struct HandshakeChoice {
    qint16 number;
    QSerialPort::FlowControl handshake;
    const char* name;
};
constexpr HandshakeChoice kHandshakes[] = {{0, QSerialPort::NoFlowControl, ""},
                                           {1, QSerialPort::HardwareControl, " RTS/CTS"},
                                           {2, QSerialPort::SoftwareControl, " XON/XOFF"}};

} // namespace

SerialFraming SerialFraming::fromSettings(const std::array<qint16, 4>& settings) {
    SerialFraming framing;
    if (settings[0] >= 5 && settings[0] <= 8)
        framing.dataBits = static_cast<QSerialPort::DataBits>(settings[0]);
    for (const ParityChoice& choice : kParities) {
        if (choice.number == settings[1])
            framing.parity = choice.parity;
    }
    if (settings[2] == 2)
        framing.stopBits = QSerialPort::TwoStop;
    for (const HandshakeChoice& choice : kHandshakes) {
        if (choice.number == settings[3])
            framing.handshake = choice.handshake;
    }
    return framing;
}

QString SerialFraming::text() const {
    QString result = QString::number(int(dataBits));
    for (const ParityChoice& choice : kParities) {
        if (choice.parity == parity)
            result += QLatin1Char(choice.letter);
    }
    result += stopBits == QSerialPort::TwoStop ? QLatin1Char('2') : QLatin1Char('1');
    for (const HandshakeChoice& choice : kHandshakes) {
        if (choice.handshake == handshake)
            result += QLatin1String(choice.name);
    }
    return result;
}

} // namespace kvx
