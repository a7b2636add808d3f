#pragma once

#include <LinxIpc.h>

// The process-wide objects, beside subtitleStats of stats/SubtitleStats.h. They are shared by the
// main thread and the receive thread.

/// The one endpoint of the process; every message goes through it.
extern LinxIpc linxIpc;

/// True while the receive thread may read from the endpoint. Written by the console on the main
/// thread, read by the receive thread.
///
/// Kept on purpose: a plain byte without lock or atomic operation; clearing it and waiting is all
/// the synchronisation there is. Volatile alone keeps the compiler from reading it only once.
extern volatile bool subscribed;
