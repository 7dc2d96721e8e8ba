#include "ControlSocket.h"

#include "Services.h"
#include "WorkingTrace.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QTextStream>

namespace kvx {

namespace {

// sockaddr_un's path holds 108 bytes with its terminating zero.
constexpr int kLongestSocketPath = 107;
// A line longer than this is no command: the connection is closed.
constexpr qint64 kLongestLine = 64 * 1024;
// A start waits for the meter's status, which a silent meter gives only after its timeout.
constexpr int kAnswerTimeoutMs = 60000;

} // namespace

QString controlSocketPath(const QString& folder) {
    const QString absolute = QFileInfo(folder).absoluteFilePath();
    const QString beside = QDir(absolute).filePath(QLatin1String(kControlSocketFile));
    if (beside.toLocal8Bit().size() <= kLongestSocketPath)
        return beside;
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty())
        runtime = QDir::tempPath();
    const QByteArray name =
        QCryptographicHash::hash(QFileInfo(absolute).canonicalFilePath().toUtf8(), QCryptographicHash::Sha1)
            .toHex()
            .left(16);
    return QDir(runtime).filePath(QStringLiteral("kvx5130-%1.socket").arg(QString::fromLatin1(name)));
}

QString statusAnswer() {
    return QString::fromUtf8(
        QJsonDocument(workingTrace().statusJson(clock().now())).toJson(QJsonDocument::Compact));
}

void splitControlLine(const QString& line, QString* command, QString* argument) {
    const QString trimmed = line.trimmed();
    const qsizetype blank = trimmed.indexOf(QLatin1Char(' '));
    *command = blank < 0 ? trimmed : trimmed.left(blank);
    *argument = blank < 0 ? QString() : trimmed.mid(blank + 1).trimmed();
}

ControlServer::ControlServer(QObject* parent) : QObject(parent), m_server(new QLocalServer(this)) {
    // Only the user who runs the program may drive it.
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &ControlServer::accept);
}

ControlServer::~ControlServer() {
    m_server->close();
}

bool ControlServer::listen(const QString& folder, QString* error) {
    const QString path = controlSocketPath(folder);
    QLocalServer::removeServer(path);
    if (m_server->listen(path))
        return true;
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, m_server->errorString());
    return false;
}

void ControlServer::accept() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readLines(socket); });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        readLines(socket);
    }
}

void ControlServer::readLines(QLocalSocket* socket) {
    while (socket->canReadLine()) {
        const QString line = QString::fromUtf8(socket->readLine()).trimmed();
        if (!line.isEmpty())
            m_pending.push_back({socket, line});
    }
    if (socket->bytesAvailable() > kLongestLine)
        socket->abort();
    runNext();
}

void ControlServer::runNext() {
    if (m_busy || m_pending.empty())
        return;
    const Pending next = m_pending.front();
    m_pending.pop_front();
    QString command;
    QString argument;
    splitControlLine(next.line, &command, &argument);
    m_busy = true;
    // Held by the reply: answers once, then lets the next command run.
    auto answered = std::make_shared<bool>(false);
    const Reply reply = [this, socket = next.socket, answered](bool ok, const QString& answer) {
        if (std::exchange(*answered, true))
            return;
        if (socket && socket->state() == QLocalSocket::ConnectedState) {
            QString line = ok ? answer : QLatin1String(kControlErrorPrefix) + answer;
            line.replace(QLatin1Char('\n'), QLatin1Char(' '));
            socket->write(line.toUtf8() + '\n');
            socket->flush();
        }
        m_busy = false;
        QMetaObject::invokeMethod(this, &ControlServer::runNext, Qt::QueuedConnection);
    };
    if (!m_handler)
        reply(false, QStringLiteral("nothing here takes commands"));
    else
        m_handler(command, argument, reply);
}

int sendControlCommand(const QString& folder, const QString& command, const QString& argument,
                       QTextStream& out, QTextStream& err) {
    const QString path = controlSocketPath(folder);
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(5000)) {
        const bool nobody = socket.error() == QLocalSocket::ServerNotFoundError ||
                            socket.error() == QLocalSocket::ConnectionRefusedError;
        err << "kvx5130: no kvx5130 runs on the folder " << QDir::toNativeSeparators(folder) << " ("
            << (nobody ? QStringLiteral("nothing listens on ") + QDir::toNativeSeparators(path)
                       : socket.errorString())
            << ")\n";
        return 1;
    }
    const QString line = argument.isEmpty() ? command : command + QLatin1Char(' ') + argument;
    socket.write(line.toUtf8() + '\n');
    QByteArray answer;
    while (!answer.contains('\n')) {
        if (!socket.waitForReadyRead(kAnswerTimeoutMs)) {
            err << "kvx5130: the kvx5130 on " << QDir::toNativeSeparators(folder) << " gave no answer to \""
                << command << "\" (" << socket.errorString() << ")\n";
            return 1;
        }
        answer += socket.readAll();
    }
    const QString text = QString::fromUtf8(answer.left(answer.indexOf('\n')));
    if (text.startsWith(QLatin1String(kControlErrorPrefix))) {
        err << "kvx5130: " << command << ": " << text.mid(int(qstrlen(kControlErrorPrefix))) << '\n';
        return 1;
    }
    out << text << '\n';
    return 0;
}

} // namespace kvx
