#include "pacedwriter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kvxsim {

namespace {
constexpr double kBitsPerByte = 10.0; // start bit, eight data bits, stop bit
}

PacedWriter::PacedWriter(int baud, Sink sink, QObject* parent)
    : QObject(parent), m_byteMs(baud > 0 ? kBitsPerByte * 1000.0 / baud : 0.0), m_sink(std::move(sink)) {
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &PacedWriter::release);
    m_clock.start();
}

void PacedWriter::write(const QByteArray& bytes) {
    if (m_byteMs <= 0.0) {
        m_sink(bytes);
        return;
    }
    const bool wasIdle = m_queue.isEmpty();
    m_queue.append(bytes);
    if (wasIdle) {
        // An idle line starts the first byte now; a busy one finishes its byte first.
        m_lineFreeAtMs = std::max(m_lineFreeAtMs, nowMs());
        release();
    }
}

void PacedWriter::discard() {
    m_queue.clear();
    m_timer.stop();
}

void PacedWriter::release() {
    // Timers fire late under load; send every byte whose slot has begun, then sleep
    // until the next slot instead of one timer per byte.
    const double now = nowMs();
    qsizetype due = 0;
    while (due < m_queue.size() && m_lineFreeAtMs <= now) {
        ++due;
        m_lineFreeAtMs += m_byteMs;
    }
    if (due > 0)
        m_sink(m_queue.left(due));
    m_queue.remove(0, due);
    if (!m_queue.isEmpty())
        m_timer.start(static_cast<int>(std::ceil(m_lineFreeAtMs - now)));
}

} // namespace kvxsim
