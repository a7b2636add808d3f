#pragma once

#include "simulator/service/fault_spec.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace sim {

struct Request;

/// What happens to one request.
struct Fault {
    FaultKind kind = FaultKind::None;
    int delayMs = 0;
};

/// The faults that the service causes.
class FaultList {
public:
    /// \return its id, counted from 1
    unsigned int Add(const FaultSpec& spec);

    /// \return false when there is no fault of this id, or none any more
    bool Remove(unsigned int id);
    void Clear() { faults.clear(); }

    bool Has(FaultKind kind) const
    {
        return !faults.empty() &&
               std::any_of(faults.begin(), faults.end(),
                           [kind](const Entry& entry) { return entry.spec.kind == kind; });
    }

    /// The strongest fault that \p request of this client meets, which is used once.
    /// \param request  null for one that was not understood
    Fault Draw(const Request* request, unsigned int client);

    /// Whether the next notification for this client is preceded by a malformed one.
    bool DrawGarbage(unsigned int client);

    /// A JSON array: `[{"id":1,"fault":"mute times=3","used":2}]`, the strongest first.
    std::string AsJson() const;

private:
    struct Entry {
        unsigned int id;
        FaultSpec spec;
        std::mt19937 random;  ///< the same on all machines, which distributions are not
        unsigned int used = 0;
    };

    template <typename Matches>
    Fault Use(Matches matches);

    std::vector<Entry> faults;  ///< the strongest first, else in the order of their definition
    unsigned int lastId = 0;
};

/// Ends the process as a crash does, without any cleaning up.
[[noreturn]] void Crash();

}  // namespace sim
