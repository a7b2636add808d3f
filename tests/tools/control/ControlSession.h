#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// SubtitleMgrCtl on a messaging directory of its own.
class ControlSession : public testing::Test {
protected:
    std::unique_ptr<ChildProcess> Launch(std::vector<std::string> words,
                                         ChildProcess::Options settings = {}) const
    {
        words.insert(words.begin(), CONTROL_PROGRAM);
        settings.environment["LINX_DIR"] = messaging.Path();
        return std::make_unique<ChildProcess>(words, settings);
    }

    static void ExpectEnd(ChildProcess& program, int status, const std::string& output,
                          const std::string& problem)
    {
        EXPECT_EQ(program.WaitForExit(), status);
        EXPECT_TEXT(program.Output(), output);
        EXPECT_TEXT(program.Errors(), problem.empty() ? "" : "SubtitleMgrCtl: " + problem + "\n");
    }

    std::string ControlSocket() const { return messaging / "SubtitleMgr.control"; }

    TempDir messaging;
};
