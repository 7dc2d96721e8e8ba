#pragma once
// The part that serial devices and TCP sockets share: a byte stream on which a
// reply is read up to its line feed, with one deadline for the whole reply.

#include "Link.h"

#include <QByteArray>

class QIODevice;

namespace kvx {

class StreamLink : public Link {
public:
    bool isOpen() const override;
    bool write(const QByteArray& data, QString* error) override;
    bool read(QByteArray* reply, QString* error) override;

protected:
    virtual QIODevice& device() = 0;
    virtual const QIODevice& device() const = 0;
    // After a failed wait: whether it ran out of time (the device is still there).
    virtual bool waitTimedOut() const = 0;
    virtual QString deviceErrorText() const = 0;
    // Drops bytes that nobody asked for (a reply that came after its timeout).
    virtual void discardInput();
    virtual void closeDevice() = 0;
    // Hands what the device buffered to the kernel without waiting, where the
    // device can; the wait for the rest then only runs when the kernel was full.
    virtual void pushWritten() {}

    // Derived `open` calls this once the device is open again.
    void opened();
    // Called from the device's error signal. While an exchange runs the exchange
    // reports the failure itself; when idle, a device that went away is closed
    // and the idle-error handler hears of it from the event loop.
    void deviceFailed(bool wentAway);

    // Held while the link itself waits on the device (open, write, read).
    class Busy {
    public:
        explicit Busy(StreamLink& link) : m_link(link) { m_link.m_busy = true; }
        ~Busy() { m_link.m_busy = false; }
        Busy(const Busy&) = delete;
        Busy& operator=(const Busy&) = delete;

    private:
        StreamLink& m_link;
    };

private:
    bool waitForWritten(QString* error);
    bool dropDevice(int number, const QString& what, QString* error);

    QByteArray m_pending;
    bool m_busy = false;
    bool m_gone = false;
};

} // namespace kvx
