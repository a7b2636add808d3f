#pragma once

#include "handlers/notification_handlers.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <LinxIpc.h>

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/// An endpoint with a received message, empty statistics and a reset std::cout.
class NotifiedConsole : public testing::Test {
protected:
    NotifiedConsole()
    {
        subtitleStats.Clear();
        std::cout.copyfmt(std::ios(nullptr));
    }
    ~NotifiedConsole() override { std::cout.copyfmt(std::ios(nullptr)); }

    /// Makes the encoded record \p payload the received message.
    void Put(std::string payload)
    {
        const auto size = static_cast<unsigned int>(payload.size());
        EXPECT_EQ(endpoint.ReceivedMessage().Allocate(1, size, payload.data()), 0);
    }

    /// The text that \p handler prints for a notification of this record.
    std::string Notify(void (*handler)(LinxIpc*, void*), const std::string& payload)
    {
        Put(payload);
        return OutputOf([&] { handler(&endpoint, nullptr); });
    }

    static std::string Report()
    {
        return OutputOf([] { subtitleStats.Display(); });
    }

    LinxIpc endpoint{"test"};
};

inline std::string Byte(unsigned int number)
{
    return std::string(1, static_cast<char>(static_cast<unsigned char>(number)));
}

/// The count of \p bytes in 4 bytes, then \p bytes, as in records.
inline std::string Counted(const std::string& bytes)
{
    const auto size = static_cast<unsigned int>(bytes.size());
    return Byte(size >> 24) + Byte(size >> 16) + Byte(size >> 8) + Byte(size) + bytes;
}
