#pragma once
// A serial device through QSerialPort: /dev/ttyS*, USB adapters, pseudo-terminals.
// 8 data bits, no parity, one stop bit, no flow control.

#include "StreamLink.h"

#include <QSerialPort>

namespace kvx {

class SerialLink final : public StreamLink {
public:
    SerialLink(const QString& devicePath, qint32 baudRate);
    ~SerialLink() override;

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

private:
    QString m_devicePath;
    qint32 m_baudRate;
    QSerialPort m_port;
};

} // namespace kvx
