#pragma once
// Runs the meter simulator (kvx5130-sim) for a test: starts it with the given
// options and a command log in a private folder, reads the first line it
// prints (where to connect), and reads back the commands it received.

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace kvx::test {

class SimProcess {
public:
    // `arguments` choose the link and behaviour, e.g. {"--pty"} or {"--tcp", "0", "--prologix"}.
    explicit SimProcess(QStringList arguments);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Starts the simulator and waits for its first line. False with the reason
    // (including what the simulator printed on stderr) when it does not start.
    bool start(QString* error = nullptr, int timeoutMs = 10000);
    void stop();

    // The first line: the pty's device path (or --pty-link path), or "tcp:127.0.0.1:<port>".
    QString where() const { return m_where; }
    quint16 tcpPort() const;
    // A private folder that lives as long as this object (for --pty-link paths).
    QString folder() const { return m_dir.path(); }
    QString logPath() const;

    // Commands logged so far, one per entry, without terminators.
    QStringList loggedCommands() const;
    // Waits, while processing events, until at least `count` commands are logged.
    bool waitForLoggedCommands(int count, int timeoutMs = 5000) const;

    static QString binary();

private:
    QStringList m_arguments;
    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_where;
};

} // namespace kvx::test
