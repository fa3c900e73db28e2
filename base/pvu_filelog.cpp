#include "base/pvu_filelog.h"

#include <cstdarg>

namespace {

constexpr size_t kLineSize = 2048;

}  // namespace

CTFilelog CTFilelog::m_flog;

CTFilelog* CTFilelog::GetInstance() {
    return &m_flog;
}

bool CTFilelog::Open(const char* path) {
    if (!path) return false;
    Close();
    m_file = fopen(path, "w");
    return m_file != nullptr;
}

void CTFilelog::Close() {
    if (!m_file) return;
    fflush(m_file);
    fclose(m_file);
    m_file = nullptr;
}

int CTFilelog::Print(const char* s) {
    return m_file && s ? fputs(s, m_file) : 0;
}

bool pvu_flog_Open(const char* path) {
    return CTFilelog::GetInstance()->Open(path);
}

int pvu_flog_print(const char* format, ...) {
    char line[kLineSize];
    va_list args;
    va_start(args, format);
    int length = vsnprintf(line, sizeof line, format, args);
    va_end(args);
    return length > 0 ? CTFilelog::GetInstance()->Print(line) : length;
}

void pvu_flog_close() {
    CTFilelog::GetInstance()->Close();
}
