#pragma once

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

/// The interactive console on an endpoint that is not open, so that every request fails at once.
class ConsoleRun : public testing::Test {
protected:
    ConsoleRun()
    {
        subscribed = false;
        subtitleStats.Clear();
    }
    ~ConsoleRun() override { subscribed = false; }

    SubtitleMgrCli client;
    unsigned result = 0;
};
