#pragma once

#include "tests/resilience/soak/Ledger.h"

#include <SubtitleClient.h>

#include <map>
#include <mutex>
#include <set>
#include <vector>

/// Publishes records with a mark, one of each kind, and records which callbacks get them.
class Publications {
public:
    /// The callbacks that a publication reached, by its subscription number.
    using Reached = std::map<unsigned, std::set<Ledger::Token>>;

    /// Makes the service publish one of each kind with a new mark. \return whether it succeeded
    bool Publish(SubtitleClient& client);

    Reached ReachedByTheLast();
    unsigned long long Count();

    /// Callback of subscription \p number; its user data is UserData() of its token.
    static void (*CallbackFor(unsigned number))(LinxIpc*, void*);
    static unsigned ItemOf(unsigned number);
    static void* UserData(Ledger::Token token);

    /// The callbacks record notifications in this object.
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
