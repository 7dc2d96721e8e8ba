#pragma once
// Counts the syncs SQLite asks of the disk: a VFS that wraps the default one,
// made the default while it lives, so every connection opened meanwhile (the
// SQL driver's included: it uses the same SQLite library) goes through it.

#include <sqlite3.h>

#include <atomic>
#include <cstring>

namespace kvx::test {

class SyncCountingVfs {
public:
    SyncCountingVfs() {
        m_real = sqlite3_vfs_find(nullptr);
        m_vfs = *m_real;
        m_vfs.zName = "kvx-sync-counting";
        m_vfs.szOsFile = m_real->szOsFile + int(sizeof(Wrapped) - sizeof(sqlite3_file));
        m_vfs.xOpen = &open;
        m_vfs.pAppData = this;
        sqlite3_vfs_register(&m_vfs, 1);
    }
    ~SyncCountingVfs() {
        sqlite3_vfs_unregister(&m_vfs);
        sqlite3_vfs_register(m_real, 1);
    }
    int syncs() const { return m_syncs.load(); }

private:
    // The wrapper's file: our method table first, then the real file behind it.
    struct Wrapped {
        sqlite3_file base;
        SyncCountingVfs* owner;
        sqlite3_io_methods methods;
        sqlite3_file real; // the real VFS's file structure continues past this member
    };

    static sqlite3_file* realOf(sqlite3_file* file) { return &reinterpret_cast<Wrapped*>(file)->real; }

    static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        auto* self = static_cast<SyncCountingVfs*>(vfs->pAppData);
        auto* wrapped = reinterpret_cast<Wrapped*>(file);
        const int rc = self->m_real->xOpen(self->m_real, name, &wrapped->real, flags, outFlags);
        if (rc != SQLITE_OK || !wrapped->real.pMethods) {
            file->pMethods = nullptr;
            return rc;
        }
        wrapped->owner = self;
        wrapped->methods = *wrapped->real.pMethods;
        wrapped->methods.xClose = [](sqlite3_file* f) { return realOf(f)->pMethods->xClose(realOf(f)); };
        wrapped->methods.xRead = [](sqlite3_file* f, void* b, int n, sqlite3_int64 o) {
            return realOf(f)->pMethods->xRead(realOf(f), b, n, o);
        };
        wrapped->methods.xWrite = [](sqlite3_file* f, const void* b, int n, sqlite3_int64 o) {
            return realOf(f)->pMethods->xWrite(realOf(f), b, n, o);
        };
        wrapped->methods.xTruncate = [](sqlite3_file* f, sqlite3_int64 s) {
            return realOf(f)->pMethods->xTruncate(realOf(f), s);
        };
        wrapped->methods.xSync = [](sqlite3_file* f, int flags) {
            ++reinterpret_cast<Wrapped*>(f)->owner->m_syncs;
            return realOf(f)->pMethods->xSync(realOf(f), flags);
        };
        wrapped->methods.xFileSize = [](sqlite3_file* f, sqlite3_int64* s) {
            return realOf(f)->pMethods->xFileSize(realOf(f), s);
        };
        wrapped->methods.xLock = [](sqlite3_file* f, int l) {
            return realOf(f)->pMethods->xLock(realOf(f), l);
        };
        wrapped->methods.xUnlock = [](sqlite3_file* f, int l) {
            return realOf(f)->pMethods->xUnlock(realOf(f), l);
        };
        wrapped->methods.xCheckReservedLock = [](sqlite3_file* f, int* r) {
            return realOf(f)->pMethods->xCheckReservedLock(realOf(f), r);
        };
        wrapped->methods.xFileControl = [](sqlite3_file* f, int op, void* a) {
            return realOf(f)->pMethods->xFileControl(realOf(f), op, a);
        };
        wrapped->methods.xSectorSize = [](sqlite3_file* f) {
            return realOf(f)->pMethods->xSectorSize(realOf(f));
        };
        wrapped->methods.xDeviceCharacteristics = [](sqlite3_file* f) {
            return realOf(f)->pMethods->xDeviceCharacteristics(realOf(f));
        };
        wrapped->methods.xShmMap = [](sqlite3_file* f, int p, int s, int e, void volatile** m) {
            return realOf(f)->pMethods->xShmMap(realOf(f), p, s, e, m);
        };
        wrapped->methods.xShmLock = [](sqlite3_file* f, int o, int n, int fl) {
            return realOf(f)->pMethods->xShmLock(realOf(f), o, n, fl);
        };
        wrapped->methods.xShmBarrier = [](sqlite3_file* f) { realOf(f)->pMethods->xShmBarrier(realOf(f)); };
        wrapped->methods.xShmUnmap = [](sqlite3_file* f, int d) {
            return realOf(f)->pMethods->xShmUnmap(realOf(f), d);
        };
        wrapped->methods.xFetch = [](sqlite3_file* f, sqlite3_int64 o, int n, void** p) {
            return realOf(f)->pMethods->xFetch(realOf(f), o, n, p);
        };
        wrapped->methods.xUnfetch = [](sqlite3_file* f, sqlite3_int64 o, void* p) {
            return realOf(f)->pMethods->xUnfetch(realOf(f), o, p);
        };
        file->pMethods = &wrapped->methods;
        return SQLITE_OK;
    }

    sqlite3_vfs* m_real = nullptr;
    sqlite3_vfs m_vfs{};
    std::atomic<int> m_syncs{0};
};

} // namespace kvx::test
