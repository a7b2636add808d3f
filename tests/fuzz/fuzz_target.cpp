#include "tests/fuzz/fuzz_target.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <unistd.h>

// Coverage counters in the fuzzer's build; null in every other build.
extern "C" {
[[gnu::weak, gnu::visibility("hidden")]] extern unsigned char __start___sancov_cntrs[];
[[gnu::weak, gnu::visibility("hidden")]] extern unsigned char __stop___sancov_cntrs[];

/// Each log entry has it, and its number of digits changes the coverage.
pid_t __wrap_getpid() { return 4711; }
}

namespace {

/// The original standard error. The product writes to descriptor 2, which is silenced.
const int loudErrors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);

void Say(const std::string& text)
{
    if (write(loudErrors, text.data(), text.size()) < 0) {
        std::abort();
    }
}

std::string Shown(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string shown;
    for (const char c : text) {
        const unsigned int byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F) {
            shown += c;
        } else {
            shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return shown;
}

class Scratch {
public:
    Scratch()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-XXXXXX").string();
        Require(mkdtemp(pattern.data()) != nullptr, "cannot make a temporary folder");
        path = pattern;
    }
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    std::string path;
};

}  // namespace

void Require(bool holds, const char* text)
{
    if (!holds) {
        Say(std::string("\nfound: ") + text + "\n");
        std::abort();
    }
}

void RequireEqual(const std::string& actual, const std::string& expected, const char* text)
{
    if (actual != expected) {
        std::size_t at = 0;
        while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) {
            ++at;
        }
        const std::size_t from = at < 40 ? 0 : at - 40;
        Say("\nfound: " + std::string(text) + "; from byte " + std::to_string(from) +
            "\n  actual:   " + Shown(actual.substr(from, 120)) +
            "\n  expected: " + Shown(expected.substr(from, 120)) + "\n");
        std::abort();
    }
}

const std::string& ScratchFolder()
{
    static const Scratch scratch;
    return scratch.path;
}

void ForgetCoverage()
{
    static const bool isRepeatable = std::getenv("FUZZ_REPEATABLE") != nullptr;
    if (isRepeatable) {
        std::fill(__start___sancov_cntrs, __stop___sancov_cntrs, static_cast<unsigned char>(0));
    }
}
