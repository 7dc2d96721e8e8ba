#pragma once
// One program folder, one program: two instances on one folder would write the
// same database and operation file. The first holds a lock file in the folder
// ("kvx5130.lock", naming its process); a second is refused. A lock whose process
// is gone (a killed or crashed run) is taken over.

#include <QString>
#include <memory>

class QLockFile;

namespace kvx {

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
    bool acquire(const QString& folder, QString* refusal);

private:
    std::unique_ptr<QLockFile> m_lock;
};

} // namespace kvx
