// Runs a fuzz target with each file of its corpus: the fuzzer's main() in builds without it.

#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace {

/// What the product prints is not for the reader of the test.
void Silence(int fd)
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    Require(nowhere >= 0 && dup2(nowhere, fd) == fd, "no /dev/null");
    close(nowhere);
}

std::vector<std::filesystem::path> FilesIn(const char* folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Run(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    const std::string bytes = content.str();
    // Exactly as long as the input, so that a sanitizer sees the first byte read too much.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "Usage: " << argv[0] << " CORPUS_FOLDER" << std::endl;
        return 2;
    }
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    const std::vector<std::filesystem::path> files = FilesIn(argv[1]);
    Require(!files.empty(), "a corpus without files");
    Silence(STDOUT_FILENO);
    Silence(STDERR_FILENO);
    for (const std::filesystem::path& file : files) {
        const std::string line = file.filename().string() + "\n";
        Require(write(output, line.data(), line.size()) > 0, "standard output cannot be written");
        Run(file);
    }
    return 0;
}
