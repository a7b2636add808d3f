#include "simulator/clients/backlog.h"

#include "tests/unit/simulator/backlog_bytes.h"

namespace {

constexpr std::size_t mebibyte = 1024 * 1024;

class Backlog : public testing::Test {
protected:
    /// \return the number of dropped notifications
    unsigned int Notify(std::size_t size, char fill = 'n')
    {
        return backlog.AddNotification(std::make_shared<std::vector<unsigned char>>(size, fill));
    }

    void Reply(const std::string& text)
    {
        backlog.AddReply(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }

    std::string Take(std::size_t most = std::string::npos) { return TakeBytes(backlog, most); }

    sim::Backlog backlog;
};

TEST_F(Backlog, SendsInTheOrderOfAddingInParts)
{
    Reply("r1");
    Notify(5, 'a');
    Notify(1, 'b');
    Reply("r2");
    Notify(1, 'c');
    EXPECT_EQ(Take(1), "r");
    EXPECT_EQ(Take(3), "1aa");
    EXPECT_EQ(Take(5), "aaabr");
    EXPECT_EQ(Take(), "2c");
    EXPECT_EQ(backlog.Notifications(), 0u);
    EXPECT_EQ(backlog.NotificationBytes(), 0u);
    EXPECT_EQ(backlog.Replies(), 0u);
}

TEST_F(Backlog, KeepsTheNewest256Notifications)
{
    for (int i = 0; i < 256; ++i) {
        EXPECT_TRUE(backlog.HasRoomFor(1, 1));
        EXPECT_EQ(Notify(1, static_cast<char>(i)), 0u);
    }
    EXPECT_FALSE(backlog.HasRoomFor(1, 1));
    EXPECT_EQ(Notify(1, 'n'), 1u);
    const std::string rest = Take();
    EXPECT_EQ(rest.size(), 256u);
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

TEST_F(Backlog, KeepsTheNewestNotificationOfAnySize)
{
    EXPECT_TRUE(backlog.HasRoomFor(1, 16 * mebibyte));
    Notify(1);
    Notify(1);
    EXPECT_EQ(Notify(3 * mebibyte), 2u);
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

TEST_F(Backlog, DropsANotificationAfterAPartlySentReply)
{
    Reply("reply");
    Notify(1, 'a');
    EXPECT_EQ(Take(1), "r");
    EXPECT_EQ(Notify(2 * mebibyte, 'b'), 1u);
    EXPECT_EQ(Take(5), "eplyb");
}

TEST_F(Backlog, CountsFromZeroAfterAClear)
{
    Notify(4, 'a');
    Take(2);
    backlog.Clear();
    EXPECT_TRUE(backlog.IsEmpty());
    EXPECT_EQ(backlog.NotificationBytes(), 0u);
    Reply("whole");
    EXPECT_EQ(Take(), "whole");
}

}  // namespace
