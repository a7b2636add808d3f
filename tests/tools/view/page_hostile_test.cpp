#include "tests/tools/view/PageSession.h"

#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"

#include <chrono>
#include <random>
#include <sys/resource.h>

namespace {

using namespace std::chrono;
using PageUnderAttack = PageSession;

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

/// Many peers at a time, which leave in any state.
TEST_F(PageUnderAttack, AnswersOthersAndReturnsToItsSize)
{
    constexpr std::size_t manyPeers = isSanitized ? 150 : 400;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = manyPeers / 2;  // the page allows itself more
    setrlimit(RLIMIT_NOFILE, &limit);
    Recording recording;
    for (unsigned int i = 0; i < 256; ++i) {
        recording.Data(1, 0, Bytes(30720, 1));
    }
    Show(recording.WithHeader());
    AllowManyDescriptors();
    const int descriptors = CountDescriptors(page->Pid());
    std::mt19937 random(1);
    long kilobytes = 0;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<HttpPeer>> peers;
        for (std::size_t number = 0; number < manyPeers; ++number) {
            peers.push_back(std::make_unique<HttpPeer>(port));
            peers.back()->Send(Attack(random, number));
        }
        const auto start = steady_clock::now();
        EXPECT_EQ(Get("/about").status, 200u);
        EXPECT_LT(steady_clock::now() - start, seconds(5));
        peers.clear();
        const auto count = [&] { return CountDescriptors(page->Pid()); };
        WaitUntil([&] { return count() == descriptors && page->CountThreads() == 2; },
                  [&] { return std::to_string(count()) + " descriptors"; });
        kilobytes = round == 0 ? ResidentKilobytes(page->Pid()) : kilobytes;
    }
    EXPECT_LT(ResidentKilobytes(page->Pid()), kilobytes + (isSanitized ? 50000 : 2000));
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(page->Errors(), "");
}

}  // namespace
