#pragma once

#include <Item.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace sim {

/// A notification as it goes over the wire, header and record: encoded once, and the same bytes
/// for every subscriber.
using SharedFrame = std::shared_ptr<const std::vector<unsigned char>>;

/// One that is still to be filled.
using NewFrame = std::shared_ptr<std::vector<unsigned char>>;

/// \return null when there is no memory: publishing has no caller that could be refused
NewFrame MakeFrame(std::size_t size);

/// \param subscription  number that it is published under
/// \param itemId        message number of the record
/// \return null when there is no memory
NewFrame EncodeNotification(unsigned int subscription, unsigned int itemId, const Item& record);

}  // namespace sim
