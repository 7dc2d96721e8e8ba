#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

namespace kvxsim {

// Where the host connects. The simulator can take the endpoint away (a pulled cable)
// and bring it back later.
class HostEndpoint : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Makes the endpoint reachable; returns false and sets error when it cannot.
    virtual bool open(QString* error) = 0;
    virtual void close() = 0;
    // What the host needs to connect: a device path or "tcp:127.0.0.1:<port>".
    virtual QString address() const = 0;
    virtual void write(const QByteArray& bytes) = 0;

signals:
    void received(const QByteArray& bytes);
    // A host came or went; anything half-said belongs to the previous one.
    void hostChanged();
};

} // namespace kvxsim
