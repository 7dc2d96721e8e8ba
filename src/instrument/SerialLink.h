#pragma once
// A serial device through QSerialPort: /dev/ttyS*, USB adapters, pseudo-terminals.
// The framing (data bits, parity, stop bits, handshake) comes with the port's settings.

#include "SerialFraming.h"
#include "StreamLink.h"

#include <QSerialPort>
#include <memory>

namespace kvx {

// The meter's rate as it leaves the factory.
inline constexpr qint32 kDefaultBaudRate = 9600;

class SerialLink final : public StreamLink {
public:
    SerialLink(const QString& devicePath, qint32 baudRate, const SerialFraming& framing = {});
    ~SerialLink() override;

    // Reads the rest of a "serial:" text, "<device>[@<baud>]".
    static bool readPlace(const QString& text, ConnectionTarget* target, QString* error);
    // The link a target names; a target without a rate takes the meter's usual one.
    static std::unique_ptr<Link> make(const ConnectionTarget& target, const SerialFraming& framing);
    QString connectionText() const override;

    bool open(QString* error) override;
    void close() override;
    QString description() const override;

protected:
    QIODevice& device() override { return m_port; }
    const QIODevice& device() const override { return m_port; }
    bool waitTimedOut() const override { return m_port.error() == QSerialPort::TimeoutError; }
    QString deviceErrorText() const override;
    void discardInput() override;
    void closeDevice() override;
    void pushWritten() override { m_port.flush(); }

private:
    QString openAdvice() const;
    QString m_devicePath;
    qint32 m_baudRate;
    SerialFraming m_framing;
    QSerialPort m_port;
};

} // namespace kvx
