#pragma once
// Counts the syncs SQLite asks of the disk: a VFS over the default one, made the
// default while it lives, so every connection opened meanwhile (the SQL driver's
// included: it uses the same SQLite library) goes through it. Each file is the real
// VFS's own, followed by a copy of its method table with xSync counting.

#include <sqlite3.h>

#include <atomic>

namespace kvx::test {

class SyncCountingVfs {
public:
    SyncCountingVfs() {
        s_self = this;
        m_real = sqlite3_vfs_find(nullptr);
        m_vfs = *m_real;
        m_vfs.zName = "kvx-sync-counting";
        m_vfs.szOsFile = m_real->szOsFile + int(sizeof(Tail));
        m_vfs.xOpen = &open;
        sqlite3_vfs_register(&m_vfs, 1);
    }
    ~SyncCountingVfs() {
        sqlite3_vfs_unregister(&m_vfs);
        sqlite3_vfs_register(m_real, 1);
    }
    int syncs() const { return m_syncs.load(); }

private:
    struct Tail {
        const sqlite3_io_methods* real;
        sqlite3_io_methods counting;
    };
    static Tail* tailOf(sqlite3_file* file) {
        return reinterpret_cast<Tail*>(reinterpret_cast<char*>(file) + s_self->m_real->szOsFile);
    }
    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        const int rc = s_self->m_real->xOpen(s_self->m_real, name, file, flags, outFlags);
        if (rc == SQLITE_OK && file->pMethods) {
            Tail* tail = tailOf(file);
            tail->real = file->pMethods;
            tail->counting = *file->pMethods;
            tail->counting.xSync = [](sqlite3_file* f, int syncFlags) {
                ++s_self->m_syncs;
                return tailOf(f)->real->xSync(f, syncFlags);
            };
            file->pMethods = &tail->counting;
        }
        return rc;
    }

    static inline SyncCountingVfs* s_self = nullptr;
    sqlite3_vfs* m_real = nullptr;
    sqlite3_vfs m_vfs{};
    std::atomic<int> m_syncs{0};
};

} // namespace kvx::test
