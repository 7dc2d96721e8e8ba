#pragma once
// A PostgreSQL server of a test's own: a cluster made with initdb in a temporary
// folder, started with pg_ctl on a free port of 127.0.0.1, stopped at the end.
// It never touches a cluster of the system. Run as root, the server runs as the
// unprivileged user "postgres" (the server refuses root), owning the folder.

#include <QStringList>
#include <QTemporaryDir>

namespace kvx::test {

class PgServer {
public:
    // `durable`: commits wait for the disk, as on a real server (benchmarks);
    // tests leave it off to run faster.
    explicit PgServer(bool durable = false);
    ~PgServer();

    // Makes the cluster and the database "kvx", and starts the server. False with
    // the reason in problem().
    bool start();
    // Stops the server (fast shutdown: open connections are cut); start() again
    // serves the same cluster on the same port.
    bool stop();
    QString problem() const { return m_problem; }

    // "postgresql://kvx@127.0.0.1:PORT/kvx"
    QString connectionText() const;
    int port() const { return m_port; }
    // Runs psql on the database "kvx" (a later "-d" names another) with `arguments`
    // ("-c", "..."): its exit code.
    int psql(const QStringList& arguments, QByteArray* output = nullptr) const;

    static QString binary(const QString& name);

private:
    bool run(const QString& program, const QStringList& arguments);
    QTemporaryDir m_dir;
    QString m_data;
    int m_port = 0;
    bool m_durable;
    bool m_made = false;
    bool m_running = false;
    QString m_problem;
};

} // namespace kvx::test
