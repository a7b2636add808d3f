#include "bench/memory.h"

#include <fstream>
#include <malloc.h>
#include <string>

void ForgetPeakMemory()
{
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
}

unsigned int PeakMemoryKiB(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        unsigned int kib = 0;
        if (word == "VmHWM:" && status >> kib) {
            return kib;
        }
    }
    return 0;
}
