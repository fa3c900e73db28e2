#include "tests/support/slow_disk.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>

#include "base/pvu_semaphore.h"

// A file of ours is SQLite's own kind of file with the real one behind it.

namespace {

constexpr int kWaitMs = 10000;

struct Disk {
    sqlite3_vfs* real = nullptr;
    sqlite3_vfs vfs = {};
    std::atomic<bool> hold = false;
    std::atomic<int> write_result = SQLITE_OK;
    std::atomic<int> flush_result = SQLITE_OK;
    std::atomic<int> flushes = 0;
    CTSemaphore held;  // posted by a flush that is held up
    CTSemaphore go;
};
Disk* g_disk = nullptr;

struct File {
    sqlite3_file base;
    sqlite3_io_methods methods;
    sqlite3_file* Real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

File& Of(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

template <auto Method>
struct Forward;
template <typename... Args, int (*sqlite3_io_methods::*Method)(sqlite3_file*, Args...)>
struct Forward<Method> {
    static int Call(sqlite3_file* file, Args... args) {
        sqlite3_file* real = Of(file).Real();
        return (real->pMethods->*Method)(real, args...);
    }
};

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 at) {
    if (int result = g_disk->write_result; result != SQLITE_OK) return result;
    return Forward<&sqlite3_io_methods::xWrite>::Call(file, data, size, at);
}

int Sync(sqlite3_file* file, int flags) {
    ++g_disk->flushes;
    if (g_disk->hold) {
        g_disk->held.Post();
        g_disk->go.Wait();
    }
    if (int result = g_disk->flush_result; result != SQLITE_OK) return result;
    return Forward<&sqlite3_io_methods::xSync>::Call(file, flags);
}

int Close(sqlite3_file* file) {
    int result = Forward<&sqlite3_io_methods::xClose>::Call(file);
    file->pMethods = nullptr;
    return result;
}

template <auto Method>
void Set(sqlite3_io_methods& methods) {
    methods.*Method = Forward<Method>::Call;
}

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
    File& own = Of(file);
    memset(&own, 0, sizeof own);
    int result = g_disk->real->xOpen(g_disk->real, name, own.Real(), flags, out_flags);
    if (!own.Real()->pMethods) return result;
    own.methods.iVersion = 1;  // no shared memory: the log's index stays in the process
    Set<&sqlite3_io_methods::xRead>(own.methods);
    Set<&sqlite3_io_methods::xTruncate>(own.methods);
    Set<&sqlite3_io_methods::xFileSize>(own.methods);
    Set<&sqlite3_io_methods::xLock>(own.methods);
    Set<&sqlite3_io_methods::xUnlock>(own.methods);
    Set<&sqlite3_io_methods::xCheckReservedLock>(own.methods);
    Set<&sqlite3_io_methods::xFileControl>(own.methods);
    Set<&sqlite3_io_methods::xSectorSize>(own.methods);
    Set<&sqlite3_io_methods::xDeviceCharacteristics>(own.methods);
    own.methods.xWrite = Write;
    own.methods.xSync = Sync;
    own.methods.xClose = Close;
    file->pMethods = &own.methods;
    return result;
}

}  // namespace

SlowDisk::SlowDisk() {
    EXPECT_EQ(g_disk, nullptr);
    g_disk = new Disk;
    g_disk->real = sqlite3_vfs_find(nullptr);
    g_disk->vfs = *g_disk->real;
    g_disk->vfs.zName = "slow";
    g_disk->vfs.pNext = nullptr;
    g_disk->vfs.szOsFile += static_cast<int>(sizeof(File));
    g_disk->vfs.xOpen = Open;
    EXPECT_EQ(sqlite3_vfs_register(&g_disk->vfs, 1), SQLITE_OK);
}

SlowDisk::~SlowDisk() {
    sqlite3_vfs_unregister(&g_disk->vfs);
    sqlite3_vfs_register(g_disk->real, 1);
    delete g_disk;
    g_disk = nullptr;
}

void SlowDisk::HoldFlushes() {
    g_disk->hold = true;
}

bool SlowDisk::WaitForFlush() {
    return g_disk->held.Wait(kWaitMs) == 0;
}

void SlowDisk::LetGo() {
    g_disk->hold = false;
    g_disk->go.Post();
}

void SlowDisk::FailWrites(int result) {
    g_disk->write_result = result;
}

void SlowDisk::FailFlushes(int result) {
    g_disk->flush_result = result;
}

int SlowDisk::Flushes() {
    return g_disk->flushes;
}
