// Preloaded into a program: its allocations MEMORY_FIRST to MEMORY_LAST fail. The file MEMORY_TRACE
// gets the stack of each of them, and at the program's end the number of all allocations.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* old, std::size_t size);

namespace {

std::atomic<unsigned long> allocations{0};
unsigned long first = 1;
unsigned long last = 0;
int trace = -1;  // the libraries initialise themselves first

__attribute__((constructor)) void Prepare()
{
    void* frame;
    backtrace(&frame, 1);  // the first call allocates
    first = std::strtoul(std::getenv("MEMORY_FIRST"), nullptr, 10);
    last = std::strtoul(std::getenv("MEMORY_LAST"), nullptr, 10);
    trace = open(std::getenv("MEMORY_TRACE"), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

__attribute__((destructor)) void ReportCount() { dprintf(trace, "%lu\n", allocations.load()); }

bool MustFail()
{
    const unsigned long number = trace < 0 ? 0 : ++allocations;
    if (number < first || number > last) {
        return false;
    }
    void* frames[48];
    write(trace, "(INJECTED)\n", 11);
    backtrace_symbols_fd(frames, backtrace(frames, 48), trace);
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return MustFail() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t n, std::size_t size)
{
    return MustFail() ? nullptr : __libc_calloc(n, size);
}
void* realloc(void* old, std::size_t size)
{
    return MustFail() ? nullptr : __libc_realloc(old, size);
}
}
