#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Reads the fuzzer's bytes as a sequence of choices. After the last byte every choice is 0.
class Choices {
public:
    Choices(const std::uint8_t* first, std::size_t size) : next(first), end(first + size) {}

    bool IsAtEnd() const { return next == end; }
    std::size_t Left() const { return static_cast<std::size_t>(end - next); }

    unsigned int Byte() { return next == end ? 0u : *next++; }

    unsigned int U32()
    {
        unsigned int value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 8 | Byte();
        }
        return value;
    }

    /// A number from 0 to \p count - 1; \p count is at most 256.
    unsigned int Below(unsigned int count) { return Byte() % count; }

    /// True with the probability \p one / \p in, if all byte values are equally likely.
    bool OnceIn(unsigned int in) { return Byte() % in == in - 1; }

    /// At most \p size bytes.
    std::string Bytes(std::size_t size)
    {
        const std::size_t count = size < Left() ? size : Left();
        const std::string bytes(next, next + count);
        next += count;
        return bytes;
    }

    std::string Rest() { return Bytes(Left()); }

private:
    const std::uint8_t* next;
    const std::uint8_t* const end;
};
