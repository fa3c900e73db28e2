#include "base/pvu_fileop.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

namespace {

constexpr mode_t kDirMode = 0755;

}  // namespace

bool check_file_exist(const char* path) {
    return path && access(path, F_OK) == 0;
}

int get_file_length(const char* path) {
    if (!path) return 0;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        printf("Error opening file\n");
        return 0;
    }
    struct stat status;
    int result = fstat(fd, &status);
    close(fd);
    if (result != 0) {
        printf("Error getting file status");
        return 0;
    }
    printf("File size: %lld bytes\n", static_cast<long long>(status.st_size));
    return static_cast<int>(status.st_size);
}

int get_exe_file_dir(char* buf, int size) {
    if (!buf || size < 1) return 1;
    char path[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length < 0) {
        printf("Get Current program path failed\n");
        return 1;
    }
    path[length] = '\0';
    char* slash = strrchr(path, '/');
    if (!slash) return 1;
    slash[1] = '\0';
    snprintf(buf, static_cast<size_t>(size), "%s", path);
    return 0;
}

int create_dir(const char* path) {
    char prefix[PATH_MAX];
    if (!path || strlen(path) >= sizeof prefix) return 1;
    size_t length = strlen(path);
    memcpy(prefix, path, length + 1);
    for (size_t i = 1; i < length; ++i) {
        if (prefix[i] != '/') continue;
        prefix[i] = '\0';
        if (!check_file_exist(prefix) && mkdir(prefix, kDirMode) != 0) {
            printf("mkdir   error\n");
            return 1;
        }
        prefix[i] = '/';
    }
    return 0;
}

int get_current_dir(char* buf, int size) {
    if (!buf || size < 1) return 1;
    return getcwd(buf, static_cast<size_t>(size)) ? 0 : 1;
}
