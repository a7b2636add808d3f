#include "bench/measures.h"
#include "bench/mosquitto.h"
#include "bench/process.h"
#include "bench/services.h"
#include "bench/subscriber.h"
#include "bench/table.h"
#include "handlers/notification_handlers.h"
#include "recording/writer.h"
#include "records/received_record.h"
#include "tap/text_lines.h"

#include "platform/src/descriptor.h"

#include <RegionDataItem.h>

#include <algorithm>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

// Recorded lines, read from a pipe by this process on both sides of each pair.

namespace {

constexpr std::size_t regionSize = 30720;

recording::Notification BitmapNotification(const std::vector<unsigned char>& bytes)
{
    recording::Notification bitmap;
    bitmap.at = recording::Now();
    bitmap.subscription = 4;
    bitmap.regionId = 3;
    bitmap.subtitleFormat = 2;
    bitmap.data = {bytes.data(), bytes.size()};
    return bitmap;
}

/// Only writes lines with the same bitmap.
void WriteLines(int output)
{
    const std::vector<unsigned char> bytes = CifBitmap(regionSize);
    for (std::string text;; text.clear()) {
        recording::AppendLine(text, BitmapNotification(bytes));
        for (std::size_t at = 0; at < text.size();) {
            const int count = static_cast<int>(write(output, &text[at], text.size() - at));
            at += static_cast<std::size_t>(Checked(count, "write"));
        }
    }
}

class Lines {
public:
    double Receive()
    {
        static char bytes[65536];
        const int count = static_cast<int>(read(reader.Get(), bytes, sizeof bytes));
        return static_cast<double>(std::count(bytes, bytes + Checked(count, "read"), '\n'));
    }

protected:
    Lines()
    {
        int ends[2];
        Checked(pipe2(ends, O_CLOEXEC), "pipe");
        reader = Descriptor(ends[0]);
        writer = Descriptor(ends[1]);
    }

    Descriptor reader;
    Descriptor writer;
};

class BareLines : public Lines {
public:
    BareLines() : process(writer.Get(), WriteLines) {}

private:
    Process process;
};

class TapLines : public Lines {
public:
    TapLines()
        : service(BitmapScenario(regionSize)),
          tap({ProgramBeside("SubtitleMgrTap"), "--json", "--kinds", "data", "--formats", "cif"},
              -1, writer.Get())
    {
    }

private:
    SimulatedService service;
    Process tap;
};

template <typename Messages>
Side TimeOf(Messages& messages)
{
    return MeanTimeOfMany([&messages] { return messages.Receive(); });
}

/// The work of the tap to show one notification.
void ShowAsText(LinxIpc* ipc, void*)
{
    static RegionDataItem item;
    static tap::TimeStamps stamps(tap::TimeForm::Absolute);
    static const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    DecodeReceived(*ipc, item);
    recording::Notification bitmap = BitmapNotification(item.data);
    std::string text;
    stamps.Append(text, bitmap.at);
    tap::AppendText(text, bitmap);
    Checked(static_cast<int>(write(nowhere.Get(), text.data(), text.size())), "write");
}

double TimeOfNotification(Subscriber::Callback callback, BenchClock::duration window)
{
    const BarePublisher publisher(regionSize);
    Subscriber subscriber(callback);
    return TimeOf(subscriber)(window);
}

}  // namespace

void MeasureRecordings(Table& table)
{
    const Side console = [](auto window) { return TimeOfNotification(HandleRegionData, window); };
    const Side shown = [](auto window) { return TimeOfNotification(ShowAsText, window); };
    table.AddRate("30,720-byte region data, shown by the tap", "HandleRegionData",
                  ComparePairs(console, shown), {0.5, 1});
    {
        BareLines bare;
        TapLines lines;
        table.AddRate("  recorded, simulator + tap", "a bare writer of lines",
                      ComparePairs(TimeOf(bare), TimeOf(lines)));
    }
    if (!MosquittoMessages::IsInstalled()) {
        table.AddRemark("mosquitto or mosquitto_sub is not installed: no row for recording");
        return;
    }
    // The payload is the bitmap as in a recorded line, in base64.
    MosquittoMessages messages(regionSize / 3 * 4, "%j");
    TapLines lines;
    table.AddRate("  the same", "mosquitto, mosquitto_sub -F %j",
                  ComparePairs(TimeOf(messages), TimeOf(lines)), {1.5, 3});
}
