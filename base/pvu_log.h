#pragma once

// The log of the program: one plain text file, whose lines are the formatted messages as they
// are, without time stamp, level or prefix; every caller ends its message with "\n". Lines reach
// the disk when the stream's buffer fills and at flog_close.
//
// The write is serialised, the formatting into the one shared buffer is not: log from one thread
// at a time. This program logs from its main thread. No function here reports an error of its
// own.

// Opens the file, emptying an existing one; nonzero on success, 0 on failure and for null.
int flog_open(const char* path);
// The write's result (not negative on success); 0 when the log is closed. A message longer than
// 65535 characters is cut.
int flog_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Flushes and closes; harmless when closed.
void flog_close();
