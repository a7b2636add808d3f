#pragma once

#include <Item.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace sim {

/// A notification on the wire, header and record: encoded once for all subscribers.
using SharedFrame = std::shared_ptr<const std::vector<unsigned char>>;
using NewFrame = std::shared_ptr<std::vector<unsigned char>>;  ///< may still be changed

/// \param subscription  number that \p record is published under
/// \return null when there is no memory: no request waits for a publication
NewFrame EncodeNotification(unsigned int subscription, const Item& record);

/// Makes a malformed copy of \p good in one of five ways: with a wrong length inside the record
/// (one more, one less, the largest), or with one byte less or more than the record has. The frame
/// header is right. \return null when there is no memory
SharedFrame Spoil(const SharedFrame& good, unsigned int way);

}  // namespace sim
