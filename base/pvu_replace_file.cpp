#include "base/pvu_replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr int kMaxLinks = 40;  // as many as the kernel follows

bool WriteAll(int fd, const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = write(fd, at, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        at += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Writes, flushes and closes; a close can report the write's failure too.
bool WriteAndClose(int fd, const void* data, size_t size) {
    bool written = WriteAll(fd, data, size) && fsync(fd) == 0;
    return close(fd) == 0 && written;
}

bool WriteInPlace(const char* path, const void* data, size_t size) {
    bool existed = access(path, F_OK) == 0;
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kOwnerOnly);
    if (fd < 0) return false;
    if (!existed) fchmod(fd, kOwnerOnly);
    // Not every file that can be written can be flushed (a pipe, a terminal).
    bool written = WriteAll(fd, data, size) && (fsync(fd) == 0 || errno == EINVAL);
    return close(fd) == 0 && written;
}

// Whether the failure speaks of the folder and not of the content or the disk.
bool FolderRefuses(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY ||
           error == EXDEV ||
           error == ENAMETOOLONG;  // the name beside is longer than the file's own
}

// Where the links of the last component lead, also when nothing is there yet.
std::string FollowLinks(const char* path) {
    std::error_code error;
    std::filesystem::path target = path;
    for (int i = 0; i < kMaxLinks && std::filesystem::is_symlink(target, error); ++i)
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    return target;
}

}  // namespace

int pvu_replace_file(const char* path, const void* data, size_t size) {
    if (!path || !data) return 0;
    struct stat old;
    bool existed = stat(path, &old) == 0;
    // A device or a pipe is written to, never replaced.
    if (existed && !S_ISREG(old.st_mode)) return WriteInPlace(path, data, size) ? 1 : 0;

    std::string target = FollowLinks(path);
    std::string beside = target + ".XXXXXX";
    int fd = mkostemp(beside.data(), O_CLOEXEC);
    if (fd < 0) {
        return FolderRefuses(errno) && WriteInPlace(target.c_str(), data, size) ? 1 : 0;
    }
    // Best effort: only root may give a file away.
    if (existed && fchown(fd, old.st_uid, old.st_gid) != 0) errno = 0;
    bool written = fchmod(fd, kOwnerOnly) == 0;
    written = WriteAndClose(fd, data, size) && written;
    if (written && rename(beside.c_str(), target.c_str()) == 0) return 1;
    int error = errno;
    unlink(beside.c_str());
    errno = error;
    if (!written || !FolderRefuses(error)) return 0;
    return WriteInPlace(target.c_str(), data, size) ? 1 : 0;
}
