#pragma once

#include "tests/support/console_texts.h"

#include <string>

/// The dynamic test's menu, from its empty line to its empty line.
std::string DynamicTestMenu(unsigned start, unsigned increment, unsigned width, unsigned height,
                            bool shapesOn = false);

/// The sensor test's menu, from its empty line to its empty line.
