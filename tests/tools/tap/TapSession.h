#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/recording_text.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

/// SubtitleMgrTap with a simulated service on a messaging directory of its own.
class TapSession : public testing::Test {
protected:
    TapSession() : service(messaging.Path()) { service.Quiet(); }

    std::unique_ptr<ChildProcess> Launch(std::vector<std::string> options,
                                         ChildProcess::Options settings = {}) const
    {
        options.insert(options.begin(), TAP_PROGRAM);
        settings.environment.emplace("LINX_DIR", messaging.Path());
        return std::make_unique<ChildProcess>(options, settings);
    }

    static void ExpectEnd(ChildProcess& tap, int status, const std::string& problem = "")
    {
        EXPECT_EQ(tap.WaitForExit(), status);
        EXPECT_TEXT(tap.Errors(), problem.empty() ? "" : "SubtitleMgrTap: " + problem + "\n");
    }

    /// Runs a tap that prints nothing on standard error. \return its output with T for each time
    std::string Run(const std::vector<std::string>& options) const
    {
        const auto tap = Launch(options);
        ExpectEnd(*tap, 0);
        static const std::regex time("[0-9-]+T[0-9:]+\\.[0-9]{6}Z ");
        return std::regex_replace(tap->Output(), time, "T ");
    }

    TempDir messaging;
    TempDir files;
    SimulatedService service;
};

/// A recording with T for each time; fails the test if the recording is incomplete.
inline std::string Recorded(const std::string& recording)
{
    EXPECT_EQ(MistakeOfRecording(recording), "");
    return std::regex_replace(recording, std::regex("Us\":[0-9]+"), "Us\":T");
}
