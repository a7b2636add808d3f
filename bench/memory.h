#pragma once

#include <sys/types.h>

/// Forgets the peak of this process's memory so far, and gives back what is free.
void ForgetPeakMemory();

/// Peak of the memory that the process \p pid had in use, in KiB; 0 when it is not known.
unsigned int PeakMemoryKiB(pid_t pid);
