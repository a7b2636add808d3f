#include "simulator/backlog.h"

#include "tests/harness/build_kind.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>

using namespace sim;

namespace {

SharedFrame FrameOfSize(std::size_t size, unsigned char fill = 0)
{
    return std::make_shared<std::vector<unsigned char>>(size, fill);
}

void AddReply(Backlog& backlog, const std::string& text)
{
    backlog.AddReply(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

/// Takes out up to \p most bytes, as a socket would.
std::string Take(Backlog& backlog, std::size_t most)
{
    std::string taken;
    while (!backlog.IsEmpty() && taken.size() < most) {
        iovec pieces[3];
        std::size_t total = 0;
        const unsigned int count = backlog.Gather(pieces, 3, total);
        std::string gathered;
        for (unsigned int i = 0; i < count; ++i) {
            gathered.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
        }
        EXPECT_EQ(gathered.size(), total);
        gathered.resize(std::min(gathered.size(), most - taken.size()));
        backlog.Sent(gathered.size());
        taken += gathered;
    }
    return taken;
}

constexpr std::size_t everything = std::size_t(1) << 30;

TEST(Backlog, SendsRepliesAndNotificationsInTheOrderTheyWereAdded)
{
    Backlog backlog;
    AddReply(backlog, "r1");
    backlog.AddNotification(FrameOfSize(2, 'a'));
    backlog.AddNotification(FrameOfSize(1, 'b'));
    AddReply(backlog, "r2");
    backlog.AddNotification(FrameOfSize(1, 'c'));
    EXPECT_EQ(Take(backlog, everything), "r1aabr2c");
    EXPECT_TRUE(backlog.IsEmpty());
}

TEST(Backlog, GoesOnInsideAFrameThatWasSentInPart)
{
    Backlog backlog;
    backlog.AddNotification(FrameOfSize(5, 'a'));
    AddReply(backlog, "reply");
    EXPECT_EQ(Take(backlog, 3), "aaa");
    EXPECT_EQ(Take(backlog, 4), "aare");
    EXPECT_EQ(Take(backlog, everything), "ply");
}

TEST(Backlog, KeepsTheNewest256Notifications)
{
    Backlog backlog;
    for (unsigned int i = 0; i < 256; ++i) {
        EXPECT_TRUE(backlog.HasRoomFor(1, 1));
        EXPECT_EQ(backlog.AddNotification(FrameOfSize(1, static_cast<unsigned char>(i))), 0u);
    }
    EXPECT_FALSE(backlog.HasRoomFor(1, 1));
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(1, 'n')), 1u);
    EXPECT_EQ(backlog.Notifications(), 256u);
    const std::string rest = Take(backlog, everything);
    EXPECT_EQ(rest.front(), '\1');
    EXPECT_EQ(rest.back(), 'n');
}

TEST(Backlog, KeepsNotificationsOfExactlyOneMebibyte)
{
    Backlog backlog;
    backlog.AddNotification(FrameOfSize(1024 * 1024 - 10));
    EXPECT_TRUE(backlog.HasRoomFor(1, 10));
    EXPECT_FALSE(backlog.HasRoomFor(1, 11));
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(10)), 0u);
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(1)), 1u);
    EXPECT_EQ(backlog.NotificationBytes(), 11u);
}

TEST(Backlog, KeepsTheNewestNotificationWhateverItsSize)
{
    Backlog backlog;
    backlog.AddNotification(FrameOfSize(1));
    backlog.AddNotification(FrameOfSize(1));
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(3 * 1024 * 1024)), 2u);
    EXPECT_EQ(backlog.Notifications(), 1u);
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(7)), 1u);
    EXPECT_EQ(backlog.NotificationBytes(), 7u);
}

TEST(Backlog, AlwaysHasRoomForTheFirstNotification)
{
    EXPECT_TRUE(Backlog().HasRoomFor(1, 16 * 1024 * 1024));
}

TEST(Backlog, NeverDropsAReply)
{
    Backlog backlog;
    for (unsigned int i = 0; i < 1000; ++i) {
        AddReply(backlog, "r");
        backlog.AddNotification(FrameOfSize(1, 'n'));
    }
    EXPECT_EQ(backlog.Replies(), 1000u);
    EXPECT_EQ(backlog.Notifications(), 256u);
    std::string expected(1000 - 256, 'r');
    for (unsigned int i = 0; i < 256; ++i) {
        expected += "rn";
    }
    EXPECT_EQ(Take(backlog, everything), expected);
}

TEST(Backlog, FinishesAFrameThatIsPartlySentWhenItDrops)
{
    Backlog backlog;
    backlog.AddNotification(FrameOfSize(4, 'a'));
    backlog.AddNotification(FrameOfSize(4, 'b'));
    EXPECT_EQ(Take(backlog, 1), "a");
    EXPECT_EQ(backlog.AddNotification(FrameOfSize(2 * 1024 * 1024, 'c')), 1u);
    EXPECT_EQ(Take(backlog, 4), "aaac");
}

TEST(Backlog, CountsNothingOnceItIsCleared)
{
    Backlog backlog;
    AddReply(backlog, "r");
    backlog.AddNotification(FrameOfSize(4, 'a'));
    Take(backlog, 2);
    backlog.Clear();
    EXPECT_TRUE(backlog.IsEmpty());
    EXPECT_EQ(backlog.NotificationBytes(), 0u);
    AddReply(backlog, "whole");
    EXPECT_EQ(Take(backlog, everything), "whole");
}

/// What the backlog is to do, said in the plainest way.
class PlainBacklog {
public:
    unsigned int AddNotification(const std::string& bytes)
    {
        unsigned int dropped = 0;
        while (Count() > 0 && (Count() + 1 > 256 || Bytes() + bytes.size() > 1024 * 1024)) {
            std::size_t oldest = 0;
            while (oldest < frames.size() && (frames[oldest].isReply || frames[oldest].sent > 0)) {
                ++oldest;
            }
            if (oldest == frames.size()) {
                break;
            }
            frames.erase(frames.begin() + static_cast<std::ptrdiff_t>(oldest));
            ++dropped;
        }
        frames.push_back({false, bytes, 0});
        return dropped;
    }

    void AddReply(const std::string& bytes) { frames.push_back({true, bytes, 0}); }

    std::string Take(std::size_t most)
    {
        std::string taken;
        while (!frames.empty() && taken.size() < most) {
            Frame& frame = frames.front();
            const std::string part = frame.bytes.substr(frame.sent, most - taken.size());
            taken += part;
            frame.sent += part.size();
            if (frame.sent == frame.bytes.size()) {
                frames.pop_front();
            }
        }
        return taken;
    }

    std::size_t Count() const
    {
        std::size_t count = 0;
        for (const Frame& frame : frames) {
            count += frame.isReply ? 0 : 1;
        }
        return count;
    }

    std::size_t Bytes() const
    {
        std::size_t bytes = 0;
        for (const Frame& frame : frames) {
            bytes += frame.isReply ? 0 : frame.bytes.size();
        }
        return bytes;
    }

    std::size_t Replies() const { return frames.size() - Count(); }

private:
    struct Frame {
        bool isReply;
        std::string bytes;
        std::size_t sent;
    };
    std::deque<Frame> frames;
};

/// \p steps random steps on both; sizes around \p typicalSize.
void CompareWithPlainBacklog(unsigned int seed, unsigned int steps, std::size_t typicalSize)
{
    std::mt19937 random(seed);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    Backlog backlog;
    PlainBacklog plain;
    unsigned char fill = 0;
    for (unsigned int step = 0; step < steps; ++step) {
        // Phases in which more comes in than goes out, and the reverse.
        const bool fills = step / 1000 % 2 == 0;
        const std::size_t choice = below(10);
        if (choice < (fills ? 7u : 3u)) {
            const SharedFrame frame = FrameOfSize(1 + below(2 * typicalSize), fill++);
            const unsigned int dropped =
                plain.AddNotification(std::string(frame->begin(), frame->end()));
            ASSERT_EQ(backlog.AddNotification(frame), dropped) << "step " << step;
        } else if (choice == 9) {
            const std::string reply(16 + below(9), static_cast<char>('A' + below(26)));
            plain.AddReply(reply);
            AddReply(backlog, reply);
        } else {
            const std::size_t most = 1 + below(fills ? typicalSize : 8 * typicalSize);
            ASSERT_EQ(Take(backlog, most), plain.Take(most)) << "step " << step;
        }
        ASSERT_EQ(backlog.Notifications(), plain.Count()) << "step " << step;
        ASSERT_EQ(backlog.NotificationBytes(), plain.Bytes()) << "step " << step;
        ASSERT_EQ(backlog.Replies(), plain.Replies()) << "step " << step;
    }
    ASSERT_EQ(Take(backlog, everything), plain.Take(everything));
    EXPECT_EQ(backlog.NotificationBytes(), 0u);
    EXPECT_EQ(backlog.Notifications(), 0u);
    EXPECT_EQ(backlog.Replies(), 0u);
}

TEST(Backlog, IsAPlainQueueWithALimitWhateverHappensToSmallFrames)
{
    CompareWithPlainBacklog(1, isEmulated ? 10000 : 100000, 30);
}

TEST(Backlog, IsAPlainQueueWithALimitWhateverHappensToLargeFrames)
{
    CompareWithPlainBacklog(2, isEmulated ? 2000 : 10000, 30000);
}

}  // namespace
