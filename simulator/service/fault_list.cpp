#include "simulator/service/fault_list.h"

#include "simulator/journal/json.h"
#include "simulator/service/request_table.h"

#include "words/exit_status.h"

#include <algorithm>
#include <unistd.h>

using namespace sim;

namespace {

bool Concerns(const FaultSpec& spec, const Request* request)
{
    const std::string name = request ? NameOf(*request) : "";
    const bool isMeant = spec.request.empty() ? name != "Quit" : spec.request == name;
    return isMeant && (spec.kind != FaultKind::Refuse || (request && HasResult(*request)));
}

bool Concerns(const FaultSpec& spec, unsigned int client)
{
    return spec.client == 0 || spec.client == client;
}

bool Happens(unsigned int chance, std::mt19937& random)
{
    constexpr std::uint64_t range = FaultSpec::always;
    return chance == range || (random() * range) >> 32 < chance;
}

}  // namespace

unsigned int FaultList::Add(const FaultSpec& spec)
{
    const auto place =
        std::upper_bound(faults.begin(), faults.end(), spec.kind,
                         [](FaultKind kind, const Entry& entry) { return kind < entry.spec.kind; });
    faults.insert(place, {lastId + 1, spec, std::mt19937(spec.seed)});
    return ++lastId;
}

bool FaultList::Remove(unsigned int id)
{
    const auto found = std::find_if(faults.begin(), faults.end(),
                                    [id](const Entry& entry) { return entry.id == id; });
    if (found == faults.end()) {
        return false;
    }
    faults.erase(found);
    return true;
}

template <typename Matches>
Fault FaultList::Use(Matches matches)
{
    for (auto entry = faults.begin(); entry != faults.end(); ++entry) {
        if (!matches(entry->spec) || !Happens(entry->spec.chance, entry->random)) {
            continue;
        }
        const Fault fault{entry->spec.kind, entry->spec.delayMs};
        if (++entry->used == entry->spec.times) {
            faults.erase(entry);
        }
        return fault;
    }
    return {};
}

Fault FaultList::Draw(const Request* request, unsigned int client)
{
    return Use([&](const FaultSpec& spec) {
        return spec.kind != FaultKind::Garbage && Concerns(spec, client) && Concerns(spec, request);
    });
}

bool FaultList::DrawGarbage(unsigned int client)
{
    const Fault fault = Use([&](const FaultSpec& spec) {
        return spec.kind == FaultKind::Garbage && Concerns(spec, client);
    });
    return fault.kind == FaultKind::Garbage;
}

std::string FaultList::AsJson() const
{
    Json json;
    json.Begin('[');
    for (const Entry& entry : faults) {
        json.Begin('{').Name("id").Add(entry.id).Name("fault").Add(entry.spec.words);
        json.Name("used").Add(entry.used).End('}');
    }
    return json.End(']').Text();
}

void sim::Crash() { _exit(words::exitFailed); }
