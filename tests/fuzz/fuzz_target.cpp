#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

// Coverage counters in the fuzzer's build; null in every other build.
extern "C" {
[[gnu::weak, gnu::visibility("hidden")]] extern unsigned char __start___sancov_cntrs[];
[[gnu::weak, gnu::visibility("hidden")]] extern unsigned char __stop___sancov_cntrs[];

/// Each log entry has it, and its number of digits changes the coverage.
pid_t __wrap_getpid() { return 4711; }
}

/// The original standard error. The product writes to descriptor 2, which is silenced.
static const int loudErrors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);

void Require(bool holds, const char* text)
{
    if (!holds) {
        dprintf(loudErrors, "\nfound: %s\n", text);
        std::abort();
    }
}

bool IsPlain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

const TempDir& Scratch()
{
    static const TempDir folder;
    return folder;
}

void ForgetCoverage()
{
    static const bool isRepeatable = std::getenv("FUZZ_REPEATABLE") != nullptr;
    if (isRepeatable) {
        std::fill(__start___sancov_cntrs, __stop___sancov_cntrs, static_cast<unsigned char>(0));
    }
}
