#pragma once

#include <iostream>
#include <sstream>
#include <string>

/// While it lives, a stream writes to and reads from another buffer.
class RedirectedStream {
public:
    RedirectedStream(std::ios& redirected, std::streambuf* buffer)
        : stream(redirected), original(stream.rdbuf(buffer))
    {
    }
    ~RedirectedStream() { stream.rdbuf(original); }
    RedirectedStream(const RedirectedStream&) = delete;
    RedirectedStream& operator=(const RedirectedStream&) = delete;

private:
    std::ios& stream;
    std::streambuf* const original;
};

/// What \p action writes to std::cout.
template <typename Action>
std::string PrintedBy(Action action)
{
    std::ostringstream text;
    const RedirectedStream redirected(std::cout, text.rdbuf());
    action();
    return text.str();
}
