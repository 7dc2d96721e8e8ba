#include "Services.h"

#include "StatusReports.h"

#include <chrono>
#include <utility>

namespace kvx {

double Clock::secondsSinceMidnight() const {
    return now().time().msecsSinceStartOfDay() / 1000.0;
}

namespace {
qint64 monotonicNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

FastClock::FastClock(double rate)
    : m_start(QDateTime::currentDateTime()), m_startNs(monotonicNs()), m_rate(rate) {}

QDateTime FastClock::now() const {
    return m_start.addMSecs(qint64(double(monotonicNs() - m_startNs) * m_rate / 1e6));
}

namespace {
// The one place that reads the clock's rate from the environment.
std::shared_ptr<Clock> startingClock() {
    bool numeric = false;
    const double rate = qEnvironmentVariable("KVX5130_CLOCK_RATE").toDouble(&numeric);
    if (numeric && rate > 0.0 && rate != 1.0)
        return std::make_shared<FastClock>(rate);
    return std::make_shared<SystemClock>();
}
std::shared_ptr<Clock>& clockSlot() {
    static std::shared_ptr<Clock> c = startingClock();
    return c;
}
std::shared_ptr<MessageService>& messageSlot() {
    // Until the window program puts up its boxes nobody can answer: notices go to
    // stderr, questions are answered No.
    static std::shared_ptr<MessageService> m = std::make_shared<UnattendedMessageService>();
    return m;
}
} // namespace

Clock& clock() {
    return *clockSlot();
}
void setClock(std::shared_ptr<Clock> c) {
    clockSlot() = std::move(c);
}
MessageService& messages() {
    return *messageSlot();
}
std::shared_ptr<MessageService> setMessages(std::shared_ptr<MessageService> m) {
    return std::exchange(messageSlot(), std::move(m));
}

RandomSource& randomSource() {
    static RandomSource r;
    return r;
}

} // namespace kvx
