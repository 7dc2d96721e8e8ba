#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QSocketNotifier>

#include <functional>

namespace kvxsim {

// Holds bytes back to the rate of one direction of a serial line: the replies, so that
// a host with a short read timeout sees what it would see on a real cable at that baud
// rate, and the host's commands, which the meter cannot take in any faster.
class PacedWriter : public QObject {
    Q_OBJECT
public:
    using Sink = std::function<void(const QByteArray& bytes)>;

    PacedWriter(int baud, Sink sink, QObject* parent = nullptr);
    ~PacedWriter() override;
    PacedWriter(const PacedWriter&) = delete;
    PacedWriter& operator=(const PacedWriter&) = delete;

    void write(const QByteArray& bytes);
    // Forget bytes not yet on the line, e.g. when the connection goes away.
    void discard();

private:
    void release();
    void wakeAfterMs(double ms);
    double nowMs() const { return static_cast<double>(m_clock.nsecsElapsed()) / 1e6; }

    const double m_byteMs; // 0: no pacing
    Sink m_sink;
    QByteArray m_queue;
    // A timer of microseconds: a millisecond timer wakes up to a millisecond after a
    // byte is through, which at 9600 baud is nearly a byte's time lost per message.
    int m_timerFd = -1;
    QSocketNotifier* m_wake = nullptr;
    QElapsedTimer m_clock;
    double m_lineFreeAtMs = 0.0; // when the last byte handed over finished on the line
};

} // namespace kvxsim
