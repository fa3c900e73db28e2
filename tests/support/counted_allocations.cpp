#include "tests/support/counted_allocations.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <string>

// Of the sanitizers' runtime libraries; the compiler's own headers leave it out.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, size_t),
                                                         void (*)(const volatile void*));

namespace {

// The allocator calls this from every thread, from the first to the last of its life: no more than
// plain memory is used.
std::array<std::atomic<pid_t>, 64> g_older_threads;
std::atomic<bool> g_counts{false};
std::atomic<long> g_count{0};

bool IsOlder(pid_t thread) {
    for (const std::atomic<pid_t>& older : g_older_threads) {
        if (older == thread) return true;
    }
    return false;
}

void OnMalloc(const volatile void*, size_t) {
    if (g_counts && !IsOlder(gettid())) ++g_count;
}

void OnFree(const volatile void*) {}

}  // namespace

CountedAllocations::CountedAllocations() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree);
    static_cast<void>(installed);
    size_t n = 0;
    for (std::atomic<pid_t>& older : g_older_threads)
        older = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        if (n < g_older_threads.size()) g_older_threads[n++] = std::stoi(entry.path().filename());
    }
    g_count = 0;
    g_counts = true;
}

CountedAllocations::~CountedAllocations() {
    g_counts = false;
}

long CountedAllocations::Get() const {
    return g_count;
}
