#pragma once

namespace sim {

/// What an open file is used for. Many may read a file, or one may record in it.
enum class Use { Reads, Records };

/// Claims a regular file until the last descriptor of it is closed, for this service and others:
/// a recording empties its file, and a play of it would never end.
/// \return false when the file is claimed for the other use
bool Claim(int fd, Use use);

}  // namespace sim
