#pragma once
// Stand-ins for the program's clock and message boxes, for tests, benchmarks and
// the screenshot tool: a clock that moves only when told to, and message boxes
// that are recorded and answered from a queue.

#include "Services.h"

#include <QStringList>
#include <vector>

namespace kvx {

class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 1, 5), QTime(10, 0, 0)))
        : m_now(std::move(start)) {}
    QDateTime now() const override { return m_now; }
    void set(const QDateTime& when) { m_now = when; }
    void advance(double seconds) { m_now = m_now.addMSecs(qRound64(seconds * 1000.0)); }

private:
    QDateTime m_now;
};

// Records every message and answers questions from a queue (No when it runs dry).
class ScriptedMessageService final : public MessageService {
public:
    struct Shown {
        QString text, title;
        bool question = false;
    };
    void notice(const QString& text, const QString& title) override {
        m_shown.push_back({text, title, false});
    }
    Answer ask(const QString& text, const QString& title) override {
        m_shown.push_back({text, title, true});
        if (m_answers.empty())
            return Answer::No;
        const Answer a = m_answers.front();
        m_answers.erase(m_answers.begin());
        return a;
    }

    void queueAnswer(Answer a) { m_answers.push_back(a); }
    const std::vector<Shown>& shown() const { return m_shown; }
    QStringList texts() const {
        QStringList out;
        for (const auto& s : m_shown)
            out << s.text;
        return out;
    }
    void clear() {
        m_shown.clear();
        m_answers.clear();
    }

private:
    std::vector<Shown> m_shown;
    std::vector<Answer> m_answers;
};

} // namespace kvx
