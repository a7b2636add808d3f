#pragma once

#include <cstdint>

namespace tap {

/// From now on SIGINT, SIGTERM and SIGHUP (unless it was ignored) ask for the end and interrupt a
/// call that waits, once at first and then each second, so that none of them is missed. Writing
/// to a closed pipe or beyond a limit is an error instead of a signal.
void CatchSignals();

bool IsEndRequested();

/// Interrupts calls that wait from then on, each second.
void InterruptAfter(std::int64_t us);

}  // namespace tap
