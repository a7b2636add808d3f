#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

/// How long a test waits for an event before it fails. Generous: it costs nothing when all is well,
/// and sanitizers on a busy machine are slow.
constexpr int eventDeadlineMs = 10000;

/// Waits for a change that no event reports, such as a file that grows.
/// \param describe  returns what was awaited and what is there instead
template <typename Condition, typename Describe>
void WaitUntil(Condition condition, Describe describe)
{
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(eventDeadlineMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("waited in vain for " + std::string(describe()));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}
