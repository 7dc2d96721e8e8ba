#include "FolderLock.h"

#include "ControlSocket.h"

#include <QDir>
#include <QLockFile>

namespace kvx {

FolderLock::FolderLock() : m_control(std::make_unique<ControlServer>()) {}
FolderLock::~FolderLock() = default;

bool FolderLock::acquire(const QString& folder, QString* refusal) {
    m_lock = std::make_unique<QLockFile>(QDir(folder).filePath(QLatin1String(kFolderLockFile)));
    // Only a lock whose process is gone is stale, however old it is: a trace runs for days.
    m_lock->setStaleLockTime(0);
    // A little patience rides out another instance that is just writing its lock.
    if (m_lock->tryLock(200)) {
        if (!m_control->listen(folder, &m_controlProblem))
            m_controlProblem = QStringLiteral("--send cannot reach this program: ") + m_controlProblem;
        return true;
    }
    if (m_lock->error() != QLockFile::LockFailedError)
        return true;
    qint64 pid = 0;
    QString host;
    QString application;
    m_lock->getLockInfo(&pid, &host, &application);
    if (refusal)
        *refusal =
            QStringLiteral("The program folder %1 is in use by another kvx5130 (process %2 on %3). "
                           "Quit that one first, choose another folder with --folder, or drive it with "
                           "--send.")
                .arg(QDir::toNativeSeparators(folder))
                .arg(pid)
                .arg(host);
    return false;
}

} // namespace kvx
