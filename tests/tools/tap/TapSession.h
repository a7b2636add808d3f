#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// SubtitleMgrTap with a simulated service on a messaging directory of its own.
class TapSession : public testing::Test {
protected:
    TapSession() : service(messaging.Path()) { service.Quiet(); }

    struct Ended {
        int status;
        std::string output;
        std::string errors;
    };

    std::unique_ptr<ChildProcess> Launch(const std::vector<std::string>& options,
                                         ChildProcess::Options settings = {}) const;
    Ended Run(const std::vector<std::string>& options, ChildProcess::Options settings = {}) const;

    TempDir messaging;
    TempDir files;
    SimulatedService service;
};

/// A recording with T for each time; fails the test if the recording is incomplete.
std::string Recorded(const std::string& recording);

/// Text lines with T for each time of day.
std::string Shown(const std::string& text);
