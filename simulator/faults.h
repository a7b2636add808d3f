#pragma once

namespace sim {

/// What the service does wrong on purpose.
struct Faults {
    bool refuseSubscribe = false;
    bool refuseRefresh = false;
    bool refuseSensor = false;
    bool mute = false;     ///< takes requests in and never answers
    bool hangUp = false;   ///< closes the connection instead of answering
    bool garbage = false;  ///< malformed notifications between the good ones
};

}  // namespace sim
