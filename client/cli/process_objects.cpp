#include "cli/process_objects.h"

#include "cli/client_name.h"
#include "stats/SubtitleStats.h"

namespace {

constexpr unsigned int regionCount = 14;

}  // namespace

// In one source file, since only there their order is fixed: constructed downwards before main,
// destroyed upwards after it.

// First constructed, so destroyed when no callback that counts can run any more.
SubtitleStats subtitleStats(regionCount);

// Destroyed first: its destructor waits for the callback that may be running on the receive thread.
LinxIpc linxIpc(clientName);

volatile bool subscribed = false;
