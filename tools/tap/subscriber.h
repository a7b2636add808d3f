#pragma once

#include "tap/filter.h"

#include <LinxIpc.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubscribeClient.h>

#include <cstdint>
#include <functional>

namespace tap {

/// Turns the notifications of a service into those of a recording.
class Subscriber {
public:
    /// Takes a notification without its time, whose bytes are valid during the call alone.
    using Take = std::function<void(recording::Notification&, unsigned int encodedSize)>;

    explicit Subscriber(Take takeToCall) : take(std::move(takeToCall)) {}

    /// Subscribes to what \p filter wants, in the console's order. From then on, calls \p take
    /// inside LinxIpc::Receive(). \return false when the service does not accept
    bool Subscribe(SubscribeClient& client, const Filter& filter);

    /// How many notifications were received.
    std::uint64_t Received() const { return received; }
    bool IsOutOfMemory() const { return isOutOfMemory; }

private:
    template <void (Subscriber::*takeRecord)(LinxIpc&)>
    static void Callback(LinxIpc* ipc, void* subscriber);
    void TakeRegionData(LinxIpc& from);
    void TakeVisibility(LinxIpc& from);
    void TakePalette(LinxIpc& from);

    const Take take;
    std::uint64_t received = 0;
    bool isOutOfMemory = false;
    RegionDataItem regionData;
    RegionVisItem visibility;
    PaletteItem palette;
};

}  // namespace tap
