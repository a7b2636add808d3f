#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

/// How long a test waits for an event before it fails. The limit is long, because sanitizers on a
/// busy machine are slow, and a test that passes does not wait so long.
constexpr int eventDeadlineMs = 20000;

/// Polls for a change that no event reports, such as a growing file.
/// \param describe  returns a text with the expected and the actual state
template <typename Condition, typename Describe>
void WaitUntil(Condition condition, Describe describe)
{
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(eventDeadlineMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("timed out while waiting for " + std::string(describe()));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}
