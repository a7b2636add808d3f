#include "platform/src/notification_queue.h"

#include <gtest/gtest.h>

#include <vector>

using namespace platform;

namespace {

using Numbers = std::vector<unsigned int>;

class NotificationQueue : public testing::Test {
protected:
    void Push(unsigned int messageId, unsigned int number, unsigned int length = 0)
    {
        queue.Push({{FrameKind::Notification, messageId, number, length}, nullptr, nullptr});
    }

    Numbers Drain()
    {
        Numbers numbers;
        ReceivedFrame frame{};
        while (queue.Pop(0, frame)) {
            numbers.push_back(frame.header.correlation);
        }
        return numbers;
    }

    platform::NotificationQueue queue;
};

TEST_F(NotificationQueue, DropsAndCountsTheOldestBeyond256)
{
    for (unsigned int number = 0; number < 259; ++number) {
        Push(1, number);
    }
    EXPECT_EQ(queue.TakeDropped(), 3u);
    EXPECT_EQ(queue.TakeDropped(), 0u);
    const Numbers numbers = Drain();
    ASSERT_EQ(numbers.size(), 256u);
    EXPECT_EQ(numbers.front(), 3u);
    EXPECT_EQ(numbers.back(), 258u);
}

TEST_F(NotificationQueue, DropsTheOldestBeyondOneMebibyte)
{
    constexpr unsigned int half = 512 * 1024 - 16;
    Push(1, 1, half);
    Push(1, 2, half);
    EXPECT_EQ(queue.TakeDropped(), 0u);
    Push(1, 3, 0);
    EXPECT_EQ(queue.TakeDropped(), 1u);
    Push(1, 4, 16 * 1024 * 1024);
    EXPECT_EQ(queue.TakeDropped(), 2u);
    EXPECT_EQ(Drain(), Numbers{4}) << "it keeps the newest of any size";
}

TEST_F(NotificationQueue, RemovesMatchingNotifications)
{
    for (const unsigned int number : {2u, 6u, 3u, 10u, 2u}) {
        Push(1, number);
    }
    queue.Remove([](const FrameHeader& header) { return header.correlation < 4; });
    EXPECT_EQ(Drain(), (Numbers{6, 10}));
}

TEST_F(NotificationQueue, CountsFromZeroAfterAClear)
{
    Push(1, 10, 1000 * 1000);
    queue.Clear();
    EXPECT_EQ(Drain(), Numbers{});
    Push(1, 11, 1000 * 1000);
    Push(1, 12);
    EXPECT_EQ(queue.TakeDropped(), 0u);
    EXPECT_EQ(Drain(), (Numbers{11, 12}));
}

}  // namespace
