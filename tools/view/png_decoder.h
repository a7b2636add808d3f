#pragma once

#include "view/picture.h"

#include <string>

namespace view {

struct DecodedPicture {
    Picture picture;
    /// Whether a pixel was neither opaque nor transparent. Such a pixel becomes one of the two.
    bool isSimplified = false;
};

/// Reads a PNG file of any colour type. An indexed one keeps its indices; for the others, colours
/// are numbered as they come, but transparent is always 0.
///
/// \return false with the reason in \p problem
bool DecodePng(const std::string& png, DecodedPicture& decoded, std::string& problem);

}  // namespace view
