#include "platform/src/notification_queue.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

using namespace platform;

namespace {

ReceivedFrame Notification(unsigned int messageId, unsigned int number, unsigned int length = 0)
{
    return {{FrameKind::Notification, messageId, number, length}, nullptr, nullptr};
}

std::vector<unsigned int> Drain(NotificationQueue& queue)
{
    std::vector<unsigned int> numbers;
    ReceivedFrame frame{};
    while (queue.Pop(0, frame)) {
        numbers.push_back(frame.header.correlation);
    }
    return numbers;
}

TEST(TheQueue, HandsOutTheOldestFirst)
{
    NotificationQueue queue;
    queue.Push(Notification(1, 10));
    queue.Push(Notification(1, 11));
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{10, 11}));
}

TEST(TheQueue, HandsOutOneMessageNumberAndKeepsTheOrderOfTheRest)
{
    NotificationQueue queue;
    queue.Push(Notification(1, 10));
    queue.Push(Notification(2, 11));
    queue.Push(Notification(1, 12));
    queue.Push(Notification(2, 13));
    ReceivedFrame frame{};
    ASSERT_TRUE(queue.Pop(2, frame));
    EXPECT_EQ(frame.header.correlation, 11u);
    EXPECT_FALSE(queue.Pop(3, frame));
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{10, 12, 13}));
}

TEST(TheQueue, DropsAndCountsTheOldestBeyond256)
{
    NotificationQueue queue;
    for (unsigned int number = 0; number < 259; ++number) {
        queue.Push(Notification(1, number));
    }
    EXPECT_EQ(queue.TakeDropped(), 3u);
    EXPECT_EQ(queue.TakeDropped(), 0u);
    const auto numbers = Drain(queue);
    ASSERT_EQ(numbers.size(), 256u);
    EXPECT_EQ(numbers.front(), 3u);
    EXPECT_EQ(numbers.back(), 258u);
}

TEST(TheQueue, DropsTheOldestBeyondOneMebibyteOfFrames)
{
    constexpr unsigned int half = 512 * 1024 - 16;
    NotificationQueue queue;
    queue.Push(Notification(1, 1, half));
    queue.Push(Notification(1, 2, half));
    EXPECT_EQ(queue.TakeDropped(), 0u);
    queue.Push(Notification(1, 3, 0));
    EXPECT_EQ(queue.TakeDropped(), 1u);
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{2, 3}));
}

TEST(TheQueue, KeepsTheNewestWhateverItsSize)
{
    NotificationQueue queue;
    queue.Push(Notification(1, 1));
    queue.Push(Notification(1, 2, 16 * 1024 * 1024));
    EXPECT_EQ(queue.TakeDropped(), 1u);
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{2}));
}

TEST(TheQueue, RemovesWhatASubscriptionCovered)
{
    NotificationQueue queue;
    for (const unsigned int number : {2u, 6u, 3u, 10u, 2u}) {
        queue.Push(Notification(1, number));
    }
    queue.Remove([](const FrameHeader& header) { return header.correlation < 4; });
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{6, 10}));
}

TEST(TheQueue, IsEmptyOnceItIsCleared)
{
    NotificationQueue queue;
    for (const unsigned int number : {2u, 6u, 3u}) {
        queue.Push(Notification(1, number));
    }
    queue.Clear();
    EXPECT_EQ(Drain(queue), std::vector<unsigned int>{});
    EXPECT_EQ(queue.TakeDropped(), 0u);
    queue.Push(Notification(1, 10, 1000 * 1000));
    queue.Clear();
    queue.Push(Notification(1, 11, 1000 * 1000));
    queue.Push(Notification(1, 12));
    EXPECT_EQ(queue.TakeDropped(), 0u);
    EXPECT_EQ(Drain(queue), (std::vector<unsigned int>{11, 12}));
}

/// Against a plain model: the queue's own counters must not drift, whatever comes.
TEST(TheQueue, AgreesWithAPlainModelOverRandomUse)
{
    std::mt19937 random(7);
    NotificationQueue queue;
    std::deque<FrameHeader> model;
    unsigned int dropped = 0;
    const auto below = [&random](unsigned int limit) {
        return static_cast<unsigned int>(random() % limit);
    };
    const auto modelBytes = [&model] {
        std::size_t bytes = 0;
        for (const FrameHeader& header : model) {
            bytes += 16 + header.length;
        }
        return bytes;
    };
    for (unsigned int step = 0; step < 20000; ++step) {
        if (below(100) < 60) {
            const unsigned int length = below(10) == 0 ? below(400000) : below(100);
            queue.Push(Notification(1 + below(3), step, length));
            model.push_back({FrameKind::Notification, 0, step, length});
            while (model.size() > 256 || (model.size() > 1 && modelBytes() > 1024 * 1024)) {
                model.pop_front();
                ++dropped;
            }
        } else {
            ReceivedFrame frame{};
            ASSERT_EQ(queue.Pop(0, frame), !model.empty());
            if (!model.empty()) {
                ASSERT_EQ(frame.header.correlation, model.front().correlation);
                model.pop_front();
            }
        }
    }
    EXPECT_EQ(queue.TakeDropped(), dropped);
    EXPECT_EQ(Drain(queue).size(), model.size());
}

}  // namespace
