#include "simulator/clients/subscriptions.h"
#include "simulator/control/answers.h"
#include "simulator/control/commands.h"
#include "simulator/journal/request_pattern.h"

#include "words/nearest_word.h"
#include "words/times.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

Deadline After(std::int64_t us)
{
    constexpr std::int64_t longestMs = std::numeric_limits<int>::max();
    return Deadline(static_cast<int>(std::min((us + 999) / 1000, longestMs)));
}

/// Looks for an answer with \p poll until \p withinUs have passed, -1 for no limit.
template <typename Poll>
Answer Wait(ControlConnection& connection, std::int64_t withinUs, Poll poll)
{
    const Deadline end = withinUs < 0 ? Deadline(-1) : After(withinUs);
    const auto look = [poll, end](Budget& /*budget*/) mutable -> Answer {
        if (poll()) {
            return Done();
        }
        return end.HasPassed() ? Failed("the time ran out", R"(,"timedOut":true)") : Answer();
    };
    connection.job = {look, end, false};
    return Answer();
}

/// Takes the word that begins with \p name out of \p words. \return its rest, if it is there
std::optional<std::string> Take(std::vector<std::string>& words, const std::string& name)
{
    std::optional<std::string> rest;
    const auto word = std::find_if(words.begin(), words.end(), [&](const std::string& candidate) {
        return candidate.compare(0, name.size(), name) == 0;
    });
    if (word != words.end()) {
        rest = word->substr(name.size());
        words.erase(word);
    }
    return rest;
}

}  // namespace

Answer ControlCommands::Sleep(const Call& call)
{
    std::int64_t us = 0;
    if (!call.parser.Sleep(call.line, us)) {
        return RefusedBy(call.parser);
    }
    const Deadline end = After(us);
    call.connection.job = {
        [end](Budget& /*budget*/) { return end.HasPassed() ? Answer(Done()) : Answer(); }, end,
        false};
    return Answer();
}

Answer ControlCommands::WaitSubscribers(const Call& call)
{
    Step step;
    if (!call.parser.WaitSubscribers(call.line, step)) {
        return RefusedBy(call.parser);
    }
    return AwaitSubscription(call, step.subscription, -1);
}

Answer ControlCommands::Await(const Call& call)
{
    std::vector<std::string> wanted(call.line.words.begin() + 1, call.line.words.end());
    const std::string within = Take(wanted, "within=").value_or("10s");
    std::int64_t withinUs = 0;
    if (!words::ParseTime(within, withinUs)) {
        return Failed("within " + words::Quoted(within) + " is not a time, like 500ms or 2s");
    }
    const std::optional<std::string> subscribers = Take(wanted, "subscribers=");
    if (!subscribers) {
        return AwaitRequest(call, wanted, withinUs);
    }
    unsigned int subscription = 0;
    if (!words::ParseNumber(*subscribers, subscription) || ItemOf(subscription) == 0) {
        return Failed("there is no subscription " + words::Quoted(*subscribers) +
                      "; there are 1, 2, 3, 4, 6, 10 and 12");
    }
    if (!wanted.empty()) {
        const std::string name = wanted[0].substr(0, wanted[0].find('='));
        return Failed(words::Quoted(wanted[0]) + " does not go with subscribers=" +
                      (name == "within" ? "" : words::Suggestion(name, {"within"})));
    }
    return AwaitSubscription(call, subscription, withinUs);
}

Answer ControlCommands::AwaitSubscription(const Call& call, unsigned int subscription,
                                          std::int64_t withinUs)
{
    return Wait(call.connection, withinUs,
                [&peers = on.peers, subscription] { return peers.HasSubscriber(subscription); });
}

Answer ControlCommands::AwaitRequest(const Call& call, const std::vector<std::string>& wanted,
                                     std::int64_t withinUs)
{
    RequestPattern pattern;
    std::string problem;
    if (!pattern.Parse(wanted, problem)) {
        return Failed(problem);
    }
    ControlConnection& connection = call.connection;
    const auto look = [&connection, &history = on.logs.history, pattern,
                       next = connection.nextRequest]() mutable {
        const auto found = history.Find(pattern, std::exchange(next, history.Next()));
        if (found) {
            connection.nextRequest = *found + 1;
        }
        return found.has_value();
    };
    return Wait(connection, withinUs, look);
}
