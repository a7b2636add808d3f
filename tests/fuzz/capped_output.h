#pragma once

#include <ios>
#include <streambuf>
#include <string>

/// Takes what is written, and throws when that is more than the cap: the only way out of a console
/// whose input has ended.
class CappedOutput : public std::streambuf {
public:
    struct Full {};

    explicit CappedOutput(std::size_t cap) : most(cap) {}

    const std::string& Text() const { return text; }

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override
    {
        text.append(bytes, static_cast<std::size_t>(count));
        if (text.size() > most) {
            throw Full();
        }
        return count;
    }

    int_type overflow(int_type c) override
    {
        const char byte = traits_type::to_char_type(c);
        xsputn(&byte, 1);
        return c;
    }

private:
    const std::size_t most;
    std::string text;
};

/// While it lives, a stream passes on what its buffer throws.
class PassExceptions {
public:
    explicit PassExceptions(std::ios& passing) : stream(passing), original(stream.exceptions())
    {
        stream.exceptions(std::ios::badbit);
    }
    ~PassExceptions()
    {
        stream.clear();
        stream.exceptions(original);
    }
    PassExceptions(const PassExceptions&) = delete;
    PassExceptions& operator=(const PassExceptions&) = delete;

private:
    std::ios& stream;
    const std::ios::iostate original;
};
