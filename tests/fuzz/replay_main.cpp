// Runs a fuzz target with each file of its corpus: the main() of builds without the fuzzer.

#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <vector>

namespace {

/// Removes the product's output from the test's log.
void Silence(int fd)
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    Require(nowhere >= 0 && dup2(nowhere, fd) == fd, "no /dev/null");
    close(nowhere);
}

std::vector<std::filesystem::path> FilesIn(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    std::vector<std::filesystem::path> files(begin(entries), end(entries));
    std::sort(files.begin(), files.end());
    return files;
}

void Run(const std::filesystem::path& file)
{
    const std::string bytes = ReadWholeFile(file);
    // The buffer ends with the input, so that a sanitizer reports a read of one byte too many.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv)
{
    Require(argc == 2, "Usage: fuzz_TARGET CORPUS_FOLDER");
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    const std::vector<std::filesystem::path> files = FilesIn(argv[1]);
    Require(!files.empty(), "the corpus has no files");
    Silence(STDOUT_FILENO);
    Silence(STDERR_FILENO);
    for (const std::filesystem::path& file : files) {
        const std::string line = file.filename().string() + "\n";
        Require(write(output, line.data(), line.size()) > 0, "standard output cannot be written");
        Run(file);
    }
    return 0;
}
