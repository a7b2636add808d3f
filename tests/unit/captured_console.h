#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

/// During its lifetime std::cin reads this text, then the end of the input.
class TypedInput {
public:
    explicit TypedInput(const std::string& text)
        : typed(text), original(std::cin.rdbuf(typed.rdbuf()))
    {
    }
    ~TypedInput() { std::cin.rdbuf(original); }
    TypedInput(const TypedInput&) = delete;
    TypedInput& operator=(const TypedInput&) = delete;

    /// The text that is not read yet.
    std::string Rest()
    {
        const auto at = typed.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::in);
        return typed.str().substr(static_cast<std::size_t>(at));
    }

private:
    std::stringstream typed;
    std::streambuf* original;
};

/// All text that \p action writes to standard output, through std::cout or printf.
template <typename Action>
std::string OutputOf(Action action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// The same for standard error.
template <typename Action>
std::string ErrorsOf(Action action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}
