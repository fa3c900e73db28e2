#include "base/pvu_assert.h"

#include <assert.h>

#include "base/pvu_stdout.h"

void pvu_assert_fail(const char* expression, const char* file, int line, const char* function) {
    pvu_stdout_end();  // what was printed before is wanted most now
    __assert_fail(expression, file, static_cast<unsigned>(line), function);
}
