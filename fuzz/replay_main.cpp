// Runs a fuzz target over files that exist: the corpus, or an input that once failed. For builds
// without the fuzzer.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_input.h"

namespace {

bool Run(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(file), {});
    if (!file.good() && !file.eof()) return false;
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

}  // namespace

// Files and folders; exit status 1 for what cannot be read, or when there is nothing.
int main(int argc, char** argv) {
    int count = 0;
    if (!freopen("/dev/null", "w", stdout)) return 1;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            if (!Run(argv[i])) return 1;
            ++count;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            if (!Run(entry.path())) return 1;
            ++count;
        }
    }
    fprintf(stderr, "%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
