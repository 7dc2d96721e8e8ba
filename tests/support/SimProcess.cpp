#include "SimProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

namespace kvx::test {

SimProcess::SimProcess(QStringList arguments) : m_arguments(std::move(arguments)) {}

SimProcess::~SimProcess() {
    stop();
}

QString SimProcess::binary() {
    return QStringLiteral(KVX_SIM_BINARY);
}

QString SimProcess::logPath() const {
    return m_dir.filePath(QStringLiteral("sim-commands.log"));
}

bool SimProcess::start(QString* error, int timeoutMs) {
    const auto failed = [&](const QString& why) {
        if (error)
            *error = why + QStringLiteral(" (stderr: ") +
                     QString::fromLocal8Bit(m_process.readAllStandardError()) + QLatin1Char(')');
        stop();
        return false;
    };
    m_process.setProgram(binary());
    m_process.setArguments(m_arguments + QStringList{QStringLiteral("--log"), logPath()});
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs))
        return failed(QStringLiteral("cannot start %1: %2").arg(binary(), m_process.errorString()));
    const QDeadlineTimer deadline(timeoutMs);
    while (!m_process.canReadLine()) {
        if (m_process.state() != QProcess::Running || deadline.hasExpired())
            return failed(QStringLiteral("the simulator printed no first line"));
        m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    }
    m_where = QString::fromLocal8Bit(m_process.readLine()).trimmed();
    return true;
}

void SimProcess::stop() {
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate(); // lets it remove its --pty-link
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

quint16 SimProcess::tcpPort() const {
    return static_cast<quint16>(m_where.section(QLatin1Char(':'), -1).toUInt());
}

QStringList SimProcess::loggedCommands() const {
    QFile file(logPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

bool SimProcess::waitForLoggedCommands(int count, int timeoutMs) const {
    const QDeadlineTimer deadline(timeoutMs);
    while (loggedCommands().size() < count) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(10);
    }
    return true;
}

} // namespace kvx::test
