#pragma once

#include "simulator/service/request_table.h"
#include "tests/harness/frames.h"

#include <gtest/gtest.h>

/// Decodes the request \p messageId with \p payload, which must be well-formed.
inline void Decode(unsigned int messageId, std::string payload, sim::Request& request)
{
    using platform::FrameKind;
    const FrameKind kind =
        messageId == platform::messages::quit ? FrameKind::OneWay : FrameKind::Request;
    EXPECT_TRUE(sim::DecodeRequest({kind, messageId, 0, static_cast<unsigned int>(payload.size())},
                                   reinterpret_cast<unsigned char*>(payload.data()), request));
}
