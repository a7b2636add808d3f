#pragma once

#include <string>
#include <sys/types.h>

/// Descriptors that the process has open.
int CountDescriptors(pid_t pid);

/// Memory of the process that is in use now.
long ResidentKilobytes(pid_t pid);

/// Processor time of the process so far, of all its threads.
long ProcessorMilliseconds(pid_t pid);

/// Descriptors above standard error that a program started by the process would inherit: those that
/// it has inherited itself, unless it makes some.
std::string InheritableDescriptors(pid_t pid);

/// Raises the limit of this process, and of those that it starts from then on.
void AllowManyDescriptors();
