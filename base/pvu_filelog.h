#pragma once

#include <cstdio>

// The utility library's second, simpler file log; no lock at all. The program itself writes
// through flog_printf.
class CTFilelog {
  public:
    static CTFilelog* GetInstance();

    ~CTFilelog() { Close(); }
    CTFilelog(const CTFilelog&) = delete;
    CTFilelog& operator=(const CTFilelog&) = delete;

    // Opens with mode "w", after closing a stream that is still open; false on failure, and for
    // null, which changes nothing.
    bool Open(const char* path);
    // Flushes and closes; harmless when closed.
    void Close();
    // Writes the text as it is; the stream's result, 0 when closed or for null.
    int Print(const char* s);

  private:
    CTFilelog() = default;

    static CTFilelog m_flog;

    FILE* m_file = nullptr;
};

// The same on the single instance. A formatted text longer than 2047 characters is cut; an empty
// one is not written, and the formatter's result is returned instead of the write's.
bool pvu_flog_Open(const char* path);
int pvu_flog_print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void pvu_flog_close();
