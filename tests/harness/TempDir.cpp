#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

TempDir::TempDir()
{
    // Short and not below the build folder: a socket address holds 107 characters.
    std::string pattern = (std::filesystem::temp_directory_path() / "subtitle-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a temporary folder " + pattern);
    }
    path = pattern;
}

TempDir::~TempDir()
{
    if (testing::Test::HasFailure()) {
        std::cout << "The test's files are kept in " << path << std::endl;
        return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string ReadWholeFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void WriteWholeFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}
