#include "platform/src/confirmed_request.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace platform;

namespace {

TEST(FailedRequest, HasAReasonInWords)
{
    EXPECT_STREQ(WhyRequestFailed(ENOENT), "no such service is running");
    EXPECT_STREQ(WhyRequestFailed(ECONNREFUSED), "no such service is running");
    EXPECT_STREQ(WhyRequestFailed(ECONNRESET), "the service closed the connection");
    EXPECT_STREQ(WhyRequestFailed(EPIPE), "the service closed the connection");
    EXPECT_STREQ(WhyRequestFailed(EREMOTEIO), "the service refused it");
    EXPECT_STREQ(WhyRequestFailed(ETIMEDOUT), "the service did not answer");
    EXPECT_STREQ(WhyRequestFailed(EPROTO), "the service did not understand it");
    EXPECT_STREQ(WhyRequestFailed(EACCES), "Permission denied");
}

}  // namespace
