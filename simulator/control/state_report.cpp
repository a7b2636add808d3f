#include "simulator/control/answers.h"
#include "simulator/control/commands.h"
#include "simulator/journal/json.h"
#include "simulator/journal/notification_line.h"

#include "recording/crc32.h"

#include <memory>

using namespace platform;
using namespace sim;

namespace {

constexpr unsigned int allSubscriptions[] = {
    subscriptions::everyRegionData, subscriptions::regionDataHd,     subscriptions::regionDataSd,
    subscriptions::regionDataCif,   subscriptions::regionVisibility, subscriptions::palette,
    subscriptions::regionDataOther,
};

void AddData(Json& json, const recording::Data& data)
{
    json.Name("size").Add(data.size);
    json.Name("crc32").Add(recording::HexOf(recording::Crc32(data)));
}

void AddBitmap(Json& json, const recording::Notification& bitmap)
{
    json.Begin('{').Name("subtitleFormat").Add(bitmap.subtitleFormat);
    AddData(json, bitmap.data);
    json.End('}');
}

void AddPalette(Json& json, const recording::Notification& palette)
{
    json.Name("palette").Begin('{');
    AddData(json, palette.data);
    json.Name("fill").Add(palette.fill).Name("backgroundCode").Add(palette.backgroundCode);
    json.End('}');
}

void AddClient(Json& json, const Peer& peer)
{
    json.Begin('{').Name("client").Add(peer.number).Name("subscriptions").Begin('[');
    for (const unsigned int number : allSubscriptions) {
        if (peer.subscriptions.Holds(number)) {
            json.Add(number);
        }
    }
    json.End(']').Name("backlog").Add(peer.backlog.Notifications());
    json.Name("backlogBytes").Add(peer.backlog.NotificationBytes());
    json.Name("lost").Add(peer.stall.Lost()).Name("stalled").Add(peer.stall.IsStalled());
    json.End('}');
}

/// Collects the answer to `state`, a record at a time: checksums of large bitmaps take long.
class StateReport {
public:
    explicit StateReport(const Controlled& everything) : on(everything) {}

    /// \return the answer, or none when the budget is spent before every record was looked at
    Answer Continue(Budget& budget)
    {
        for (; next < SubtitleService::recordCount; ++next) {
            if (budget.IsSpent()) {
                return Answer();
            }
            if (on.service.IsKept(next)) {
                Look(on.service.Find(next), budget);
            }
        }
        AddRegions();
        AddSensors();
        json.Name("level").Add(on.service.LogLevel());
        AddClients();
        AddCounters();
        AddPlay(json.Name("play"), on.player);
        json.Name("faults").AddRaw(on.faults.AsJson());
        return Done(json.Text());
    }

private:
    using Lines = std::vector<recording::Notification>;

    void Look(const SharedFrame& frame, Budget& budget)
    {
        if (frame) {
            recording::Notification line = LineOf(frame);
            line.data = {nullptr, line.data.size, recording::Crc32(line.data)};
            lines.push_back(line);
            budget.Spend(frame->size());
        }
    }

    void AddRegions()
    {
        json.Name("regions").Begin('[');
        for (auto line = lines.cbegin(); line != lines.cend();) {
            line = AddRegion(line);
        }
        json.End(']');
    }

    /// \return the first line of the next region
    Lines::const_iterator AddRegion(Lines::const_iterator line)
    {
        using Kind = recording::NotificationKind;
        const unsigned int region = line->regionId;
        const auto isOf = [&](Kind kind) {
            return line != lines.cend() && line->regionId == region && line->kind == kind;
        };
        json.Begin('{').Name("regionId").Add(region).Name("bitmaps").Begin('[');
        for (; isOf(Kind::RegionData); ++line) {
            AddBitmap(json, *line);
        }
        json.End(']');
        for (; isOf(Kind::RegionVisibility); ++line) {
            json.Name("visible").Add(line->visible);
        }
        for (; isOf(Kind::Palette); ++line) {
            AddPalette(json, *line);
        }
        const Traffic& traffic = on.service.TrafficOf(region);
        json.Name("publications").Add(traffic.messages).Name("bytes").Add(traffic.bytes);
        json.End('}');
        return line;
    }

    void AddSensors()
    {
        json.Name("sensors").Begin('[');
        for (unsigned int sensor = 0; sensor < SubtitleService::sensorCount; ++sensor) {
            json.Add(on.service.SensorIsOn(sensor));
        }
        json.End(']');
    }

    void AddClients()
    {
        json.Name("clients").Begin('[');
        for (const auto& peer : on.peers.Peers()) {
            if (!peer->IsClosed()) {
                AddClient(json, *peer);
            }
        }
        json.End(']');
    }

    void AddCounters()
    {
        const RequestCounts& requests = on.handler.Counts();
        const Traffic published = on.service.AllTraffic();
        json.Name("counters").Begin('{');
        json.Name("requests").Add(requests.all).Name("refused").Add(requests.refused);
        json.Name("publications").Add(published.messages).Name("bytes").Add(published.bytes);
        json.End('}');
    }

    const Controlled on;
    Lines lines;
    Json json;
    unsigned int next = 0;  ///< record to look at
};

}  // namespace

Answer ControlCommands::State(const Call& call)
{
    const auto report = std::make_shared<StateReport>(on);
    call.connection.job = {[report](Budget& budget) { return report->Continue(budget); },
                           Deadline(-1), true};
    return Answer();
}
