#pragma once

#include <cstddef>

namespace platform {

/// The encoded size of a record with \p bytes behind a prefix. One that does not fit 32 bits says the
/// largest size, which no message has: a wrapped sum would look small enough to be encoded.
unsigned int RecordSize(unsigned int prefix, std::size_t bytes);

}  // namespace platform
