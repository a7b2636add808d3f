#include "view/page_server/live_service.h"

#include "platform/src/confirmed_request.h"
#include "platform/src/wire_format.h"
#include "recording/writer.h"

#include <IpcMessage.h>

#include <fcntl.h>
#include <new>
#include <sys/stat.h>

using namespace platform;

namespace view {

namespace {

constexpr int requestTimeoutMs = 2000;
constexpr int pingTimeoutMs = 1000;
constexpr int longestSilenceMs = 1000;

}  // namespace

LiveService::Client::Client(LinxIpc& endpoint, const std::string& service)
    : SubscribeClient(endpoint, service, requestTimeoutMs)
{
}

bool LiveService::Client::Refresh()
{
    IpcMessage message;
    return ConfirmedRequest(ipc, server, message, messages::refreshRegions, {}, timeoutMs) == 0;
}

bool LiveService::Client::Ping()
{
    IpcMessage message;
    return message.Allocate(messages::ping, 0, nullptr) == 0 &&
           ipc.Request(server, message, messages::ReplyTo(messages::ping), pingTimeoutMs,
                       nullptr) == 0;
}

LiveService::LiveService(const std::string& name, LiveState& stateToFill)
    : state(stateToFill), service(name),
      subscriber([this](recording::Notification& notification, unsigned int) {
          notification.at = recording::Now();
          state.Publish(notification);
      }),
      ipc(std::in_place, "SubtitleMgrView"), client(*ipc, service)
{
}

/// The end of the endpoint ends a call of the thread that waits.
LiveService::~LiveService()
{
    isOver = true;
    ipc.reset();
    if (thread.joinable()) {
        thread.join();
    }
}

std::string LiveService::Start()
{
    if (ipc->Init() != 0 || directory.Open() != 0) {
        return "the messaging endpoint cannot be opened; the log has the reason";
    }
    refreshedSocket = SocketTime();
    if (!subscriber.Subscribe(client, tap::Filter())) {
        return service + " accepts no subscription: it does not run, or refuses";
    }
    client.Refresh();
    state.SetConnected(true);
    thread = std::thread([this, &endpoint = *ipc] { Follow(endpoint); });
    return "";
}

void LiveService::Follow(LinxIpc& endpoint)
{
    bool isConnected = true;
    while (!isOver) {
        const bool isAlive = Receive(endpoint) || client.Ping();
        const std::int64_t socket = SocketTime();
        if (isAlive && (!isConnected || socket != refreshedSocket)) {
            client.Refresh();
            refreshedSocket = socket;
        }
        if (isAlive != isConnected) {
            isConnected = isAlive;
            state.SetConnected(isConnected);
        }
    }
}

std::int64_t LiveService::SocketTime() const
{
    constexpr std::int64_t nsPerSecond = 1'000'000'000;
    struct stat found {};
    fstatat(directory.Fd(), service.c_str(), &found, AT_SYMLINK_NOFOLLOW);
    return found.st_ctim.tv_sec * nsPerSecond + found.st_ctim.tv_nsec;
}

bool LiveService::Receive(LinxIpc& endpoint)
{
    const std::uint64_t before = subscriber.Received();
    endpoint.Receive(longestSilenceMs, 0, LinxIpc::emptyString, nullptr);
    return subscriber.Received() > before;
}

}  // namespace view
