// Runs a fuzz target over files that exist: the corpus, or an input that once failed. For builds
// without the fuzzer.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_input.h"

// Files and folders; exit status 1 for what cannot be read, or when there is nothing.
int main(int argc, char** argv) {
    std::vector<std::filesystem::path> paths;
    for (int i = 1; i < argc; ++i) {
        std::error_code is_file;
        std::filesystem::directory_iterator folder(argv[i], is_file);
        if (is_file) paths.emplace_back(argv[i]);
        for (const auto& entry : folder)
            paths.push_back(entry.path());
    }
    if (!freopen("/dev/null", "w", stdout)) return 1;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(file), {});
        if (!file.good() && !file.eof()) return 1;
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    fprintf(stderr, "%zu inputs\n", paths.size());
    return paths.empty() ? 1 : 0;
}
