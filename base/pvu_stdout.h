#pragma once

#include <cstdint>

// Standard output of a program that must not wait for whoever reads it. Between start and end what
// stdio prints goes through a CTOutput: each line appears at once and in its order for a reader
// that keeps up, and nothing waits for one that does not.
//
// Only the two programs' mains call start and end; a process that never does, as those of the
// tests, prints as ever.

// Before the program opens anything and after its last fork: SIGPIPE is ignored from now on, and of
// the descriptors 0 to 2 those that are closed are taken, so that no socket or file comes to stand
// where text is written. False, with standard output as it was, when there is no memory or thread.
bool pvu_stdout_start();
// Writes out what was printed, for at most a second; harmless without a start. Any thread, also
// before an abort. Whatever is printed afterwards is lost if the reader did not keep up.
void pvu_stdout_end();
// Lines that were left out, as the reader was slow or gone. Any thread; 0 without a start.
uint64_t pvu_stdout_left_out();
// Prints "\n\nSignal N received, preparing to exit...\n" behind what was printed before. Safe in a
// signal handler.
void pvu_stdout_signal(int sig);

// Ends standard output with the scope.
class CTStdoutEnd {
  public:
    CTStdoutEnd() = default;
    ~CTStdoutEnd() { pvu_stdout_end(); }
    CTStdoutEnd(const CTStdoutEnd&) = delete;
    CTStdoutEnd& operator=(const CTStdoutEnd&) = delete;
};
