// A client for script/soak: soak_reader COUNT LAST. The first line reports that it has subscribed,
// the last line has the result. Status 1: notifications are lost, doubled or out of order.

#include "packaging/tool_options.h"

#include <LinxIpc.h>
#include <RegionDataItem.h>
#include <SubtitleClient.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{30};
// The service publishes HD bitmaps unchanged.
constexpr unsigned hdSubscription = 2;
constexpr unsigned regionDataItemId = 15129;

/// The first 4 bytes of a bitmap are its number, most significant byte first; 0 follows the last
/// number.
struct Bitmaps {
    static void Arrives(LinxIpc* ipc, void* bitmaps)
    {
        Bitmaps& self = *static_cast<Bitmaps*>(bitmaps);
        self.record.Decode(ipc->ReceivedMessage().Payload());
        unsigned number = 0;
        for (unsigned i = 0; i < 4; ++i) {
            number = number << 8 | (i < self.record.data.size() ? self.record.data[i] : 255u);
        }
        self.wrong += number == self.next ? 0u : 1u;
        ++self.received;
        self.next = number == self.last ? 0 : number + 1;
    }

    unsigned last;
    RegionDataItem record;
    unsigned next = 0;
    unsigned long long received = 0;
    unsigned long long wrong = 0;
};

int Read(unsigned long long count, unsigned last)
{
    LinxIpc ipc("soak");
    SubtitleClient client(ipc, 10000);
    Bitmaps bitmaps{last, {}};
    if (ipc.Init() != 0 || client.Subscribe(hdSubscription, regionDataItemId, bitmaps.record,
                                            Bitmaps::Arrives, &bitmaps) != 0) {
        std::puts("not subscribed");
        return 1;
    }
    std::puts("subscribed");
    std::fflush(stdout);
    const Clock::time_point begin = Clock::now();
    for (Clock::time_point lastArrival = begin;
         bitmaps.received < count && Clock::now() - lastArrival < patience;) {
        if (ipc.Receive(10, 0, LinxIpc::emptyString, nullptr) == 0) {
            lastArrival = Clock::now();
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf("%llu received, %llu out of turn, %.1f s, %.0f a second\n", bitmaps.received,
                bitmaps.wrong, seconds, static_cast<double>(bitmaps.received) / seconds);
    std::fflush(stdout);
    // soak.py measures this process until the input ends.
    std::getchar();
    return bitmaps.received >= count && bitmaps.wrong == 0 ? 0 : 1;
}

constexpr char usage[] =
    "Usage: soak_reader COUNT LAST\n"
    "Reads notifications of a service for a long time; script/soak starts it.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "soak_reader", usage)) {
        return 0;
    }
    if (argc != 3) {
        std::fputs(usage, stderr);
        return 2;
    }
    return Read(std::strtoull(argv[1], nullptr, 10),
                static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
}
