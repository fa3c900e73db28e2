#include "base/pvu_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/pvu_txtoutfile.h"

namespace {

constexpr size_t kLogBufferSize = 0x10000;

CTTxtOutFile g_log_file;
char* g_log_str = nullptr;  // null while the log is closed

}  // namespace

int flog_open(const char* path) {
    if (!path) return 0;
    if (!g_log_str) g_log_str = static_cast<char*>(malloc(kLogBufferSize));
    if (!g_log_str) return 0;
    return g_log_file.Open(path, "w") ? 1 : 0;
}

int flog_printf(const char* format, ...) {
    if (!g_log_str) return 0;
    va_list args;
    va_start(args, format);
    vsnprintf(g_log_str, kLogBufferSize, format, args);
    va_end(args);
    return g_log_file.Puts(g_log_str);
}

void flog_close() {
    g_log_file.Close();
    free(g_log_str);
    g_log_str = nullptr;
}
