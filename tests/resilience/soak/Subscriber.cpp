#include "tests/resilience/soak/Subscriber.h"

namespace {

// The service publishes HD bitmaps unchanged.
constexpr unsigned hdSubscription = 2;
constexpr unsigned regionDataItemId = 15129;
constexpr unsigned ping = 15105;
constexpr unsigned pingReply = 15106;
constexpr int requestMs = 10000;

}  // namespace

Subscriber::Subscriber(unsigned lastNumber) : last(lastNumber) {}

bool Subscriber::Connect() { return ipc.Init() == 0 && Ping(); }

bool Subscriber::Subscribe()
{
    return ipc.Init() == 0 &&
           client.Subscribe(hdSubscription, regionDataItemId, record, Arrives, this) == 0;
}

void Subscriber::Read()
{
    constexpr int waitMs = 10;
    ipc.Receive(waitMs, 0, LinxIpc::emptyString, nullptr);
}

bool Subscriber::Ping()
{
    IpcMessage request;
    return request.Allocate(ping, 0, nullptr) == 0 &&
           ipc.Request("SubtitleMgr", request, pingReply, requestMs, nullptr) == 0;
}

void Subscriber::Arrives(LinxIpc* ipc, void* subscriber)
{
    Subscriber& self = *static_cast<Subscriber*>(subscriber);
    self.record.Decode(ipc->ReceivedMessage().Payload());
    unsigned number = 0;
    for (unsigned i = 0; i < 4; ++i) {
        number = number << 8 | (i < self.record.data.size() ? self.record.data[i] : 255u);
    }
    // A late subscriber begins in the middle of the stream.
    if (self.received > 0 && number != self.next) {
        ++self.wrong;
    }
    ++self.received;
    self.next = number == self.last ? 0 : number + 1;
}
