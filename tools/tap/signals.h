#pragma once

#include <cstdint>

namespace tap {

/// From now on SIGINT, SIGTERM and SIGHUP (unless it was ignored) ask for the end. They interrupt a
/// call that waits, at once and then each second, so that a call which begins to wait later ends
/// too. Writing to a closed pipe or beyond a limit is an error instead of a signal.
void CatchSignals();

bool IsEndRequested();

/// Interrupts calls that wait from then on, each second.
void InterruptAfter(std::int64_t us);

}  // namespace tap
