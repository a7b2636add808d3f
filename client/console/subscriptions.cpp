// Console commands of SubtitleMgrCli that decide what the receive thread may read.

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "handlers/notification_handlers.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <iostream>
#include <unistd.h>

namespace {

// Subscription numbers; the region data of each stream format has its own.
constexpr unsigned regionDataSubscriptions[] = {2, 3, 4, 12};
constexpr unsigned everyRegionData = 1;
constexpr unsigned regionVisibility = 6;
constexpr unsigned paletteUpdate = 10;

// Message numbers of the notifications.
constexpr unsigned regionDataItemId = 0x3B19;
constexpr unsigned regionVisItemId = 0x3B1C;
constexpr unsigned paletteItemId = 0x3B1D;

/// Keeps the receive thread off the endpoint before a request. The pause lets a read in progress
/// come to its end.
void StopReceiving()
{
    constexpr useconds_t pauseUs = 20000;
    subscribed = false;
    usleep(pauseUs);
}

/// Kept on purpose: an error has no line end, so the next output continues its line.
void ShowOutcome(int result)
{
    if (result == 0) {
        std::cout << std::endl;
    } else {
        std::cout << "  ERROR";
    }
}

}  // namespace

void SubtitleMgrCli::SubscribeForSubtitles(RegionDataItem& data, RegionVisItem& vis,
                                           PaletteItem& palette)
{
    std::cout << "Subscribing..." << std::endl;

    // Kept on purpose: one heading and four outcomes, so three empty lines when all goes well.
    std::cout << "Subscribing for RegionData";
    for (const unsigned number : regionDataSubscriptions) {
        ShowOutcome(
            subtitleClient.Subscribe(number, regionDataItemId, data, HandleRegionData, nullptr));
    }
    std::cout << "Subscribing for RegionVisibility";
    ShowOutcome(
        subtitleClient.Subscribe(regionVisibility, regionVisItemId, vis, handleRegionVis, nullptr));
    std::cout << "Subscribing for PaletteUpdate";
    ShowOutcome(subtitleClient.Subscribe(paletteUpdate, paletteItemId, palette, handlePaletteUpdate,
                                         nullptr));

    // Kept on purpose: set after refused subscriptions too. The flag lets the receive thread run;
    // it does not say what the service accepted.
    subscribed = true;
}

void SubtitleMgrCli::UnsubscribeForSubtitles()
{
    StopReceiving();
    std::cout << "Unsubscribing..." << std::endl;
    // Kept on purpose: region data was subscribed under four numbers and is released under 1 only,
    // which releases all of them.
    subtitleClient.Unsubscribe(everyRegionData);
    subtitleClient.Unsubscribe(regionVisibility);
    subtitleClient.Unsubscribe(paletteUpdate);
}

void SubtitleMgrCli::RefreshAllSubtitles()
{
    const bool wasSubscribed = subscribed;
    StopReceiving();
    std::cout << "Sending RefreshRegions" << std::endl;
    ShowOutcome(subtitleClient.RefreshRegions());
    subscribed = wasSubscribed;
}
