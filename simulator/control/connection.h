#pragma once

#include "simulator/clients/audience.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sim {

/// One answer of the control socket, a JSON object without a line end; none while it is awaited.
using Answer = std::optional<std::string>;

/// A control line whose answer has to wait.
struct Job {
    std::function<Answer(Budget& budget)> poll;  ///< looks for an answer; null for no job
    platform::Deadline look{-1};                 ///< when to poll at the latest
    bool isBusy = false;                         ///< has work of its own to go on with
};

/// A connected control client: lines in, answers out, in order.
class ControlConnection {
public:
    static constexpr std::size_t longestLine = 64 * 1024;

    enum class Cut { Nothing, Line, TooLong, HalfLine };

    /// \param number  counted from 1, for messages
    /// \param firstRequest  its awaits find requests from this one on
    ControlConnection(platform::Descriptor connected, std::uint64_t firstRequest);

    /// Reads what there is and has room.
    void Receive();

    /// \param line  the next line without its end
    Cut Next(std::string& line);

    /// Queues \p answer, a line.
    void Queue(const std::string& answer);

    /// Sends what the socket takes.
    void Flush();

    void Close() { fd = platform::Descriptor(); }

    int Fd() const { return fd.Get(); }
    bool IsClosed() const { return !fd; }

    /// Whether a line may be waiting and its answer has room.
    bool HasTurn() const
    {
        return !IsClosed() && !job.poll && mayHaveLine && output.size() < longestLine;
    }

    /// It sends no more lines and has read all answers.
    bool IsDone() const { return ended && !mayHaveLine && !job.poll && output.empty(); }

    /// It left an answer unread until this moment.
    const platform::Deadline& Patience() const { return patience; }

    /// The events that it waits for, as epoll has them.
    unsigned int Events() const;

    Job job;
    std::uint64_t nextRequest;       ///< where its next `await request=` begins in the history
    unsigned int watchedEvents = 0;  ///< as told to the poller

private:
    platform::Descriptor fd;
    std::string input;
    std::size_t begin = 0;  ///< of the lines that were not taken yet
    std::string output;
    platform::Deadline patience{-1};
    bool mayHaveLine = false;
    bool isSkipping = false;  ///< the rest of a line that is too long
    bool ended = false;
};

}  // namespace sim
