#pragma once

#include "simulator/notification.h"

#include "recording/lines.h"

namespace sim {

/// What a line of a recording says about \p frame, a well-formed notification, which owns the
/// bytes.
recording::Notification LineOf(const SharedFrame& frame);

}  // namespace sim
