#include "CommandLog.h"

#include <QSaveFile>

namespace kvx {

CommandLog::~CommandLog() {
    if (m_spool.isOpen())
        m_spool.remove();
}

bool CommandLog::spoolTo(const QString& path) {
    if (m_spool.isOpen())
        m_spool.remove();
    const QString interrupted = path + QStringLiteral(".interrupted");
    if (QFile::exists(path)) {
        QFile::remove(interrupted);
        QFile::rename(path, interrupted);
    }
    m_spool.setFileName(path);
    if (!m_spool.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    m_spool.write(m_memory.toUtf8());
    m_spool.flush();
    m_memory.clear();
    m_memory.squeeze();
    return true;
}

void CommandLog::append(const QString& line) {
    if (!m_spool.isOpen()) {
        m_memory += line;
        return;
    }
    // Handed to the kernel at once, so a killed program loses no line.
    m_spool.write(line.toUtf8());
    m_spool.flush();
}

QString CommandLog::text() const {
    if (!m_spool.isOpen())
        return m_memory;
    QFile spool(m_spool.fileName());
    return spool.open(QIODevice::ReadOnly) ? QString::fromUtf8(spool.readAll()) : QString();
}

bool CommandLog::writeTo(const QString& path, QString* error) const {
    QSaveFile file(path);
    bool written = file.open(QIODevice::WriteOnly);
    if (written && m_spool.isOpen()) {
        QFile spool(m_spool.fileName());
        written = spool.open(QIODevice::ReadOnly);
        while (written && !spool.atEnd())
            written = file.write(spool.read(1 << 20)) >= 0;
    } else if (written) {
        written = file.write(m_memory.toUtf8()) >= 0;
    }
    written = written && file.write("\r\n") == 2 && file.commit();
    if (!written && error)
        *error = file.errorString();
    return written;
}

} // namespace kvx
