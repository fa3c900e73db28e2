#include "base/pvu_debug.h"

#include <cstring>

namespace {

constexpr size_t kTitleMax = 256;

int t_debug_level = 2;
char t_debug_title[kTitleMax + 1] = "[tamvo]";

}  // namespace

int pvu_get_debug_level() {
    return t_debug_level;
}

int pvu_set_debug_level(int level) {
    t_debug_level = level;
    return t_debug_level;
}

char* pvu_get_debug_title() {
    return t_debug_title;
}

void pvu_set_debug_title(const char* title) {
    if (!title) return;
    size_t length = strlen(title);
    if (length == 0 || length > kTitleMax) return;
    memcpy(t_debug_title, title, length + 1);
}
