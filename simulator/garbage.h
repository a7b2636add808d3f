#pragma once

#include "simulator/notification.h"

namespace sim {

/// Makes malformed notifications: frames that are right, with records that lie about their length.
class GarbageMaker {
public:
    /// A spoiled copy of \p good, another way each time: a length too large, too small, the largest
    /// there is, a record cut short, a record with a byte too many.
    /// \return null when there is no memory
    SharedFrame Spoil(const SharedFrame& good);

private:
    unsigned int turn = 0;
};

}  // namespace sim
