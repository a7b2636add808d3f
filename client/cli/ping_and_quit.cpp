// The requests of SubtitleMgrCli that need no console: ping and quit.

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"

#include <iostream>

namespace {

constexpr unsigned int quitId = 0x3B00;
constexpr unsigned int pingId = 0x3B01;
constexpr unsigned int pingReplyId = 0x3B02;
constexpr int noTimeLimit = -1;

}  // namespace

void SubtitleMgrCli::Ping()
{
    std::cout << "Let's Ping" << std::endl;
    if (requestMsg.Allocate(pingId, 0, nullptr) != 0) {
        std::cerr << "Error allocating request" << std::endl;
        return;
    }
    if (linxIpc.Request(serverName, requestMsg, pingReplyId, noTimeLimit, nullptr) != 0) {
        std::cerr << "Error running ping" << std::endl;
        return;
    }
    std::cout << "Successful Ping" << std::endl;
}

// Kept on purpose: quit writes its announcement to standard error, unlike ping.
void SubtitleMgrCli::Quit()
{
    std::cerr << "Shut down Requested" << std::endl;
    if (requestMsg.Allocate(quitId, 0, nullptr) != 0) {
        std::cerr << "Error allocating request" << std::endl;
        return;
    }
    if (linxIpc.Notify(serverName, requestMsg, true) != 0) {
        std::cerr << "Error running quit" << std::endl;
        return;
    }
    std::cout << "Quit issued" << std::endl;
}
