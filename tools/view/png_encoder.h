#pragma once

#include "view/picture.h"

#include <string>

namespace view {

/// Makes a PNG file: with 8 bits an index up to 256 colours, else with red, green, blue and alpha.
///
/// \param picture  with at least one row
/// \param scale    each pixel becomes a square of this width
std::string EncodePng(const Picture& picture, unsigned int scale);

}  // namespace view
