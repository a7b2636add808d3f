#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <gtest/gtest.h>

#include <cerrno>

using namespace platform;

namespace {

constexpr unsigned int pong = messages::ping + 1;
constexpr unsigned int first = 7;
constexpr unsigned int second = 8;

ReceivedFrame Reply(unsigned int correlation, unsigned int length = 0)
{
    return {{FrameKind::Reply, pong, correlation, length}, nullptr, nullptr};
}

class AwaitedReply : public testing::Test {
protected:
    AwaitedReply() { replies.Expect(first, pong); }

    ReplyTable replies;
};

TEST_F(AwaitedReply, CompletesItsOwnCallOnly)
{
    replies.Expect(second, pong);
    EXPECT_FALSE(replies.Take(Reply(first - 1)));
    EXPECT_FALSE(replies.Take(Reply(second + 1)));
    EXPECT_TRUE(replies.Take(Reply(second)));
    EXPECT_FALSE(replies.At(first).result);
    EXPECT_EQ(replies.At(second).result, 0);
    EXPECT_TRUE(replies.AreAwaited());
    replies.Forget(second);
    EXPECT_TRUE(replies.Take(Reply(first)));
    EXPECT_FALSE(replies.AreAwaited());
    EXPECT_EQ(replies.At(first).result, 0);
    EXPECT_EQ(replies.At(first).reply.header.correlation, first);
}

TEST_F(AwaitedReply, StaysWhenAnotherReplyFollows)
{
    EXPECT_TRUE(replies.Take(Reply(first)));
    ReceivedFrame wrong = Reply(first);
    wrong.header.messageId = 0x3CFF;
    EXPECT_FALSE(replies.Take(wrong));
    EXPECT_EQ(replies.At(first).result, 0);
}

TEST_F(AwaitedReply, FailsItsCallWhenItIsWrongOrMalformed)
{
    replies.Expect(second, pong + 1);
    EXPECT_FALSE(replies.Take(Reply(second)));
    EXPECT_EQ(replies.At(second).result, EPROTO);
    EXPECT_FALSE(replies.Take(Reply(first, 1)));
    EXPECT_EQ(replies.At(first).result, EPROTO);
}

/// From then on the endpoint must not drop notifications in favour of the reply.
TEST_F(AwaitedReply, IsNotAwaitedAfterItsCallEnds)
{
    EXPECT_TRUE(replies.AreAwaited());
    replies.Forget(first);
    EXPECT_FALSE(replies.AreAwaited());
    EXPECT_FALSE(replies.Take(Reply(first)));
    EXPECT_FALSE(replies.AreAwaited());
}

}  // namespace
