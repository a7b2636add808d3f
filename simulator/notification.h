#pragma once

#include <Item.h>

#include <memory>
#include <vector>

namespace sim {

/// A notification as it goes over the wire, header and record: encoded once, and the same bytes
/// for every subscriber.
using SharedFrame = std::shared_ptr<const std::vector<unsigned char>>;

/// \param subscription  number that it is published under
/// \param itemId        message number of the record
SharedFrame EncodeNotification(unsigned int subscription, unsigned int itemId, const Item& record);

}  // namespace sim
