// Preloaded into a program: allocation number MEMORY_FAIL_AT fails; with MEMORY_LASTING=1 all that
// follow fail too. The file MEMORY_REPORT gets the number of allocations, the number of those
// before main, and the stack of the failed allocation as addresses for addr2line.

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
}

using Main = int (*)(int argc, char** argv, char** environment);

namespace {

unsigned long failAt = 0;
bool isLasting = false;
bool isReady = false;
const char* reportPath = nullptr;
unsigned long allocations = 0;  // changed atomically: the client has two threads
unsigned long beforeMain = 0;
Main programsMain = nullptr;
thread_local bool isReporting = false;

int OpenReport() { return open(reportPath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600); }

/// The stack of the failure: for each frame its file and the address in the file.
void ReportPlace()
{
    isReporting = true;
    void* frames[48];
    const int count = backtrace(frames, 48);
    const int report = OpenReport();
    for (int i = 2; i < count; ++i) {
        Dl_info info{};
        if (dladdr(frames[i], &info) != 0 && info.dli_fname) {
            const auto offset =
                static_cast<const char*>(frames[i]) - static_cast<const char*>(info.dli_fbase);
            dprintf(report, "%s %lx\n", info.dli_fname, static_cast<unsigned long>(offset) - 1);
        }
    }
    close(report);
    isReporting = false;
}

bool MustFail()
{
    if (!isReady || isReporting) {
        return false;
    }
    const unsigned long number = __atomic_add_fetch(&allocations, 1, __ATOMIC_RELAXED);
    if (failAt == 0 || number < failAt || (number > failAt && !isLasting)) {
        return false;
    }
    if (number == failAt && reportPath) {
        ReportPlace();
    }
    errno = ENOMEM;
    return true;
}

/// Counting begins with the program's own initialisation, after that of its libraries.
__attribute__((constructor)) void Prepare()
{
    void* frame;
    backtrace(&frame, 1);  // the first call allocates
    const char* at = std::getenv("MEMORY_FAIL_AT");
    failAt = at ? std::strtoul(at, nullptr, 10) : 0;
    isLasting = std::getenv("MEMORY_LASTING") != nullptr;
    reportPath = std::getenv("MEMORY_REPORT");
    isReady = true;
}

__attribute__((destructor)) void ReportCount()
{
    if (reportPath) {
        isReady = false;
        const int report = OpenReport();
        dprintf(report, "allocations %lu %lu\n", allocations, beforeMain);
        close(report);
    }
}

int CountedMain(int argc, char** argv, char** environment)
{
    beforeMain = allocations;
    return programsMain(argc, argv, environment);
}

}  // namespace

extern "C" {

/// The C runtime calls this function, which initialises the program and calls main.
int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stackEnd)
{
    programsMain = main;
    const auto real =
        reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return real(CountedMain, argc, argv, init, fini, loaderFini, stackEnd);
}

void* malloc(std::size_t size) { return MustFail() ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size)
{
    return MustFail() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size)
{
    return MustFail() ? nullptr : __libc_realloc(old, size);
}
}
