#include "base/pvu_file.h"

#include "base/pvu_fileop.h"

bool CTFile::Open(const char* path, const char* mode) {
    Close();
    if (!path || !mode) return false;
    m_file = fopen(path, mode);
    return m_file != nullptr;
}

void CTFile::Close() {
    if (!m_file) return;
    fflush(m_file);
    fclose(m_file);
    m_file = nullptr;
}

int CTFile::Write(const void* buf, int size, int count) {
    if (!m_file || !buf || size < 1 || count < 1) return 0;
    return static_cast<int>(
        fwrite(buf, static_cast<size_t>(size), static_cast<size_t>(count), m_file));
}

int CTFile::Read(void* buf, int size, int count) {
    if (!m_file || !buf || size < 1 || count < 1) return 0;
    return static_cast<int>(
        fread(buf, static_cast<size_t>(size), static_cast<size_t>(count), m_file));
}

void CTFile::Rewind() {
    if (m_file) rewind(m_file);
}

int CTFile::Seek(long off, int whence) {
    return m_file ? fseek(m_file, off, whence) : 0;
}

int CTFile::Flush() {
    return m_file ? fflush(m_file) : -1;
}

bool CTFile::IsFileExist(const char* path) {
    return check_file_exist(path);
}

int CTFile::WriteFile(const char* path, const void* buf, int len) {
    CTFile file;
    return file.Open(path, "w+") ? file.Write(buf, len) : 0;
}

int CTFile::ReadFile(const char* path, void* buf, int len) {
    CTFile file;
    return file.Open(path, "r") ? file.Read(buf, len) : 0;
}

char* CTTxtFile::Gets(char* buf, int n) {
    return m_file && buf ? fgets(buf, n, m_file) : nullptr;
}

int CTTxtFile::Getc() {
    return m_file ? fgetc(m_file) : -1;
}

int CTTxtFile::Puts(const char* s) {
    return m_file && s ? fputs(s, m_file) : 0;
}

int CTTxtFile::Putc(int c) {
    return m_file ? fputc(c, m_file) : -1;
}

int CTTxtFile::Printf(const char* s) {
    if (!m_file) return -1;
    return s ? Puts(s) : 0;
}
