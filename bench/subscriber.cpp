#include "bench/subscriber.h"

#include "platform/src/wire_format.h"
#include <RegionDataItem.h>

#include <stdexcept>

using namespace platform;

Subscriber::Subscriber(Callback callback)
{
    RegionDataItem item;
    if (ipc.Init() != 0 || client.Subscribe(subscriptions::regionDataCif, messages::regionDataItem,
                                            item, callback, nullptr) != 0) {
        throw std::runtime_error("the subscription failed");
    }
}

void Ignore(LinxIpc*, void*) {}
