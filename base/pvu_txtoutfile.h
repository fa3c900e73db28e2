#pragma once

#include "base/pvu_file.h"
#include "base/pvu_mutex.h"
#include "base/pvu_thread_safety.h"

// A text output file that several threads may write: each operation holds the mutex around its
// one stream call, so that lines never interleave.
class CTTxtOutFile : public CTFile {
  public:
    // Writes the text without a newline; the stream's result (not negative on success), 0 when
    // closed or for null.
    int Puts(const char* s);
    // The character written; -1 when closed.
    int Putc(int c);
    // Formatted straight to the stream; the character count. Precondition: the file is open.
    int Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  private:
    CTMutex m_mutex;
};
