#pragma once

#include <Item.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace sim {

/// A notification as it goes over the wire, header and record: encoded once, and the same bytes
/// for every subscriber.
using SharedFrame = std::shared_ptr<const std::vector<unsigned char>>;
using NewFrame = std::shared_ptr<std::vector<unsigned char>>;  ///< may still be changed

/// \param subscription  number that \p record is published under
/// \return null when there is no memory: publishing has no caller that could be refused
NewFrame EncodeNotification(unsigned int subscription, const Item& record);

/// Makes a malformed notification of \p good: the frame is right, its record lies about its length.
///
/// \param way  of five: a length too large, too small, the largest there is, a record cut short, a
///             record with a byte too many; higher numbers begin again
/// \return null when there is no memory
SharedFrame Spoil(const SharedFrame& good, unsigned int way);

}  // namespace sim
