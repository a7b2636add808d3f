#pragma once

#include <cstddef>
#include <string>

namespace words {

/// Reads the whole file \p path, which must not be longer than \p limit bytes. Refuses devices and
/// pipes, which may have no end.
///
/// \return false with the reason, without the path, in \p problem
bool ReadFile(const std::string& path, std::size_t limit, std::string& contents,
              std::string& problem);

}  // namespace words
