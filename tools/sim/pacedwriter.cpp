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
        // An idle line starts on the first byte now; a busy one finishes its byte first.
        m_lineFreeAtMs = std::max(m_lineFreeAtMs, nowMs());
        release();
    }
}

void PacedWriter::discard() {
    m_queue.clear();
    m_timer.stop();
}

void PacedWriter::release() {
    // A byte reaches the host once its last bit is through. Timers fire late under load,
    // so hand over every byte that is complete by now, then sleep until the next one is.
    const double now = nowMs();
    qsizetype complete = 0;
    while (complete < m_queue.size() && m_lineFreeAtMs + m_byteMs <= now) {
        ++complete;
        m_lineFreeAtMs += m_byteMs;
    }
    if (complete > 0)
        m_sink(m_queue.left(complete));
    m_queue.remove(0, complete);
    if (!m_queue.isEmpty())
        m_timer.start(static_cast<int>(std::ceil(m_lineFreeAtMs + m_byteMs - now)));
}

} // namespace kvxsim
