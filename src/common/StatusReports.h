#pragma once
// Reports for the operator that must never wait for a click: a database that
// cannot be written, a link that cannot be opened, a damaged settings file in an
// unattended run. Each report goes to stderr at once and to whichever window
// shows status (the state panel listens to `reported`).

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

} // namespace kvx
