#include <CommonCli.h>
#include <LinxIpc.h>

#include "tests/harness/RawPeer.h"
#include "tests/harness/TempDir.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

/// A tool that writes down what the frame calls.
class RecordingTool : public CommonCli {
public:
    void Usage() override { calls.emplace_back("usage"); }
    int ProcessOption(int option, const char* argument) override
    {
        calls.push_back(std::string(1, static_cast<char>(option)) + (argument ? argument : ""));
        const auto result = results.find(option);
        return result == results.end() ? 3 : result->second;
    }
    int RunIt() override
    {
        calls.emplace_back("run");
        return 1;
    }
    int PreInit() override
    {
        calls.emplace_back("pre");
        return preInitResult;
    }
    int PostInit() override
    {
        calls.emplace_back("post");
        return CommonCli::PostInit();
    }

    std::vector<std::string> calls;
    std::map<int, int> results;
    int preInitResult = 1;
};

using Calls = std::vector<std::string>;

class TheFrame : public testing::Test {
protected:
    Calls Run(std::vector<std::string> words)
    {
        static option longOptions[] = {{"alpha", no_argument, nullptr, 'a'},
                                       {"beta", required_argument, nullptr, 'b'},
                                       {nullptr, 0, nullptr, 0}};
        words.insert(words.begin(), "TheTool");
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        testing::internal::CaptureStderr();
        result = tool.Go(argv.data(), static_cast<int>(words.size()), "ab:c", longOptions);
        errors = testing::internal::GetCapturedStderr();
        return tool.calls;
    }

    RecordingTool tool;
    int result = 0;
    std::string errors;
};

TEST_F(TheFrame, CallsEachOptionInItsOrder)
{
    EXPECT_EQ(Run({"-c", "--beta", "x", "-a", "-by"}),
              (Calls{"pre", "c", "bx", "a", "by", "run", "post"}));
    EXPECT_EQ(result, 1);
}

TEST_F(TheFrame, GoesOnWhenPreInitFailed)
{
    tool.preInitResult = 2;
    EXPECT_EQ(Run({"-a"}), (Calls{"pre", "a", "run", "post"}));
}

TEST_F(TheFrame, HandlesNoOptionAfterAMistake)
{
    tool.results['a'] = 2;
    EXPECT_EQ(Run({"-c", "-a", "-c", "stray"}), (Calls{"pre", "c", "a", "run", "post"}));
    EXPECT_EQ(result, 2);
}

TEST_F(TheFrame, GoesOnAfterAnOptionThatOnlyConfigures)
{
    tool.results['c'] = 1;
    EXPECT_EQ(Run({"-c", "-a"}), (Calls{"pre", "c", "a", "run", "post"}));
}

TEST_F(TheFrame, ShowsTheUsageWithoutAnyOption)
{
    EXPECT_EQ(Run({}), (Calls{"pre", "usage", "run", "post"}));
    EXPECT_EQ(result, 2);
}

TEST_F(TheFrame, ActsOnTheOptionsAndThenShowsTheUsageForAStrayWord)
{
    EXPECT_EQ(Run({"stray", "-a"}), (Calls{"pre", "a", "usage", "run", "post"}));
}

TEST_F(TheFrame, TakesWhatFollowsTwoDashesAsAStrayWord)
{
    EXPECT_EQ(Run({"-a", "--", "-c"}), (Calls{"pre", "a", "usage", "run", "post"}));
}

TEST_F(TheFrame, PassesAnUnknownOptionOnAndNamesTheProgram)
{
    tool.results['?'] = 2;
    EXPECT_EQ(Run({"-z", "-a"}), (Calls{"pre", "?", "run", "post"}));
    EXPECT_EQ(errors, "TheTool: invalid option -- 'z'\n");
}

TEST_F(TheFrame, PassesAMissingArgumentOnAndNamesTheProgram)
{
    tool.results['?'] = 2;
    EXPECT_EQ(Run({"-b"}), (Calls{"pre", "?", "run", "post"}));
    EXPECT_EQ(errors, "TheTool: option requires an argument -- 'b'\n");
}

TEST_F(TheFrame, TakesAnAbbreviatedLongOption)
{
    EXPECT_EQ(Run({"--al"}), (Calls{"pre", "a", "run", "post"}));
}

TEST_F(TheFrame, ShowsTheUsageWithoutEvenAProgramName)
{
    char* none[] = {nullptr};
    option longOptions[] = {{nullptr, 0, nullptr, 0}};
    EXPECT_EQ(tool.Go(none, 0, "a", longOptions), 2);
    EXPECT_EQ(tool.calls, (Calls{"pre", "usage", "run", "post"}));
}

constexpr unsigned int getLogLevel = 0x3C10;
constexpr unsigned int setLogLevel = 0x3C12;
const std::string accepted = U32(0);
const std::string refused = U32(1);

/// What a tool does about the level, with a service that says what the test wants.
class TheLevelOfAService : public testing::Test {
protected:
    TheLevelOfAService()
    {
        setenv("LINX_DIR", folder.Path().c_str(), 1);
        EXPECT_EQ(ipc.Init(), 0);
    }
    ~TheLevelOfAService() override { unsetenv("LINX_DIR"); }

    /// The result of HandleLogLevel() when \p typed is the answer to its question.
    int Handled(const std::string& typed, const std::function<void(RawConnection&)>& talk)
    {
        auto served = Serve(talk);
        const TypedInput input(typed);
        int result = 0;
        OutputOf([&] { errors = ErrorsOf([&] { result = tool.HandleLogLevel(ipc, name); }); });
        served.get();
        return result;
    }

    int Set(unsigned int level, const std::string& answer)
    {
        auto served = Serve([&](RawConnection& peer) {
            const RawFrame request = peer.ExpectRequest(setLogLevel);
            EXPECT_EQ(request.payload, U32(level));
            peer.Reply(request, answer);
        });
        int result = 0;
        errors = ErrorsOf([&] { result = tool.SetLogLevel(ipc, name, level); });
        served.get();
        return result;
    }

    std::future<void> Serve(const std::function<void(RawConnection&)>& talk)
    {
        return std::async(std::launch::async, [this, talk] {
            if (!connection) {
                connection = service.Accept();
            }
            talk(*connection);
        });
    }

    const std::string name = "SubtitleMgr";
    TempDir folder;
    RawService service{folder / "SubtitleMgr"};
    std::unique_ptr<RawConnection> connection;
    LinxIpc ipc{"TheTool"};
    RecordingTool tool;
    std::string errors;
};

TEST_F(TheLevelOfAService, IsOneResultWhenItWasSetAndAnotherWhenNot)
{
    EXPECT_EQ(Set(0x01020304, accepted), 1);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(Set(7, refused), 0);
    EXPECT_EQ(errors, "Error setting the log level of SubtitleMgr: the service refused it\n");
}

TEST_F(TheLevelOfAService, IsAnActionWhenItWasAskedForAndSet)
{
    const auto showAndSet = [](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(getLogLevel), accepted + U32(7));
        const RawFrame request = peer.ExpectRequest(setLogLevel);
        EXPECT_EQ(request.payload, U32(9));
        peer.Reply(request, accepted);
    };
    EXPECT_EQ(Handled("9\n", showAndSet), 3);
    EXPECT_EQ(errors, "");
}

TEST_F(TheLevelOfAService, IsAMistakeWhenItCannotBeHadOrSet)
{
    const auto refuse = [](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(getLogLevel), refused + U32(0));
    };
    EXPECT_EQ(Handled("9\n", refuse), 2);
    const auto show = [](RawConnection& peer) {
        peer.Reply(peer.ExpectRequest(getLogLevel), accepted + U32(7));
    };
    EXPECT_EQ(Handled("nine\n", show), 2);
    EXPECT_EQ(Handled("99999999999999999999999\n", show), 2);
    EXPECT_EQ(errors, "Error setting the log level of SubtitleMgr: not a number from 0 to "
                      "4294967295: 99999999999999999999999\n");
    const auto showAndRefuse = [&](RawConnection& peer) {
        show(peer);
        peer.Reply(peer.ExpectRequest(setLogLevel), refused);
    };
    EXPECT_EQ(Handled("9\n", showAndRefuse), 2);
}

}  // namespace
