#include "pacedwriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace kvxsim {

namespace {
constexpr double kBitsPerByte = 10.0; // start bit, eight data bits, stop bit
}

PacedWriter::PacedWriter(int baud, Sink sink, QObject* parent)
    : QObject(parent), m_byteMs(baud > 0 ? kBitsPerByte * 1000.0 / baud : 0.0), m_sink(std::move(sink)) {
    m_clock.start();
    if (m_byteMs <= 0.0)
        return;
    m_timerFd = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_timerFd < 0)
        qFatal("kvx5130-sim: cannot create a timer for --baud");
    m_wake = new QSocketNotifier(m_timerFd, QSocketNotifier::Read, this);
    connect(m_wake, &QSocketNotifier::activated, this, [this] {
        std::uint64_t expirations = 0;
        if (::read(m_timerFd, &expirations, sizeof expirations) > 0)
            release();
    });
}

PacedWriter::~PacedWriter() {
    delete m_wake;
    if (m_timerFd >= 0)
        ::close(m_timerFd);
}

void PacedWriter::wakeAfterMs(double ms) {
    // Rounded up to a whole microsecond, never zero (zero would disarm the timer).
    const auto us = std::max<long long>(1, static_cast<long long>(std::ceil(ms * 1000.0)));
    itimerspec when{};
    when.it_value.tv_sec = static_cast<time_t>(us / 1000000);
    when.it_value.tv_nsec = static_cast<long>(us % 1000000) * 1000;
    ::timerfd_settime(m_timerFd, 0, &when, nullptr);
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
    if (m_timerFd >= 0) {
        const itimerspec off{};
        ::timerfd_settime(m_timerFd, 0, &off, nullptr);
    }
}

void PacedWriter::release() {
    // A byte is through once its last bit is. Timers fire late under load,
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
        wakeAfterMs(m_lineFreeAtMs + m_byteMs - now);
}

} // namespace kvxsim
