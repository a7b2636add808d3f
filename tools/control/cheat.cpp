#include "control/cheat.h"

namespace control {

const char* const cheatSheet =
    "A service and its state\n"
    "  SubtitleMgrSim --quiet &                   start a service; it prints ready\n"
    "  SubtitleMgrCtl doctor                      find what is wrong, and a repair\n"
    "  SubtitleMgrCtl state                       show all that the service keeps\n"
    "Clients\n"
    "  SubtitleMgrCli -p                          ping the service\n"
    "  SubtitleMgrCli -i                          open the console; x leaves it\n"
    "  SubtitleMgrTap --count 3 &                 show the next three notifications\n"
    "Traffic\n"
    "  SubtitleMgrCtl await subscribers=10        wait until a client has subscribed\n"
    "  SubtitleMgrCtl record drive.jsonl          record all that follows\n"
    "  SubtitleMgrCtl palette 3 31 true 00ff00ff  publish a palette,\n"
    "  SubtitleMgrCtl region-data 3 cif 00010203  a bitmap,\n"
    "  SubtitleMgrCtl visibility 3 true           and that the region is shown\n"
    "  SubtitleMgrCtl record off                  end the recording\n"
    "  SubtitleMgrCtl play drive.jsonl rate=10    play it, ten times as fast\n"
    "Pictures\n"
    "  SubtitleMgrView terminal drive.jsonl       draw the regions of a recording\n"
    "  SubtitleMgrView png -o png drive.jsonl     make pictures of them\n"
    "  SubtitleMgrView page --live &              show them in a browser, live\n"
    "Faults\n"
    "  SubtitleMgrCtl fault refuse times=1        refuse the next request\n"
    "  SubtitleMgrCtl quit                        end the service\n";

}  // namespace control
