#pragma once

#include <string>

/// Small helpers on text.
class StringUtilities {
public:
    /// True for t, true, y, yes, on and 1 in any case; false for everything else.
    static bool StringToBool(const std::string& text);
};
