#include "base/pvu_txtoutfile.h"

int CTTxtOutFile::Puts(const char* s) {
    CTMutexGuard guard(m_mutex);
    return m_file && s ? fputs(s, m_file) : 0;
}

int CTTxtOutFile::Putc(int c) {
    CTMutexGuard guard(m_mutex);
    return m_file ? fputc(c, m_file) : -1;
}

int CTTxtOutFile::Printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    CTMutexGuard guard(m_mutex);
    int result = vfprintf(m_file, format, args);
    va_end(args);
    return result;
}
