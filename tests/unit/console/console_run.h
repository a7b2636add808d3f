#pragma once

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/// The interactive console on an endpoint that is not open, so that every request fails at once.
/// Tests with real processes check the requests.
class ConsoleRun : public testing::Test {
protected:
    ConsoleRun()
    {
        subscribed = false;
        subtitleStats.Clear();
    }
    ~ConsoleRun() override { subscribed = false; }

    /// Runs the console on \p typed, which must end with a key that leaves it.
    /// \return its standard output; standard error goes to `errors`
    std::string Run(const std::string& typed)
    {
        TypedInput input(typed);
        std::string output;
        errors =
            ErrorsOf([&] { output = OutputOf([this] { result = client.ExecuteTestMode(); }); });
        rest = input.Rest();
        return output;
    }

    SubtitleMgrCli client;
    std::string errors;
    std::string rest;  ///< of the typed text
    unsigned result = 0;
};
