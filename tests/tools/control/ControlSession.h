#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// SubtitleMgrCtl on a messaging directory of its own. The tests play the service.
class ControlSession : public testing::Test {
protected:
    std::unique_ptr<ChildProcess> Launch(std::vector<std::string> words,
                                         ChildProcess::Options settings = {}) const
    {
        words.insert(words.begin(), CONTROL_PROGRAM);
        settings.environment["LINX_DIR"] = messaging.Path();
        return std::make_unique<ChildProcess>(words, settings);
    }

    std::string ControlSocket() const { return messaging / "SubtitleMgr.control"; }

    TempDir messaging;
};
