#pragma once
// The seams that keep the program testable: one clock, one message-box service
// and one random source for the whole process. The application uses the real
// ones; a test installs its own (tests/support/TestServices.h) before it builds
// any window.

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <deque>
#include <memory>
#include <random>
#include <vector>

namespace kvx {

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // The runtime's seconds-since-midnight timer (fractional).
    double secondsSinceMidnight() const;
    // How many of its seconds pass in a second of the wall clock; what paces
    // itself by this clock (the headless logger) waits that much less.
    virtual double rate() const { return 1.0; }
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

// A clock that runs `rate` times as fast as the wall clock, from the wall clock's
// time when it is made. The process starts with one when the environment names a
// rate, KVX5130_CLOCK_RATE=N (read once, for the first clock() call): a day-long
// headless log then takes a day divided by N, for soak tests and benchmarks.
class FastClock final : public Clock {
public:
    explicit FastClock(double rate);
    QDateTime now() const override;
    double rate() const override { return m_rate; }

private:
    QDateTime m_start;
    qint64 m_startNs;
    double m_rate;
};

enum class Answer { Yes, No };

// Modal message boxes: notices with an OK button, and Yes/No questions where only Yes goes on.
class MessageService {
public:
    virtual ~MessageService() = default;
    // An empty title shows the application's title.
    virtual void notice(const QString& text, const QString& title = QString()) = 0;
    virtual Answer ask(const QString& text, const QString& title = QString()) = 0;
};

// Uniform numbers in [0, 1), like the runtime's Rnd.
// Tests seed it, or script the exact draws that come next.
class RandomSource {
public:
    explicit RandomSource(quint64 seed = std::random_device{}()) : m_engine(seed) {}
    void seed(quint64 s) { m_engine.seed(s); }
    void script(std::vector<double> draws) { m_scripted.assign(draws.begin(), draws.end()); }
    double next() {
        if (m_scripted.empty())
            return m_dist(m_engine);
        const double draw = m_scripted.front();
        m_scripted.pop_front();
        return draw;
    }

private:
    std::mt19937_64 m_engine;
    std::uniform_real_distribution<double> m_dist{0.0, 1.0};
    std::deque<double> m_scripted;
};

Clock& clock();
void setClock(std::shared_ptr<Clock> c);
MessageService& messages();
// Returns the service it replaces, so that a caller can put it back.
std::shared_ptr<MessageService> setMessages(std::shared_ptr<MessageService> m);
RandomSource& randomSource();

} // namespace kvx
