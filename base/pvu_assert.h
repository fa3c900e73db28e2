#pragma once

// Assertions of the packet and protocol libraries.
//
// They guard against misuse by our own code (an unattached view, a null argument), never against
// input, and they stay on in release builds. The text that a failed one prints is part of the
// interface: expression, source file and line are literals, so that a log line written by one
// version can be searched for in another; only the operation's signature comes from the compiler.

// Writes out what standard output holds, prints "PROGRAM: FILE:LINE: FUNCTION: Assertion
// `EXPRESSION' failed." to standard error and aborts the process.
[[noreturn]] void pvu_assert_fail(const char* expression, const char* file, int line,
                                  const char* function);

#define PVU_ASSERT_IN(condition, expression, file, line, function) \
    (static_cast<bool>(condition) ? static_cast<void>(0)           \
                                  : pvu_assert_fail(expression, file, line, function))

#define PVU_ASSERT(condition, expression, file, line) \
    PVU_ASSERT_IN(condition, expression, file, line, __PRETTY_FUNCTION__)
