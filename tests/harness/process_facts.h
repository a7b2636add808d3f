#pragma once

#include <string>
#include <sys/types.h>

/// Number of open descriptors of the process.
int CountDescriptors(pid_t pid);

/// Resident memory of the process now.
long ResidentKilobytes(pid_t pid);

/// Processor time of all threads of the process up to now.
long ProcessorMilliseconds(pid_t pid);

/// Descriptors above standard error that a child program of the process would inherit. A process
/// that makes no such descriptors has only those that it inherited itself.
std::string InheritableDescriptors(pid_t pid);

/// Raises the limit of this process and of the processes that it starts later.
void AllowManyDescriptors();
