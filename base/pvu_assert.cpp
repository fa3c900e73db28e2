#include "base/pvu_assert.h"

#include <assert.h>

void pvu_assert_fail(const char* expression, const char* file, int line, const char* function) {
    __assert_fail(expression, file, static_cast<unsigned>(line), function);
}
