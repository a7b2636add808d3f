#pragma once

#include "simulator/service/notification.h"

#include <cstdint>
#include <memory>
#include <string>

namespace sim {

class RequestPattern;

/// One thing that a play does, whether a scenario or a recording says so.
struct Step {
    enum class Kind { Publish, WaitSubscribers, AwaitRequest, Log };

    std::int64_t atUs = 0;  ///< since the play's beginning, at rate 1
    Kind kind = Kind::Publish;
    unsigned int subscription = 0;                  ///< Publish, WaitSubscribers
    SharedFrame frame;                              ///< Publish
    std::shared_ptr<const RequestPattern> request;  ///< AwaitRequest
    std::shared_ptr<const std::string> text;        ///< Log
};

}  // namespace sim
