#include "simulator/service/fault_spec.h"

#include "recording/fields.h"
#include "words/nearest_word.h"
#include "words/text.h"
#include "words/times.h"

#include <algorithm>
#include <iterator>

using namespace sim;
using namespace words;

namespace {

/// What may follow the name of a fault.
namespace option {
constexpr unsigned int request = 1u << 0;
constexpr unsigned int client = 1u << 1;
constexpr unsigned int times = 1u << 2;
constexpr unsigned int chance = 1u << 3;
constexpr unsigned int seed = 1u << 4;
constexpr unsigned int delay = 1u << 5;
constexpr unsigned int ofAll = client | times | chance | seed;
constexpr unsigned int ofRequests = ofAll | request;
}  // namespace option

struct FaultName {
    const char* name;
    FaultKind kind;
    unsigned int options;
    const char* request = "";
};

constexpr FaultName faultNames[] = {
    {"refuse", FaultKind::Refuse, option::ofRequests},
    {"mute", FaultKind::Mute, option::ofRequests},
    {"hang-up", FaultKind::HangUp, option::ofRequests},
    {"garbage", FaultKind::Garbage, option::ofAll},
    {"late", FaultKind::Late, option::ofRequests | option::delay},
    {"wrong-reply", FaultKind::WrongReply, option::ofRequests},
    {"truncate", FaultKind::Truncate, option::ofRequests},
    {"stall", FaultKind::Stall, option::ofRequests | option::delay},
    {"crash", FaultKind::Crash, option::ofRequests & ~option::times},
    {"restart", FaultKind::Restart, option::ofRequests | option::delay},
    {"refuse-subscribe", FaultKind::Refuse, option::ofAll, "Subscribe"},
    {"refuse-refresh", FaultKind::Refuse, option::ofAll, "RefreshRegions"},
    {"refuse-sensor", FaultKind::Refuse, option::ofAll, "SendSensorUpdate"},
};

std::string ReadRequest(std::string_view value, FaultSpec& spec)
{
    std::vector<std::string_view> names;
    for (const recording::KindRow& row : recording::requestKinds) {
        names.emplace_back(row.name);
    }
    if (std::find(names.begin(), names.end(), value) == names.end()) {
        return Quoted(value) + " is not a request" + Suggestion(value, names);
    }
    spec.request = value;
    return "";
}

std::string ReadCount(std::string_view value, unsigned int& number)
{
    return ParseNumber(value, number) && number > 0
               ? ""
               : Quoted(value) + " is not a number from 1 to 4294967295";
}

std::string ReadClient(std::string_view value, FaultSpec& spec)
{
    return ReadCount(value, spec.client);
}

std::string ReadTimes(std::string_view value, FaultSpec& spec)
{
    return ReadCount(value, spec.times);
}

std::string ReadChance(std::string_view value, FaultSpec& spec)
{
    // A number of seconds has the same form; its microseconds are the millionths.
    std::int64_t millionths = 0;
    if (value.find('s') != std::string_view::npos || !ParseTime(value, millionths) ||
        millionths > FaultSpec::always) {
        return Quoted(value) + " is not a chance from 0 to 1, like 0.25";
    }
    spec.chance = static_cast<unsigned int>(millionths);
    return "";
}

std::string ReadSeed(std::string_view value, FaultSpec& spec)
{
    return ParseNumber(value, spec.seed) ? ""
                                         : Quoted(value) + " is not a number from 0 to 4294967295";
}

std::string ReadDelay(std::string_view value, FaultSpec& spec)
{
    constexpr std::int64_t longestUs = 24 * 3600 * usPerSecond;
    std::int64_t us = 0;
    if (!ParseTime(value, us)) {
        return Quoted(value) + " is not a time like 500ms or 2s";
    }
    spec.delayMs = static_cast<int>((std::min(us, longestUs) + 999) / 1000);
    return us > longestUs ? Quoted(value) + " is longer than a day" : "";
}

struct Option {
    const char* name;
    unsigned int bit;
    std::string (*read)(std::string_view value, FaultSpec& spec);
};

constexpr Option allOptions[] = {
    {"request", option::request, ReadRequest}, {"client", option::client, ReadClient},
    {"times", option::times, ReadTimes},       {"chance", option::chance, ReadChance},
    {"seed", option::seed, ReadSeed},          {"delay", option::delay, ReadDelay},
};

std::string Unknown(const std::string& name)
{
    std::vector<std::string_view> names;
    for (const FaultName& known : faultNames) {
        names.emplace_back(known.name);
    }
    const std::string suggestion = Suggestion(name, names);
    return Quoted(name) + " is not a fault" +
           (suggestion.empty() ? "; there are " + ListedFaults() : suggestion);
}

/// Reads one word after the name, and notes its bit in \p given.
/// \return the reason why it is wrong; empty when it is not
std::string ReadOption(const FaultName& fault, std::string_view word, unsigned int& given,
                       FaultSpec& spec)
{
    const std::string_view name = word.substr(0, word.find('='));
    const auto found = std::find_if(std::begin(allOptions), std::end(allOptions),
                                    [&](const Option& known) { return known.name == name; });
    if (found == std::end(allOptions) || name.size() == word.size()) {
        std::vector<std::string_view> names;
        for (const Option& known : allOptions) {
            names.emplace_back(known.name);
        }
        return Quoted(word) + " is not request=, client=, times=, chance=, seed= or delay=" +
               Suggestion(name, names);
    }
    if ((fault.options & found->bit) == 0) {
        return std::string(fault.name) + " has no " + found->name + "=";
    }
    if ((given & found->bit) != 0) {
        return std::string(found->name) + "= is given twice";
    }
    given |= found->bit;
    return found->read(word.substr(name.size() + 1), spec);
}

/// Finds options that do not go together.
std::string CheckTogether(const FaultSpec& spec, unsigned int given)
{
    const bool endsService = spec.kind == FaultKind::Crash || spec.kind == FaultKind::Restart;
    if (spec.request == "Quit" && !endsService) {
        return "Quit is always obeyed, except under crash and restart";
    }
    if (spec.kind == FaultKind::Refuse && spec.request == "Ping") {
        return "Ping has no result that could be a refusal";
    }
    if ((given & option::seed) != 0 && (given & option::chance) == 0) {
        return "seed= needs chance=";
    }
    if ((given & option::times) != 0 && spec.IsImmediate()) {
        return "restart happens at once: times= needs request=, client= or chance=";
    }
    return "";
}

}  // namespace

std::string sim::ListedFaults()
{
    std::string text;
    for (const FaultName& fault : faultNames) {
        text += (text.empty() ? "" : ", ") + std::string(fault.name);
    }
    return text;
}

bool sim::ParseFault(const std::vector<std::string>& words, FaultSpec& spec, std::string& problem)
{
    const std::string name = words.empty() ? "" : words.front();
    const auto fault = std::find_if(std::begin(faultNames), std::end(faultNames),
                                    [&](const FaultName& known) { return known.name == name; });
    if (fault == std::end(faultNames)) {
        problem = Unknown(name);
        return false;
    }
    spec = FaultSpec();
    spec.kind = fault->kind;
    spec.request = fault->request;
    spec.words = name;
    unsigned int given = 0;
    problem.clear();
    for (auto word = words.begin() + 1; word != words.end() && problem.empty(); ++word) {
        problem = ReadOption(*fault, *word, given, spec);
        spec.words += " " + *word;
    }
    if (problem.empty()) {
        problem = CheckTogether(spec, given);
    }
    return problem.empty();
}
