#pragma once

#include <getopt.h>

#include <cstddef>

/// The option letters, in getopt's notation.
extern const char* const shortOptions;

/// The long options; the last entry is the all-zero terminator.
constexpr std::size_t longOptionCount = 9;
extern struct option longOptions[longOptionCount];
