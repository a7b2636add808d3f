#pragma once

#include "view/picture.h"

#include <string>

namespace view {

/// A picture as lines of at most 80 half blocks, two pixels a block, one above the other. A wider
/// picture is made smaller.
///
/// \param hasColour  with escape sequences for 24-bit colours; else what is brighter than the
///                   middle is drawn
std::string DrawingOf(const Picture& picture, bool hasColour);

}  // namespace view
