// The connection of SubtitleMgrCli to the service, and the receive thread.

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"

#include <iostream>
#include <unistd.h>

namespace {

constexpr int receiveWaitMs = 10;  // fits into the console's pause after clearing `subscribed`
constexpr useconds_t idlePauseUs = 500000;

/// Body of the receive thread. While `subscribed` is true it receives back to back, and the
/// notification handlers run inside Receive(); otherwise it looks at the flag twice a second.
/// Kept on purpose: nothing tells it to end. It runs until the process ends.
[[noreturn]] void* clientThread(void*)
{
    for (;;) {
        while (subscribed) {
            linxIpc.Receive(receiveWaitMs, 0, LinxIpc::emptyString, nullptr);
        }
        usleep(idlePauseUs);
    }
}

}  // namespace

int SubtitleMgrCli::PreInit()
{
    int result = 1;
    if (linxIpc.Init() != 0) {
        std::cerr << "Error initializing the connection" << std::endl;
        result = 2;
    }
    // Kept on purpose: the thread starts even when the endpoint could not be opened. The failure is
    // already reported, and CommonCli::Go() decides how the run goes on.
    if (pthread_create(&receiveThread, nullptr, clientThread, nullptr) != 0) {
        result = 2;
    }
    return result;
}

void SubtitleMgrCli::ExtraConnectionInfo(std::string prefix)
{
    prefix += '/';
    serverName.insert(0, prefix);  // in one step: without memory for it the name stays as it was
}
