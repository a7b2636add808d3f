#include "cli/process_objects.h"

#include "cli/client_name.h"
#include "stats/SubtitleStats.h"

namespace {

constexpr unsigned int regionCount = 14;

}  // namespace

// In one source file, because only inside one file the order is fixed: constructed from top to
// bottom before main(), destroyed from bottom to top after it.

// Constructed first, so destroyed last: then no callback can count any more.
SubtitleStats subtitleStats(regionCount);

// Destroyed first: its destructor waits for the callback that may be running on the receive thread.
LinxIpc linxIpc(clientName);

volatile bool subscribed = false;
