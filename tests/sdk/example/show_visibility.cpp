// Makes region 3 visible and shows the notification that follows.

#include <LinxIpc.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <cstdio>

namespace {

constexpr unsigned visibilitySubscription = 6;
constexpr unsigned visibilityNotification = 0x3B1C;

void ShowVisibility(LinxIpc* ipc, void* isShown)
{
    RegionVisItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    std::printf("region %u is %s\n", unsigned{item.regionId},
                item.visible ? "visible" : "not visible");
    *static_cast<bool*>(isShown) = true;
}

}  // namespace

int main()
{
    LinxIpc ipc("ShowVisibility");
    SubtitleClient client(ipc, 2000);
    RegionVisItem item;
    bool isShown = false;
    if (ipc.Init() != 0 || client.Subscribe(visibilitySubscription, visibilityNotification, item,
                                            ShowVisibility, &isShown) != 0) {
        std::fputs("no service\n", stderr);
        return 1;
    }
    item.regionId = 3;
    item.visible = true;
    client.SetRegionVisibility(item);
    for (int turn = 0; turn < 1000 && !isShown; ++turn) {
        ipc.Receive(10, 0, LinxIpc::emptyString, nullptr);
    }
    return isShown ? 0 : 1;
}
