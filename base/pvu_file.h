#pragma once

#include <cstdarg>
#include <cstdio>

// A buffered file stream. Null-safe: an operation on a closed file returns the value given beside
// it and touches nothing. One thread at a time.
class CTFile {
  public:
    CTFile() = default;
    ~CTFile() { Close(); }
    CTFile(const CTFile&) = delete;
    CTFile& operator=(const CTFile&) = delete;

    // Opens with the standard mode string, after closing a stream that is still open; whether a
    // stream was obtained.
    bool Open(const char* path, const char* mode);
    // Flushes and closes; harmless when closed.
    void Close();
    bool IsOpen() const { return m_file != nullptr; }

    // Elements written / read; 0 when closed or for a null buffer.
    int Write(const void* buf, int size, int count);
    int Read(void* buf, int size, int count);
    // Bytes written / read; 0 when closed or for a null buffer.
    int Write(const void* buf, int len) { return Write(buf, 1, len); }
    int Read(void* buf, int len) { return Read(buf, 1, len); }

    // Precondition of Eof and Tell: the file is open.
    bool Eof() { return feof(m_file) != 0; }
    long Tell() { return ftell(m_file); }
    void Rewind();
    // The seek's result, 0 on success; 0 when closed.
    int Seek(long off, int whence);
    int SeekFromHead(long off) { return Seek(off, SEEK_SET); }
    int SeekFromTail(long off) { return Seek(off, SEEK_END); }
    int SeekFromCurrent(long off) { return Seek(off, SEEK_CUR); }
    // 0 on success; -1 when closed.
    int Flush();

    static bool IsFileExist(const char* path);
    // Write (mode "w+") or read (mode "r") a whole file; bytes done, 0 if the open failed.
    static int WriteFile(const char* path, const void* buf, int len);
    static int ReadFile(const char* path, void* buf, int len);

  protected:
    FILE* m_file = nullptr;
};

// A file of text lines.
class CTTxtFile : public CTFile {
  public:
    // One line of at most n-1 characters, newline kept; null at the end, when closed or for a
    // null buffer.
    char* Gets(char* buf, int n);
    // The next character; -1 at the end or when closed.
    int Getc();
    // Writes the text without a newline; the stream's result, 0 when closed or for null.
    int Puts(const char* s);
    // The character written; -1 when closed.
    int Putc(int c);
    // The plain text, not used as a format: -1 when closed, 0 for null, otherwise Puts.
    int Printf(const char* s);
    // Formatted; the character count. Precondition: the file is open. (A template, so that a call
    // with one text prefers the plain form.)
    template <typename = void>
    __attribute__((format(printf, 2, 3))) int Printf(const char* format, ...) {
        va_list args;
        va_start(args, format);
        int result = vfprintf(m_file, format, args);
        va_end(args);
        return result;
    }
};
