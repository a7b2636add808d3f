#pragma once

#include <LinxIpc.h>

// The process-wide objects, beside subtitleStats of stats/SubtitleStats.h. They are shared by the
// main thread and the receive thread.

/// The one endpoint of the process; every message goes through it.
extern LinxIpc linxIpc;

/// True while the receive thread may read from the endpoint. Written by the console on the main
/// thread, read by the receive thread.
///
/// Kept on purpose: a plain byte without lock or atomic operation. The only synchronisation is to
/// clear it and to wait. Volatile makes the compiler read it each time.
extern volatile bool subscribed;
