#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <gtest/gtest.h>

#include <cerrno>

using namespace platform;

namespace {

constexpr unsigned int pong = 0x3B02;
constexpr unsigned int first = 7;
constexpr unsigned int second = 8;

ReceivedFrame Pong(unsigned int correlation)
{
    return {{FrameKind::Reply, pong, correlation, 0}, nullptr, nullptr};
}

TEST(ACallThatWaits, IsSettledByItsOwnReplyAlone)
{
    ReplyTable replies;
    replies.Expect(first, pong);
    replies.Expect(second, pong);
    EXPECT_TRUE(replies.Take(Pong(second)));
    EXPECT_FALSE(replies.At(first).result);
    EXPECT_EQ(replies.At(second).result, 0);
    EXPECT_TRUE(replies.AreAwaited());
    replies.Forget(second);
    EXPECT_TRUE(replies.Take(Pong(first)));
    EXPECT_FALSE(replies.AreAwaited());
    EXPECT_EQ(replies.At(first).result, 0);
    EXPECT_EQ(replies.At(first).reply.header.correlation, first);
}

TEST(ACallThatWaits, KeepsTheFirstOfTwoAnswers)
{
    ReplyTable replies;
    replies.Expect(first, pong);
    EXPECT_TRUE(replies.Take(Pong(first)));
    ReceivedFrame wrong = Pong(first);
    wrong.header.messageId = 0x3CFF;
    EXPECT_FALSE(replies.Take(wrong));
    EXPECT_EQ(replies.At(first).result, 0);
}

TEST(ACallThatWaits, FailsWithAReplyOfAnotherNumber)
{
    ReplyTable replies;
    replies.Expect(first, pong + 1);
    EXPECT_FALSE(replies.Take(Pong(first)));
    EXPECT_EQ(replies.At(first).result, EPROTO);
}

/// It must not make notifications give way to its reply any longer.
TEST(ACallThatGaveUp, IsNotWaitedForAnyLonger)
{
    ReplyTable replies;
    replies.Expect(first, pong);
    EXPECT_TRUE(replies.AreAwaited());
    replies.Forget(first);
    EXPECT_FALSE(replies.AreAwaited());
    EXPECT_FALSE(replies.Take(Pong(first)));
    EXPECT_FALSE(replies.AreAwaited());
}

}  // namespace
