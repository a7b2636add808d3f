#pragma once

/// How long a test waits for an event before it fails. Generous: it costs nothing when all is well,
/// and sanitizers on a busy machine are slow.
constexpr int eventDeadlineMs = 10000;
