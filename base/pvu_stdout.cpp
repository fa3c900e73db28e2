#include "base/pvu_stdout.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <new>

#include "base/pvu_output.h"

namespace {

constexpr int kEndMs = 1000;

// Never destroyed once its writer runs: one that is stuck in the system at the end outlives main.
std::atomic<CTOutput*> g_output{nullptr};

// A closed standard output stays one that refuses text, so that its lines count as left out.
void TakeClosedDescriptors() {
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) >= 0) continue;
        // Takes the lowest number that is free: this one.
        [[maybe_unused]] int taken = open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
}

ssize_t WriteCookie(void* output, const char* text, size_t length) {
    static_cast<CTOutput*>(output)->Write(text, length);
    return static_cast<ssize_t>(length);
}

}  // namespace

bool pvu_stdout_start() {
    TakeClosedDescriptors();
    signal(SIGPIPE, SIG_IGN);
    fflush(stdout);
    std::unique_ptr<CTOutput> output(new (std::nothrow) CTOutput(STDOUT_FILENO));
    if (!output || !output->Start()) return false;
    FILE* stream = fopencookie(output.get(), "w", {nullptr, WriteCookie, nullptr, nullptr});
    if (!stream) {
        output->End(kEndMs);
        return false;
    }
    setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
    stdout = stream;
    g_output = output.release();
    return true;
}

void pvu_stdout_end() {
    CTOutput* output = g_output;
    if (!output) return;
    fflush(stdout);
    output->End(kEndMs);
}

uint64_t pvu_stdout_left_out() {
    CTOutput* output = g_output;
    return output ? output->GetLeftOut() : 0;
}

void pvu_stdout_signal(int sig) {
    if (CTOutput* output = g_output) {
        output->WriteSignal(sig);
        return;
    }
    CTOutput::SignalText text;
    size_t length = CTOutput::FormatSignal(sig, text);
    [[maybe_unused]] ssize_t written = write(STDOUT_FILENO, text.data(), length);
}
