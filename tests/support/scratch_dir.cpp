#include "tests/support/scratch_dir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

ScratchDir::ScratchDir() : m_path((std::filesystem::temp_directory_path() / "tamvo.XXXXXX")) {
    if (!mkdtemp(m_path.data())) ADD_FAILURE() << "no scratch folder " << m_path;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}
