#pragma once

#include <sys/types.h>

/// Resets the peak of this process's memory and returns free memory to the system.
void ForgetPeakMemory();

/// Peak of the memory that the process \p pid had in use, in KiB; 0 when it is not known.
unsigned int PeakMemoryKiB(pid_t pid);
