#pragma once
// One transport to the meter. A reply ends at its terminator (line feed) or at
// GPIB END, never at a guessed pause; `read` returns it with the terminator
// still on it, as the meter sent it.

#include <QByteArray>
#include <QString>
#include <memory>

namespace kvx {

class Link {
public:
    virtual ~Link() = default;
    Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    virtual bool open(QString* error) = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // Writes the bytes as given; the caller has added any terminator the link needs.
    virtual bool write(const QByteArray& data, QString* error) = 0;
    virtual bool read(QByteArray* reply, QString* error) = 0;
    virtual QString description() const = 0;
};

// Where a connection text sends the driver: which of its two link objects, and
// the settings to put on it.
struct ConnectionTarget {
    QString method;      // "RS232" or "GPIB"
    QString devicePath;  // RS232: serial device
    qint16 baudRate = 0; // RS232: 0 keeps the present rate
    QString gpibBackend; // GPIB: back-end text for GpibControl::setBackend
    qint16 gpibAddress = -1; // GPIB: -1 keeps the present address
};

// Parses a connection text:
//   serial:/dev/ttyUSB0[@9600]     RS-232 on any serial device (USB adapters, ptys)
//   gpib:<board>:<address>         linux-gpib
//   prologix:/dev/ttyUSB0:<address>        "++" controller on a serial device
//   prologix-tcp:<host>:<port>:<address>   "++" controller over TCP
//   tcp:<host>[:<port>]            raw SCPI socket, port 5025 by default
// Returns false with a message for anything else.
bool parseConnectionText(const QString& text, ConnectionTarget* target, QString* error);

} // namespace kvx
