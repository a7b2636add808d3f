#pragma once

#include "simulator/service/notification.h"

#include "recording/lines.h"

namespace sim {

/// What a line of a recording says about \p frame, a well-formed notification, which owns the
/// bytes.
recording::Notification LineOf(const SharedFrame& frame);

/// The notification that \p line tells of, which must be playable. \return null when there is no
/// memory
SharedFrame FrameOf(const recording::Notification& line);

/// \return why \p line cannot be played; null when it can
const char* ReasonAgainst(const recording::Notification& line);

}  // namespace sim
