#include "tests/tools/view/PageSession.h"

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"
#include "tests/harness/text_compare.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sys/resource.h>

namespace {

using namespace std::chrono;
using Page = PageSession;

const std::string recording = Recording().Data(3, 2, {1, 0}).WithHeader();

TEST_F(Page, EndsWithoutDelay)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Start({"-"});
        HttpPeer idle(port);
        HttpPeer half(port);
        half.Send("GET /about HT");
        HttpPeer stream(port);
        stream.Send(RequestFor("/events") + "\r\n");
        stream.ReadUntil("connected");
        const auto start = steady_clock::now();
        EXPECT_EQ(End(signal), 0);
        // The time limits of connections are 10 s.
        EXPECT_LT(steady_clock::now() - start, seconds(2));
        EXPECT_EQ(page->Errors(), "");
    }
}

TEST_F(Page, ProtectsEveryAnswer)
{
    Show(recording);
    const struct {
        std::string request;
        unsigned int status;
    } rows[] = {
        {RequestFor("/"), 200},
        {RequestFor("/about"), 200},
        {RequestFor("/state?before=1"), 200},
        {RequestFor("/state"), 400},
        {RequestFor("/", "example.org"), 403},
        {RequestFor("/nothing"), 404},
        {RequestFor("/events"), 404},
        {RequestFor("/", "localhost", "POST"), 405},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.request);
        const HttpAnswer answer = Exchange(port, row.request);
        EXPECT_EQ(answer.status, row.status);
        for (const char* const header :
             {"Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
              "img-src 'self' data: blob:; connect-src 'self'; base-uri 'none'; form-action "
              "'none'; frame-ancestors 'none'",
              "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
              "Cache-Control: no-store"}) {
            EXPECT_TRUE(answer.Has(header)) << header;
        }
    }
}

TEST_F(Page, AnswersLoopbackNamesOnly)
{
    Show(recording);
    for (const std::string host : {"127.0.0.1", "LocalHost:80", "[::1]:80"}) {
        EXPECT_EQ(Exchange(port, RequestFor("/", host)).status, 200u) << host;
    }
    for (const std::string host : {"", "127.0.0.1.example.org", "localhost:80.example.org", "[::1",
                                   "[::1]x", "localhost\r\nHost: localhost"}) {
        EXPECT_EQ(Exchange(port, RequestFor("/", host)).status, 403u) << host;
    }
    EXPECT_EQ(Exchange(port, "GET / HTTP/1.0\r\n").status, 403u);
}

TEST_F(Page, AnswersGetAndHeadOnly)
{
    Show(recording);
    for (const std::string method : {"POST", "get"}) {
        const HttpAnswer answer = Exchange(port, RequestFor("/about", "localhost", method));
        EXPECT_EQ(answer.status, 405u) << method;
        EXPECT_TRUE(answer.Has("Allow: GET, HEAD"));
    }
    const HttpAnswer head = Exchange(port, RequestFor("/state?before=1", "localhost", "HEAD"));
    EXPECT_EQ(head.status, 200u);
    EXPECT_EQ(head.body, "");
    const std::size_t size = Get("/state?before=1").body.size();
    EXPECT_TRUE(head.Has("Content-Length: " + std::to_string(size)));
}

TEST_F(Page, KeepsAConnectionOpen)
{
    Show(recording);
    HttpPeer peer(port);
    for (const std::string path : {"/times", "/about", "/page.js"}) {
        peer.Send(RequestFor(path) + "Content-Length: 4\r\n\r\nbody");
        peer.ReadUntil(Get(path).body);
    }
}

TEST_F(Page, FailsWhenItsPortIsTaken)
{
    Show(recording);
    const std::string taken = std::to_string(port);
    const Ended ended = Run({"page", "--port", taken, files / "drive.jsonl"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TEXT(ended.output, "");
    EXPECT_TEXT(ended.errors, "SubtitleMgrView: port " + taken + ": Address already in use\n");
    EXPECT_EQ(End(), 0);
    Start({"--port", taken, files / "drive.jsonl"});
    EXPECT_EQ(std::to_string(port), taken);
}

std::string Garbage(std::mt19937& random, std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(random());
    }
    return bytes;
}

/// What a hostile peer sends.
std::string Attack(std::mt19937& random, std::size_t number)
{
    switch (number % 8) {
    case 0: return "";
    case 1: return "GET /about HTTP/1.1\r\nHost: local";
    case 2: return Garbage(random, 3000);
    case 3: return RequestFor("/messages?from=0&count=256") + "\r\n";  // never read
    case 4: return RequestFor("/events") + "X: " + std::string(100000, 'x');
    case 5: return RequestFor("/" + std::string(100000, 'x')) + "\r\n";
    case 6:
        return RequestFor("/about", "localhost", "POST") + "Content-Length: 99999999999\r\n\r\nx";
    default:
        return RequestFor("/about") + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n" +
               Garbage(random, 100);
    }
}

/// Many peers at a time, first silent, then hostile, which leave in any state.
TEST_F(Page, AnswersUnderAttackAndReturnsToItsSize)
{
    constexpr std::size_t manyPeers = isSanitized ? 150 : 1000;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = manyPeers / 2;  // the page allows itself more
    setrlimit(RLIMIT_NOFILE, &limit);
    Recording large;
    for (unsigned int i = 0; i < 256; ++i) {
        large.Data(1, 0, Bytes(30720, 1));
    }
    Show(large.WithHeader());
    AllowManyDescriptors();
    const int descriptors = CountDescriptors(page->Pid());
    std::mt19937 random(1);
    long kilobytes = 0;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<HttpPeer>> peers;
        for (std::size_t number = 0; number < manyPeers; ++number) {
            peers.push_back(std::make_unique<HttpPeer>(port));
            peers.back()->Send(round == 0 ? "" : Attack(random, number));
        }
        const auto start = steady_clock::now();
        EXPECT_EQ(Get("/about").status, 200u);
        EXPECT_LT(steady_clock::now() - start, seconds(5));
        peers.clear();
        const auto count = [&] { return CountDescriptors(page->Pid()); };
        WaitUntil([&] { return count() == descriptors && page->CountThreads() == 2; },
                  [&] { return std::to_string(count()) + " descriptors"; });
        kilobytes = round == 1 ? ResidentKilobytes(page->Pid()) : kilobytes;
    }
    EXPECT_LT(ResidentKilobytes(page->Pid()), kilobytes + (isSanitized ? 50000 : 2000));
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(page->Errors(), "");
}

}  // namespace
