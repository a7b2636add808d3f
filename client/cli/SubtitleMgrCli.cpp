// The life of SubtitleMgrCli.

#include "cli/SubtitleMgrCli.h"

#include "cli/process_objects.h"
#include "cli/subtitle_process.h"

namespace {

constexpr int requestTimeoutMs = 2000;

}  // namespace

SubtitleMgrCli::SubtitleMgrCli()
    : serverName(RegisteredName()), subtitleClient(linxIpc, requestTimeoutMs), receiveThread(0)
{
}

// Kept on purpose: neither stops the receive thread nor closes the endpoint; both outlive this.
SubtitleMgrCli::~SubtitleMgrCli() = default;
