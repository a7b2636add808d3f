#pragma once

#include "platform/src/descriptor.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <sys/stat.h>

namespace platform {

/// Writes whole lines to a descriptor and never waits. While there is no room, it keeps one line,
/// or the rest of one; it loses and counts the others. Other programs may share the descriptor, so
/// it is not made non-blocking. Used by one thread at a time.
class Sink {
public:
    /// Makes the line that tells how many lines were lost, and why the last one was.
    using LossLine = std::string (*)(unsigned int lost, const char* reason);

    explicit Sink(LossLine makeLossLine = nullptr, int descriptor = -1)
        : lossLine(makeLossLine), fd(descriptor)
    {
    }

    /// Writes to \p descriptor from now on; the caller closes it.
    void Use(int descriptor) { fd = descriptor; }

    /// Writes what \p makeLine returns, a line with its end. Without memory the line is lost.
    template <typename MakeLine>
    void Write(const MakeLine& makeLine)
    {
        try {
            Put(makeLine());
        } catch (const std::bad_alloc&) {
            Lose(ENOMEM);
        }
    }

    /// The pause between two calls of Flush() while it has something to do.
    static constexpr int retryMs = 500;

    /// Writes the kept line, then the number of the lost ones. \return whether all is written
    bool Flush() { return (line.empty() && lost == 0) || FlushLines(); }

    /// Counts a line as lost for the reason \p error.
    void Lose(int error)
    {
        ++lost;
        reason = error;
    }

    unsigned int Lost() const { return lost; }

    /// Why lines are kept or were lost, an errno value; 0 if all are written.
    int Error() const { return line.empty() && lost == 0 ? 0 : reason == 0 ? EAGAIN : reason; }

    const char* Reason() const
    {
        return reason == EAGAIN ? "it is not read" : std::strerror(reason);
    }

private:
    void Put(std::string newLine);
    bool FlushLines();
    bool WriteKept();
    ssize_t WriteSome();
    bool Examine();
    bool CutOff() const;

    const LossLine lossLine;
    int fd;
    struct stat file {};  ///< the descriptor's file at the last write
    Descriptor unshared;  ///< the same pipe or terminal, non-blocking for this program alone
    std::string line;     ///< the kept line; empty for none
    unsigned int lostWithLine = 1;
    std::size_t written = 0;
    off_t begin = 0;  ///< of that line, in a file
    unsigned int lost = 0;
    int reason = 0;
};

}  // namespace platform
