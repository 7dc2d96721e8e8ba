#include "StreamLink.h"

#include <QDeadlineTimer>
#include <QIODevice>
#include <QMetaObject>

namespace kvx {

bool StreamLink::isOpen() const {
    return !m_gone && device().isOpen();
}

void StreamLink::opened() {
    m_gone = false;
    m_pending.clear();
}

void StreamLink::discardInput() {
    m_pending.clear();
    device().readAll();
}

bool StreamLink::write(const QByteArray& data, QString* error) {
    if (!isOpen())
        return fail(kLinkNotOpenError, QStringLiteral("%1 is not open").arg(description()), error);
    Busy busy(*this);
    discardInput();
    if (device().write(data) != data.size())
        return dropDevice(kLinkWriteError, QStringLiteral("Write"), error);
    pushWritten();
    return waitForWritten(error);
}

bool StreamLink::waitForWritten(QString* error) {
    const QDeadlineTimer deadline(timeoutMs());
    while (device().bytesToWrite() > 0) {
        if (!device().waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) {
            if (waitTimedOut())
                return fail(
                    kLinkTimeoutError,
                    QStringLiteral("Write timeout on %1 after %2 ms").arg(description()).arg(timeoutMs()),
                    error);
            return dropDevice(kLinkWriteError, QStringLiteral("Write"), error);
        }
    }
    return succeed();
}

bool StreamLink::read(QByteArray* reply, QString* error) {
    if (!isOpen())
        return fail(kLinkNotOpenError, QStringLiteral("%1 is not open").arg(description()), error);
    Busy busy(*this);
    const QDeadlineTimer deadline(timeoutMs());
    for (;;) {
        m_pending += device().readAll();
        const int lineEnd = m_pending.indexOf('\n');
        if (lineEnd >= 0) {
            *reply = m_pending.left(lineEnd + 1);
            m_pending.remove(0, lineEnd + 1);
            // The decoding expects one terminator byte; a meter set to end its
            // replies with CR LF would otherwise leave a CR on every text.
            if (reply->endsWith("\r\n"))
                reply->remove(reply->size() - 2, 1);
            return succeed();
        }
        const bool waited =
            !deadline.hasExpired() && device().waitForReadyRead(static_cast<int>(deadline.remainingTime()));
        if (waited)
            continue;
        if (deadline.hasExpired() || waitTimedOut()) {
            m_pending.clear();
            return fail(kLinkTimeoutError,
                        QStringLiteral("Read timeout on %1: no reply within %2 ms")
                            .arg(description())
                            .arg(timeoutMs()),
                        error);
        }
        return dropDevice(kLinkReadError, QStringLiteral("Read"), error);
    }
}

// Any failure other than a timeout means the device is gone or broken: close it
// so that the next write opens it afresh (an adapter plugged back in, a meter
// whose socket is listening again).
bool StreamLink::dropDevice(int number, const QString& what, QString* error) {
    const QString text = QStringLiteral("%1 error on %2: %3").arg(what, description(), deviceErrorText());
    m_gone = true;
    m_pending.clear();
    closeDevice();
    return fail(number, text, error);
}

void StreamLink::deviceFailed(bool wentAway) {
    if (m_busy || !wentAway || m_gone)
        return;
    m_gone = true;
    const QString text = QStringLiteral("%1 went away: %2").arg(description(), deviceErrorText());
    // Closing the device inside its own error signal is not safe; the event loop
    // runs this once the signal has returned (and never if the device is deleted).
    QMetaObject::invokeMethod(
        &device(),
        [this, text] {
            if (m_gone) // not reopened meanwhile by an exchange
                closeDevice();
            reportIdleError(text);
        },
        Qt::QueuedConnection);
}

} // namespace kvx
