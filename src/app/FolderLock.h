#pragma once
// One program folder, one program: two instances on one folder would write the
// same database and operation file. The first holds a lock file in the folder
// ("kvx5130.lock", naming its process); a second is refused. A lock whose process
// is gone (a killed or crashed run) is taken over.
//
// The holder of the lock also answers on the folder's control socket (see
// ControlSocket.h), so the lock and the socket are one thing: a program finds the
// one that runs on a folder by its socket, and only the lock's holder listens
// there. The lock file stays the arbiter because taking a socket over is not
// atomic: two programs that both found a dead socket could each remove it and
// listen, while a lock file is taken by exactly one of them.

#include <QString>
#include <memory>

class QLockFile;

namespace kvx {

class ControlServer;

inline const char* const kFolderLockFile = "kvx5130.lock";

class FolderLock {
public:
    FolderLock();
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    // False, with a message naming the instance that holds `folder`, when another
    // running program has it. A folder that cannot hold a lock file (read-only) is
    // not refused here: opening the database there reports what is wrong.
    // Once the lock is held, the control socket listens; a socket that cannot
    // listen leaves `controlProblem()` saying why, and the program runs unscripted.
    bool acquire(const QString& folder, QString* refusal);

    // The folder's control socket; it answers the commands its handler takes.
    ControlServer& control() { return *m_control; }
    QString controlProblem() const { return m_controlProblem; }

private:
    std::unique_ptr<QLockFile> m_lock;
    std::unique_ptr<ControlServer> m_control;
    QString m_controlProblem;
};

} // namespace kvx
