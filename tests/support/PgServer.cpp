#include "PgServer.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvx::test {

namespace {

constexpr const char* kBinaries = "/usr/lib/postgresql/15/bin";
constexpr const char* kServerUser = "postgres";

// A port nobody listens on now: the kernel picks one for a socket bound to port 0.
int freePort() {
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (s >= 0 && ::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    if (s >= 0)
        ::close(s);
    return port;
}

bool asRoot() {
    return ::geteuid() == 0;
}

} // namespace

PgServer::PgServer(bool durable) : m_durable(durable) {
    m_data = m_dir.filePath(QStringLiteral("data"));
}

PgServer::~PgServer() {
    stop();
}

QString PgServer::binary(const QString& name) {
    return QDir(QString::fromLatin1(kBinaries)).filePath(name);
}

bool PgServer::run(const QString& program, const QStringList& arguments, QByteArray* output) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(m_dir.path());
    if (asRoot())
        process.start(QStringLiteral("runuser"), QStringList{"-u", kServerUser, "--", program} + arguments);
    else
        process.start(program, arguments);
    const bool done = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit &&
                      process.exitCode() == 0;
    const QByteArray said = process.readAll();
    if (output)
        *output = said;
    if (!done)
        m_problem = QStringLiteral("%1 failed: %2 %3").arg(program, process.errorString(), QString::fromLocal8Bit(said));
    return done;
}

bool PgServer::start() {
    if (m_running)
        return true;
    if (!m_dir.isValid()) {
        m_problem = QStringLiteral("no temporary folder");
        return false;
    }
    if (!m_made) {
        if (asRoot() && QProcess::execute(QStringLiteral("chown"), {QStringLiteral("%1:").arg(kServerUser),
                                                                     m_dir.path()}) != 0) {
            m_problem = QStringLiteral("the folder cannot be given to the user %1").arg(kServerUser);
            return false;
        }
        if (!run(binary("initdb"), {"-D", m_data, "-U", "kvx", "--auth=trust", "-E", "UTF8", "--no-locale"}))
            return false;
        m_port = freePort();
    }
    QStringList options{"-p", QString::number(m_port), "-k", m_dir.path(), "-c", "listen_addresses=127.0.0.1"};
    if (!m_durable)
        options << "-c" << "fsync=off" << "-c" << "synchronous_commit=off";
    if (!run(binary("pg_ctl"), {"-D", m_data, "-l", m_dir.filePath("server.log"), "-w", "-t", "60", "-o",
                                options.join(' '), "start"}))
        return false;
    m_running = true;
    if (!m_made) {
        QByteArray said;
        if (psql({"-d", "postgres", "-c", "create database kvx"}, &said) != 0) {
            m_problem = QStringLiteral("create database: ") + QString::fromLocal8Bit(said);
            return false;
        }
        m_made = true;
    }
    return true;
}

bool PgServer::stop() {
    if (!m_running)
        return true;
    m_running = false;
    return run(binary("pg_ctl"), {"-D", m_data, "-m", "fast", "-w", "stop"});
}

QString PgServer::connectionText() const {
    return QStringLiteral("postgresql://kvx@127.0.0.1:%1/kvx").arg(m_port);
}

int PgServer::psql(const QStringList& arguments, QByteArray* output) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    QStringList all{"-h", "127.0.0.1", "-p", QString::number(m_port), "-U", "kvx", "-X", "-q", "-v",
                    "ON_ERROR_STOP=1"};
    if (!arguments.contains(QStringLiteral("-d")))
        all << "-d" << "kvx";
    process.start(binary("psql"), all + arguments);
    if (!process.waitForFinished(600000))
        return -1;
    if (output)
        *output = process.readAllStandardOutput() + process.readAllStandardError();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace kvx::test
