// The interactive console of SubtitleMgrCli: its menu and what each key does.

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "console/log_entry.h"
#include "console/prompts.h"
#include "stats/SubtitleStats.h"

#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <iostream>
#include <new>

namespace {

void PrintMenu()
{
    std::cout << std::endl;
    std::cout << "Choose an option:" << std::endl;
    std::cout << "1) Subscribe for subtitles                 (currently "
              << (subscribed ? "subscribed" : "unsubscribed") << ")" << std::endl;
    std::cout << "2) Unsubscribe for subtitles" << std::endl;
    std::cout << "3) Modify Region Data" << std::endl;
    std::cout << "4) Modify Region Visibility" << std::endl;
    std::cout << "5) Modify Palette Data" << std::endl;
    std::cout << "6) Invert Region Data" << std::endl;
    std::cout << "7) Run dynamic test" << std::endl;
    std::cout << "8) Send sensor changes" << std::endl;
    std::cout << "r) Refresh all subtitles" << std::endl;
    std::cout << "s) View statistics" << std::endl;
    std::cout << "x) Exit" << std::endl;
    std::cout << std::endl;
}

constexpr unsigned actionDone = 3;

}  // namespace

unsigned SubtitleMgrCli::ExecuteTestMode()
{
    // Passed to Subscribe() and not used afterwards. A library may keep references to them, so they
    // live as long as the console.
    RegionDataItem data;
    RegionVisItem visibility;
    PaletteItem palette;

    char key = 0;
    for (;;) {
        PrintMenu();
        ReadMenuKey(key);
        try {
            switch (key) {
            case '1': SubscribeForSubtitles(data, visibility, palette); break;
            case '2': UnsubscribeForSubtitles(); break;
            case '3': ModifyRegionData(); break;
            case '4': ModifyRegionVisibility(); break;
            case '5': ModifyPaletteData(); break;
            case '6': InvertRegionData(); break;
            case '7': DynamicTest(); break;
            case '8': SensorTest(); break;
            case 'r': RefreshAllSubtitles(); break;
            case 's': subtitleStats.Display(); break;
            // Kept on purpose: c, k and q are not in the menu.
            case 'c': subtitleStats.Clear(); break;
            case 'k': Quit(); break;
            // Kept on purpose: leaving neither unsubscribes nor clears `subscribed`.
            case 'x':
            case 'q': return actionDone;
            default: DiscardOneCharacter(); break;
            }
        } catch (const std::bad_alloc&) {
            LogRefusedMemory(__LINE__, "a command");
        }
    }
}
