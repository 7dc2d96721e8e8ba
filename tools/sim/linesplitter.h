#pragma once

#include <QByteArray>
#include <QList>

namespace kvxsim {

// Cuts a byte stream into command lines. CR and LF each end a line, so CR LF ends one
// line and leaves an empty one, which is dropped like any other empty line.
class LineSplitter {
public:
    QList<QByteArray> feed(const QByteArray& bytes);
    // End of message (GPIB EOI): what is pending is a complete line even without terminator.
    QList<QByteArray> finishMessage();
    void clear() { m_pending.clear(); }

private:
    QByteArray m_pending;
};

} // namespace kvxsim
