#pragma once
// How characters are framed on the serial line. The operation record keeps this
// as its four 16-bit serial-link settings:
//
//   [0] data bits   5, 6, 7 or 8
//   [1] parity      0 none, 1 odd, 2 even, 3 mark, 4 space
//   [2] stop bits   1 or 2
//   [3] handshake   0 none, 1 RTS/CTS, 2 XON/XOFF
//
// The meter leaves the factory at 8N1 without handshake, and a record that never
// held these (all zeros) means exactly that. A number outside its list falls back
// to the factory value for that one setting, so a damaged record still talks to
// a meter that was never re-framed.

#include <QSerialPort>
#include <QString>
#include <array>

namespace kvx {

struct SerialFraming {
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;
    QSerialPort::FlowControl handshake = QSerialPort::NoFlowControl;

    static SerialFraming fromSettings(const std::array<qint16, 4>& settings);
    // "8N1", "7E2 RTS/CTS": for messages about the port.
    QString text() const;
};

} // namespace kvx
