#pragma once

#include "tests/resilience/soak/Ledger.h"

#include <SubtitleClient.h>

#include <map>
#include <mutex>
#include <set>
#include <vector>

/// Records with a mark, one of each kind, and where they arrive.
class Publications {
public:
    /// The callbacks that a publication reached, by the subscription number that it was under.
    using Reached = std::map<unsigned, std::set<Ledger::Token>>;

    /// Has the service publish one of each kind with a new mark. \return whether it did
    bool Publish(SubtitleClient& client);

    Reached ReachedByTheLast();
    unsigned long long Count();

    /// Callback of subscription \p number; the user data is UserData() of its token.
    static void (*CallbackFor(unsigned number))(LinxIpc*, void*);
    static unsigned ItemOf(unsigned number);
    static void* UserData(Ledger::Token token);

    /// Where the callbacks note what arrives.
    static Publications& Instance();

private:
    void Note(unsigned number, bool isMarked, void* userData);
    static void TakeBitmap(LinxIpc* ipc, void* userData);
    static void TakeVisibility(LinxIpc* ipc, void* userData);
    static void TakePalette(LinxIpc* ipc, void* userData);

    std::mutex mutex;
    unsigned mark = 0;
    unsigned long long count = 0;
    Reached reached;
};
