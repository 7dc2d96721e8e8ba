#pragma once
// Reports for the operator that must never wait for a click: a database that
// cannot be written, a link that cannot be opened, a damaged settings file in an
// unattended run. Each report goes to stderr at once and to whichever window
// shows status (the state panel listens to `reported`).

#include "Services.h"

#include <QObject>
#include <QString>

namespace kvx {

class StatusReports final : public QObject {
    Q_OBJECT
public:
    // Writes "kvx5130: <text>" on stderr and tells the listeners.
    void report(const QString& text);
    // The newest report, empty until the first one.
    QString last() const { return m_last; }
    // Switched off by tests that check reports without filling their output.
    void setEchoToStderr(bool on) { m_echo = on; }

signals:
    void reported(const QString& text);

private:
    QString m_last;
    bool m_echo = true;
};

StatusReports& statusReports();

// The message service of an unattended run (--start, or no display), where
// nothing may wait for a click: every notice becomes a status report.
// Questions only come from the operator's own clicks. With a display they are
// asked as usual, by `operatorAsks` (the box runs its own event loop, so the trace
// goes on meanwhile).
// Without one nobody can answer them, and the answer is No, the one that keeps the
// recorded data as it is: no saved record is overwritten, the working trace is not
// abandoned, and nothing is filed under a new record number.
class UnattendedMessageService final : public MessageService {
public:
    explicit UnattendedMessageService(std::shared_ptr<MessageService> operatorAsks = nullptr)
        : m_operatorAsks(std::move(operatorAsks)) {}
    void notice(const QString& text, const QString& title) override;
    Answer ask(const QString& text, const QString& title) override;

private:
    std::shared_ptr<MessageService> m_operatorAsks;
};

} // namespace kvx
