#include "platform/src/reply_table.h"

#include <IpcMessage.h>

#include <gtest/gtest.h>

#include <cerrno>

using namespace platform;

namespace {

constexpr unsigned int pong = 0x3B02;

ReceivedFrame Pong(unsigned int correlation)
{
    return {{FrameKind::Reply, pong, correlation, 0}, nullptr, nullptr};
}

TEST(ACallThatWaits, IsSettledByItsOwnReplyAlone)
{
    ReplyTable replies;
    const unsigned int first = replies.Expect(pong, nullptr);
    const unsigned int second = replies.Expect(pong, nullptr);
    EXPECT_NE(first, second);
    replies.Take(Pong(second));
    EXPECT_FALSE(replies.IsSettled(first));
    EXPECT_TRUE(replies.IsSettled(second));
    EXPECT_TRUE(replies.AreAwaited());
    EXPECT_EQ(replies.Settle(second, 0), 0);
    replies.Take(Pong(first));
    EXPECT_FALSE(replies.AreAwaited());
    EXPECT_EQ(replies.Settle(first, 0), 0);
}

TEST(ACallThatWaits, KeepsTheFirstOfTwoAnswers)
{
    ReplyTable replies;
    const unsigned int call = replies.Expect(pong, nullptr);
    replies.Take(Pong(call));
    ReceivedFrame wrong = Pong(call);
    wrong.header.messageId = 0x3CFF;
    replies.Take(wrong);
    replies.FailAll(ECONNRESET);
    EXPECT_EQ(replies.Settle(call, 0), 0);
}

/// What waits for it no longer must not make the notifications give way to it.
TEST(ACallThatGaveUp, IsNotWaitedForAnyLonger)
{
    ReplyTable replies;
    const unsigned int call = replies.Expect(pong, nullptr);
    EXPECT_TRUE(replies.AreAwaited());
    EXPECT_EQ(replies.Settle(call, ETIMEDOUT), ETIMEDOUT);
    EXPECT_FALSE(replies.AreAwaited());
    replies.Take(Pong(call));
    EXPECT_FALSE(replies.AreAwaited());
}

}  // namespace
