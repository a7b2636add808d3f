// Runs a fuzz target with each file of its corpus: the main() of builds without the fuzzer.

#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv)
{
    Require(argc == 2, "Usage: fuzz_TARGET CORPUS_FOLDER");
    const std::filesystem::directory_iterator entries(argv[1]);
    std::vector<std::filesystem::path> files(begin(entries), end(entries));
    std::sort(files.begin(), files.end());
    Require(!files.empty(), "the corpus has no files");
    // The product's output does not belong into the test's log.
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    Require(dup2(nowhere, STDOUT_FILENO) >= 0 && dup2(nowhere, STDERR_FILENO) >= 0, "no /dev/null");
    for (const std::filesystem::path& file : files) {
        dprintf(output, "%s\n", file.filename().c_str());
        const std::string bytes = ReadWholeFile(file);
        // The buffer ends with the input, so that a sanitizer reports a read of one byte too many.
        const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    return 0;
}
