#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>

namespace kvxsim {

// Holds written bytes back to the rate of a serial line, so that a host with a short
// read timeout sees what it would see on a real cable at that baud rate.
class PacedWriter : public QObject {
    Q_OBJECT
public:
    using Sink = std::function<void(const QByteArray& bytes)>;

    PacedWriter(int baud, Sink sink, QObject* parent = nullptr);

    void write(const QByteArray& bytes);
    // Forget bytes not yet on the line, e.g. when the connection goes away.
    void discard();

private:
    void release();
    double nowMs() const { return static_cast<double>(m_clock.nsecsElapsed()) / 1e6; }

    const double m_byteMs; // 0: no pacing
    Sink m_sink;
    QByteArray m_queue;
    QTimer m_timer;
    QElapsedTimer m_clock;
    double m_lineFreeAtMs = 0.0; // when the last byte handed over finished on the line
};

} // namespace kvxsim
