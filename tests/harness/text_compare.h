#pragma once

#include <gtest/gtest.h>

#include <string>

/// \p text with every blank, control byte and byte above 126 made visible: a blank as ·, a newline
/// as \n and a real newline, each other byte as \xNN.
std::string VisibleText(const std::string& text);

/// Success when both have the same bytes, else the parts of both around the first difference.
testing::AssertionResult CompareTexts(const char* actualExpression, const char* expectedExpression,
                                      const std::string& actual, const std::string& expected);

#define EXPECT_TEXT(actual, expected) EXPECT_PRED_FORMAT2(CompareTexts, actual, expected)
