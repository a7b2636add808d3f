#pragma once

class LinxIpc;

// Callbacks of the notifications that the console subscribes to. Each runs inside
// LinxIpc::Receive() on the receive thread, decodes the message that its endpoint has just
// received into a record of its own, counts it in subtitleStats where it has a counter, and prints
// a short report on standard output, where it may interleave with the console. The user data is
// always null. A notification for which memory is refused is lost: it is neither counted nor
// printed, and the log has an entry. Kept on purpose: only the first name has a capital.

/// Counts region data in every format and prints a pixel histogram of CIF data.
void HandleRegionData(LinxIpc* ipc, void* userData);

void handleRegionVis(LinxIpc* ipc, void* userData);

/// Leaves the fill character of std::cout at '0' after a palette that is not empty.
void handlePaletteUpdate(LinxIpc* ipc, void* userData);
