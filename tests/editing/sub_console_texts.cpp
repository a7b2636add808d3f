#include "tests/editing/sub_console_texts.h"

std::string DynamicTestMenu(unsigned start, unsigned increment, unsigned width, unsigned height,
                            bool shapesOn)
{
    const auto number = [](unsigned value) { return std::to_string(value); };
    return DynamicTestMenu(
        {number(start), number(increment), number(width), number(height), shapesOn ? "on" : "off"});
}
