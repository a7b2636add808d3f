#pragma once

#include <string>

class StringUtilities {
public:
    static bool StringToBool(const std::string& text);
};
