#include <CommonCli.h>

#include "tests/harness/arguments.h"
#include "tests/unit/captured_console.h"
#include "tests/unit/platform/ServedEndpoint.h"

#include <map>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

/// A client that records the calls of the frame.
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

    Calls calls;
    std::map<int, int> results;
    int preInitResult = 1;
};

class OptionFrame : public testing::Test {
protected:
    Calls Run(std::vector<std::string> words)
    {
        static option longOptions[] = {{"alpha", no_argument, nullptr, 'a'},
                                       {"beta", required_argument, nullptr, 'b'},
                                       {nullptr, 0, nullptr, 0}};
        words.insert(words.begin(), "TheTool");
        Arguments arguments(words);
        tool.calls.clear();
        errors = ErrorsOf(
            [&] { result = tool.Go(arguments.Words(), arguments.Count(), "ab:c", longOptions); });
        return tool.calls;
    }

    RecordingTool tool;
    int result = 0;
    std::string errors;
};

TEST_F(OptionFrame, CallsEachOptionInItsOrder)
{
    EXPECT_EQ(Run({"-c", "--beta", "x", "-a", "-by"}),
              (Calls{"pre", "c", "bx", "a", "by", "run", "post"}));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Run({"--al"}), (Calls{"pre", "a", "run", "post"})) << "abbreviated";
}

TEST_F(OptionFrame, SkipsTheOptionsAfterAMistake)
{
    tool.preInitResult = 2;  // no mistake of the command line
    tool.results['a'] = 2;
    EXPECT_EQ(Run({"-c", "-a", "-c", "stray"}), (Calls{"pre", "c", "a", "run", "post"}));
    EXPECT_EQ(result, 2);
}

TEST_F(OptionFrame, ShowsTheUsageForNoOptionOrASurplusWord)
{
    EXPECT_EQ(Run({}), (Calls{"pre", "usage", "run", "post"}));
    EXPECT_EQ(result, 2);
    EXPECT_EQ(Run({"stray", "-a"}), (Calls{"pre", "a", "usage", "run", "post"}));
    EXPECT_EQ(Run({"-a", "--", "-c"}), (Calls{"pre", "a", "usage", "run", "post"}));
}

TEST_F(OptionFrame, ShowsTheUsageWithoutAProgramName)
{
    char* none[] = {nullptr};
    option longOptions[] = {{nullptr, 0, nullptr, 0}};
    EXPECT_EQ(tool.Go(none, 0, "a", longOptions), 2);
    EXPECT_EQ(tool.calls, (Calls{"pre", "usage", "run", "post"}));
}

TEST_F(OptionFrame, PassesAnUnknownOptionAndAMissingArgumentOn)
{
    tool.results['?'] = 2;
    EXPECT_EQ(Run({"-z", "-a"}), (Calls{"pre", "?", "run", "post"}));
    EXPECT_EQ(errors, "TheTool: invalid option -- 'z'\n");
    EXPECT_EQ(Run({"-b"}), (Calls{"pre", "?", "run", "post"}));
    EXPECT_EQ(errors, "TheTool: option requires an argument -- 'b'\n");
}

const std::string accepted = U32(0);
const std::string refused = U32(1);

class LogLevelOfService : public ServedEndpoint {
protected:
    LogLevelOfService() { Connect(); }

    /// The service answers a request for its level, then a request to set it if there is an answer.
    int Handle(const std::string& typed, const std::string& shown,
               const std::string& answerToSet = "")
    {
        auto served = Beside([=] {
            Answer(messages::getLogLevel, shown);
            if (!answerToSet.empty()) {
                const RawFrame request = peer->ExpectRequest(messages::setLogLevel);
                EXPECT_EQ(request.payload, U32(0x01020304));
                peer->Reply(request, answerToSet);
            }
        });
        const TypedInput input(typed);
        int result = 0;
        OutputOf(
            [&] { errors = ErrorsOf([&] { result = tool.HandleLogLevel(*ipc, "SubtitleMgr"); }); });
        served.get();
        return result;
    }

    RecordingTool tool;
    std::string errors;
};

TEST_F(LogLevelOfService, IsAskedForAndSet)
{
    EXPECT_EQ(Handle("16909060\n", accepted + U32(7), accepted), 3);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(Handle("16909060\n", accepted + U32(7), refused), 2);
    EXPECT_EQ(errors, "Error setting the log level of SubtitleMgr: the service refused it\n");
    EXPECT_EQ(Handle("9\n", refused + U32(0)), 2);
    for (const char* typed : {"nine\n", "9x\n", "4294967296\n"}) {
        EXPECT_EQ(Handle(typed, accepted + U32(7)), 2) << typed;
    }
    EXPECT_EQ(errors, "Error setting the log level of SubtitleMgr: not a number from 0 to "
                      "4294967295: 4294967296\n");
}

}  // namespace
