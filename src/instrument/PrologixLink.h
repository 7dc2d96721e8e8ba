#pragma once
// A GPIB instrument behind a "++" controller (the widespread USB and Ethernet
// GPIB adapters). The host talks lines to the controller: lines starting with
// "++" set the controller up, every other line goes to the instrument.
//
// Set-up on open: ++mode 1 (controller), ++addr N, ++auto 0 (read only when
// asked), ++eoi 1 and ++eos 3: the instrument gets each command with EOI on its
// last byte and no terminator byte added. CR, LF, ESC and '+' in the data are
// sent behind an ESC so the controller passes them on. A reply is fetched with
// "++read eoi" and ends at the meter's line feed. Close sends ++loc first so the
// meter's front panel is not left locked.

#include "Link.h"
#include "SerialFraming.h"

#include <memory>

namespace kvx {

class PrologixLink final : public Link {
public:
    // `controller` is the byte stream to the controller: a serial device or TCP;
    // `place` is the connection text up to the address ("prologix:/dev/ttyUSB0").
    PrologixLink(std::unique_ptr<Link> controller, int address, const QString& place = QString());
    ~PrologixLink() override;

    // Read the device ("prologix:") or host:port ("prologix-tcp:") before the address.
    static bool readSerialPlace(const QString& text, ConnectionTarget* target, QString* error);
    static bool readTcpPlace(const QString& text, ConnectionTarget* target, QString* error);
    static std::unique_ptr<Link> makeSerial(const ConnectionTarget& target, const SerialFraming&);
    static std::unique_ptr<Link> makeTcp(const ConnectionTarget& target, const SerialFraming&);
    QString connectionText() const override;

    bool open(QString* error) override;
    void close() override;
    bool isOpen() const override { return m_controller->isOpen(); }
    bool write(const QByteArray& data, QString* error) override;
    bool read(QByteArray* reply, QString* error) override;
    QString description() const override;
    void setTimeoutMs(int ms) override;

    // The data line for one instrument message, escaped, with the line feed.
    static QByteArray dataLine(const QByteArray& message);

private:
    bool passOn(bool ok, const QString& innerError, QString* error);

    std::unique_ptr<Link> m_controller;
    int m_address;
    QString m_place;
};

} // namespace kvx
