#include "PgServer.h"

#include <QProcess>
#include <QTcpServer>

#include <unistd.h>
#include <utility>

namespace kvx::test {

// The server refuses to run as root; as root, it runs as this user.
constexpr const char* kServerUser = "postgres";

PgServer::PgServer(bool durable) : m_data(m_dir.filePath(QStringLiteral("data"))), m_durable(durable) {}

PgServer::~PgServer() {
    stop();
}

QString PgServer::binary(const QString& name) {
    return QStringLiteral("/usr/lib/postgresql/15/bin/") + name;
}

bool PgServer::run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (::geteuid() == 0)
        process.start(QStringLiteral("runuser"), QStringList{"-u", kServerUser, "--", program} + arguments);
    else
        process.start(program, arguments);
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit &&
        process.exitCode() == 0)
        return true;
    m_problem = program + QStringLiteral(" failed: ") + process.errorString() + ' ' + process.readAll();
    return false;
}

bool PgServer::start() {
    if (m_running)
        return true;
    if (!m_made) {
        QTcpServer probe; // a port nobody listens on now
        probe.listen(QHostAddress::LocalHost, 0);
        m_port = probe.serverPort();
        if ((::geteuid() == 0 &&
             QProcess::execute("chown", {QStringLiteral("%1:").arg(kServerUser), m_dir.path()})) ||
            !run(binary("initdb"), {"-D", m_data, "-U", "kvx", "--auth=trust", "-E", "UTF8", "--no-locale"}))
            return false;
    }
    // Tests need no commit on the disk; benchmarks measure a server that makes sure of it.
    const QString options = QStringLiteral("-p %1 -k %2 -c listen_addresses=127.0.0.1 %3")
                                .arg(m_port)
                                .arg(m_dir.path(), m_durable ? "" : "-c fsync=off -c synchronous_commit=off");
    m_running =
        run(binary("pg_ctl"), {"-D", m_data, "-l", m_dir.filePath("log"), "-w", "-o", options, "start"});
    if (m_running && !m_made)
        m_made =
            psql({"-d", "postgres", "-c", "create database kvx"}) == 0 || (m_problem = "no database", false);
    return m_running && m_made;
}

bool PgServer::stop() {
    const bool wasRunning = std::exchange(m_running, false);
    return !wasRunning || run(binary("pg_ctl"), {"-D", m_data, "-m", "fast", "-w", "stop"});
}

QString PgServer::connectionText() const {
    return QStringLiteral("postgresql://kvx@127.0.0.1:%1/kvx").arg(m_port);
}

int PgServer::psql(const QStringList& arguments, QByteArray* output) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(binary("psql"), QStringList{"-h", "127.0.0.1", "-p", QString::number(m_port), "-U", "kvx",
                                              "-X", "-q", "-v", "ON_ERROR_STOP=1", "-d", "kvx"} +
                                      arguments);
    const bool done = process.waitForFinished(600000) && process.exitStatus() == QProcess::NormalExit;
    if (output)
        *output = process.readAll();
    return done ? process.exitCode() : -1;
}

} // namespace kvx::test
