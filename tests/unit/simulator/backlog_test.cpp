#include "simulator/backlog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <string>

namespace {

constexpr std::size_t everything = std::size_t(1) << 30;
constexpr std::size_t mebibyte = 1024 * 1024;

class Backlog : public testing::Test {
protected:
    /// \return how many notifications were dropped for this one
    unsigned int Notify(std::size_t size, char fill = 'n')
    {
        return backlog.AddNotification(std::make_shared<std::vector<unsigned char>>(size, fill));
    }

    void Reply(const std::string& text)
    {
        backlog.AddReply(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }

    /// Takes out up to \p most bytes, as a socket would.
    std::string Take(std::size_t most = everything)
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

    sim::Backlog backlog;
};

TEST_F(Backlog, SendsRepliesAndNotificationsInTheOrderTheyWereAdded)
{
    Reply("r1");
    Notify(2, 'a');
    Notify(1, 'b');
    Reply("r2");
    Notify(1, 'c');
    EXPECT_EQ(Take(), "r1aabr2c");
    EXPECT_TRUE(backlog.IsEmpty());
}

TEST_F(Backlog, KeepsTheNewest256Notifications)
{
    for (int i = 0; i < 256; ++i) {
        EXPECT_TRUE(backlog.HasRoomFor(1, 1));
        EXPECT_EQ(Notify(1, static_cast<char>(i)), 0u);
    }
    EXPECT_FALSE(backlog.HasRoomFor(1, 1));
    EXPECT_EQ(Notify(1, 'n'), 1u);
    EXPECT_EQ(backlog.Notifications(), 256u);
    const std::string rest = Take();
    EXPECT_EQ(rest.front(), '\1');
    EXPECT_EQ(rest.back(), 'n');
}

TEST_F(Backlog, KeepsNotificationsOfExactlyOneMebibyte)
{
    Notify(mebibyte - 10);
    EXPECT_TRUE(backlog.HasRoomFor(1, 10));
    EXPECT_FALSE(backlog.HasRoomFor(1, 11));
    EXPECT_EQ(Notify(10), 0u);
    EXPECT_EQ(Notify(1), 1u);
    EXPECT_EQ(backlog.NotificationBytes(), 11u);
}

TEST_F(Backlog, KeepsTheNewestNotificationWhateverItsSize)
{
    EXPECT_TRUE(backlog.HasRoomFor(1, 16 * mebibyte));
    Notify(1);
    Notify(1);
    EXPECT_EQ(Notify(3 * mebibyte), 2u);
    EXPECT_EQ(backlog.Notifications(), 1u);
    EXPECT_EQ(Notify(7), 1u);
    EXPECT_EQ(backlog.NotificationBytes(), 7u);
}

TEST_F(Backlog, NeverDropsAReply)
{
    std::string expected(1000 - 256, 'r');
    for (unsigned int i = 0; i < 1000; ++i) {
        Reply("r");
        Notify(1);
        expected += i < 256 ? "rn" : "";
    }
    EXPECT_EQ(backlog.Replies(), 1000u);
    EXPECT_EQ(Take(), expected);
}

TEST_F(Backlog, FinishesAFrameThatIsPartlySentWhenItDrops)
{
    Notify(4, 'a');
    Notify(4, 'b');
    EXPECT_EQ(Take(1), "a");
    EXPECT_EQ(Notify(2 * mebibyte, 'c'), 1u);
    EXPECT_EQ(Take(4), "aaac");
}

TEST_F(Backlog, CountsNothingOnceItIsCleared)
{
    Reply("r");
    Notify(4, 'a');
    Take(2);
    backlog.Clear();
    EXPECT_TRUE(backlog.IsEmpty());
    EXPECT_EQ(backlog.NotificationBytes(), 0u);
    Reply("whole");
    EXPECT_EQ(Take(), "whole");
}

/// The same in the plainest way.
struct PlainBacklog {
    struct Frame {
        bool isReply;
        std::string bytes;
        std::size_t sent = 0;
    };

    unsigned int Notify(std::size_t size, char fill)
    {
        unsigned int dropped = 0;
        while (Count() > 0 && (Count() + 1 > 256 || Bytes() + size > mebibyte)) {
            const auto oldest = std::find_if(frames.begin(), frames.end(), [](const Frame& frame) {
                return !frame.isReply && frame.sent == 0;
            });
            if (oldest == frames.end()) {
                break;
            }
            frames.erase(oldest);
            ++dropped;
        }
        frames.push_back({false, std::string(size, fill)});
        return dropped;
    }

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
        return static_cast<std::size_t>(std::count_if(
            frames.begin(), frames.end(), [](const Frame& frame) { return !frame.isReply; }));
    }

    std::size_t Bytes() const
    {
        std::size_t bytes = 0;
        for (const Frame& frame : frames) {
            bytes += frame.isReply ? 0 : frame.bytes.size();
        }
        return bytes;
    }

    std::deque<Frame> frames;
};

class BacklogAndPlainOne : public Backlog {
protected:
    /// Random steps on both: a phase in which more comes in than goes out, then the reverse, and
    /// again. Sizes are around \p typicalSize.
    void Compare(unsigned int stepsInAPhase, std::size_t typicalSize)
    {
        for (unsigned int step = 0; step < 6 * stepsInAPhase; ++step) {
            SCOPED_TRACE(step);
            const bool fills = step / stepsInAPhase % 2 == 0;
            const std::size_t choice = Below(10);
            if (choice < (fills ? 7u : 3u)) {
                const std::size_t size = 1 + Below(2 * typicalSize);
                const auto fill = static_cast<char>(step);
                EXPECT_EQ(Notify(size, fill), plain.Notify(size, fill));
            } else if (choice == 9) {
                const std::string reply(16 + Below(9), static_cast<char>('A' + Below(26)));
                plain.frames.push_back({true, reply});
                Reply(reply);
            } else {
                ExpectSameTaken(1 + Below(fills ? typicalSize : 8 * typicalSize));
            }
            ExpectSameCounts();
            ASSERT_FALSE(HasFailure());
        }
        ExpectSameTaken(everything);
        ExpectSameCounts();
    }

    void ExpectSameTaken(std::size_t most) { EXPECT_TRUE(Take(most) == plain.Take(most)); }

    void ExpectSameCounts() const
    {
        EXPECT_EQ(backlog.Notifications(), plain.Count());
        EXPECT_EQ(backlog.NotificationBytes(), plain.Bytes());
        EXPECT_EQ(backlog.Replies(), plain.frames.size() - plain.Count());
    }

    std::size_t Below(std::size_t limit) { return random() % limit; }

    PlainBacklog plain;
    std::mt19937 random{1};
};

TEST_F(BacklogAndPlainOne, AgreeOnSmallFrames) { Compare(1000, 30); }
TEST_F(BacklogAndPlainOne, AgreeOnLargeFrames) { Compare(300, 10000); }

}  // namespace
