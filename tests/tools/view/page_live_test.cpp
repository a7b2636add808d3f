#include "tests/tools/view/PageSession.h"

#include "tests/harness/SimulatedService.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/harness/text_compare.h"

#include <chrono>
#include <set>

namespace {

using PageOfInput = PageSession;

const std::string connected = "event: connection\ndata: {\"connected\":true}\n\n";
const std::string disconnected = "event: connection\ndata: {\"connected\":false}\n\n";

/// The events of recording lines.
std::string EventsOf(const std::string& lines)
{
    std::string events;
    for (std::size_t at = 0; at < lines.size();) {
        const std::size_t end = lines.find('\n', at) + 1;
        events += "data: " + lines.substr(at, end - at) + "\n";
        at = end;
    }
    return events;
}

/// A reader of the events.
class EventReader : public HttpPeer {
public:
    explicit EventReader(unsigned int port) : HttpPeer(port)
    {
        Send("GET /events HTTP/1.0\r\nHost: localhost\r\n\r\n");  // without chunks
        begin = ReadUntil("\r\n\r\n").find("\r\n\r\n") + 4;
    }

    /// Waits for \p last, at \p from or later. \return all events until it
    std::string EventsUntil(const std::string& last, std::size_t from = 0)
    {
        const std::size_t end = ReadUntil(last, begin + from).find(last, begin + from);
        return Received().substr(begin, end + last.size() - begin);
    }

private:
    std::size_t begin;
};

TEST_F(PageOfInput, GivesEachMessageAndTheStateAfterAMistake)
{
    Start({"-"});
    Recording input;
    const std::string older = input.Data(3, 0, {1}).WithoutHeader();
    const std::string state =
        input.Palette(3, {16}).Data(3, 2, {2}).WithoutHeader().substr(older.size());
    EventReader reader(port);
    EXPECT_TEXT(reader.EventsUntil(connected), connected);
    page->Write(input.WithHeader() + "text\n");
    EXPECT_TEXT(reader.EventsUntil(disconnected),
                connected + EventsOf(older + state) + disconnected);
    EXPECT_TEXT(EventReader(port).EventsUntil(EventsOf(state)), disconnected + EventsOf(state));
    EXPECT_EQ(Get("/times").status, 404u);
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(page->Errors().substr(0, 21), "SubtitleMgrView: -:5:");
}

/// The memory of the page does not grow with messages, whether they are read or not.
TEST_F(PageOfInput, KeepsItsSize)
{
    constexpr unsigned int count = isSanitized ? 2000 : 5000;
    Start({"-"});
    HttpPeer stalled(port);
    stalled.Send(RequestFor("/events") + "\r\n");
    EventReader reader(port);
    Recording input;
    long before = 0;
    for (unsigned int half = 0; half < 2; ++half) {
        const std::size_t written = input.WithoutHeader().size();
        for (unsigned int i = 0; i < count; ++i) {
            input.Data(i % 14 + 1, 0, Bytes(1024, static_cast<unsigned char>(i)));
        }
        input.Palette(15, {static_cast<unsigned char>(half)});
        const std::string lines = input.WithoutHeader().substr(written);
        page->Write(lines);
        reader.ReadUntil(EventsOf(lines.substr(lines.rfind('\n', lines.size() - 2) + 1)));
        before = half == 0 ? ResidentKilobytes(page->Pid()) : before;
    }
    EXPECT_LT(ResidentKilobytes(page->Pid()), before + (isSanitized ? 30000 : 3000));
    EXPECT_EQ(End(), 0);
}

const std::string regionThree = "\"regionId\":3,\"visible\":true}\n";
const std::string regionFour = "\"regionId\":4,\"visible\":true}\n";

/// A page of a service on a messaging directory of its own.
class PageOfService : public PageSession {
protected:
    PageOfService() { settings.environment["LINX_DIR"] = messaging.Path(); }

    TempDir messaging;
    SimulatedService service{messaging.Path()};
    ChildProcess::Options settings;
};

TEST_F(PageOfService, AsksItForNothingButItsState)
{
    service.Play("visibility 3 t\nwait-subscribers 10\nsleep 200\nvisibility 4 t\n")
        .Journal()
        .Start();
    Start({"--live"}, settings);
    EventReader reader(port);
    reader.EventsUntil(regionThree);
    reader.EventsUntil(regionFour);
    EXPECT_NE(Get("/about").body.find("\"source\":\"SubtitleMgr\",\"live\":true"),
              std::string::npos);
    EXPECT_EQ(Exchange(port, RequestFor("/quit", "localhost", "POST")).status, 405u);
    EXPECT_EQ(Get("/quit").status, 404u);
    std::set<std::string> asked;
    for (const std::string& line : service.WaitForJournalLines(8)) {
        asked.insert(line.substr(0, line.find_first_of(",}")));
    }
    // The ping follows a second without messages.
    EXPECT_EQ(asked,
              (std::set<std::string>{R"({"request":"Ping")", R"({"request":"RefreshRegions")",
                                     R"({"request":"Subscribe")"}));
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(page->Errors(), "");
}

TEST_F(PageOfService, RefreshesAfterAShortRestart)
{
    service.Name("node1/SubtitleMgr").Play("visibility 3 t\n").Start();
    Start({"--live", "--name", "node1/SubtitleMgr"}, settings);
    EventReader reader(port);
    reader.EventsUntil(regionThree);
    service.Stop();
    SimulatedService next(messaging.Path());
    next.Name("node1/SubtitleMgr").Play("visibility 4 t\n").Start();
    reader.EventsUntil(regionFour);
    EXPECT_EQ(End(), 0);
}

TEST_F(PageOfService, EndsWithoutDelayWhileItDoesNotAnswer)
{
    service.Start();
    Start({"--live"}, settings);
    EventReader reader(port);
    service.Process().Stop();
    reader.EventsUntil(disconnected);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(End(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    service.Process().Continue();
}

TEST_F(PageOfService, MayBeEndedBeforeTheServiceAnswers)
{
    service.Start();
    service.Process().Stop();
    ChildProcess waiting({VIEW_PROGRAM, "page", "--live"}, settings);
    const std::string status = "/proc/" + std::to_string(waiting.Pid()) + "/status";
    const auto caught = [&] {
        const std::string text = ReadWholeFile(status);
        return std::stoull(text.substr(text.find("SigCgt:") + 7), nullptr, 16);
    };
    WaitUntil([&] { return (caught() >> (SIGINT - 1) & 1) != 0; }, [] { return "a handler"; });
    waiting.Signal(SIGINT);
    EXPECT_EQ(waiting.WaitForExit(), 0);
    EXPECT_TEXT(waiting.Errors(), "");
    service.Process().Continue();
}

TEST_F(PageOfService, FailsWithoutAService)
{
    const Ended ended = Run({"page", "--live", "--name", "node1/SubtitleMgr"}, "", settings);
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.output, "");
    EXPECT_TEXT(ended.errors, "SubtitleMgrView: node1/SubtitleMgr accepts no subscription: it does "
                              "not run, or refuses\n");
}

}  // namespace
