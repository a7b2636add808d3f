#pragma once

#include <cstddef>
#include <string>

namespace sim {

/// Reads the whole file \p path, which must not be longer than \p limit bytes.
/// \return false with the reason, without the path, in \p problem
bool ReadFileContents(const std::string& path, std::size_t limit, std::string& contents,
                      std::string& problem);

}  // namespace sim
