#include "cli/options.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// The client with the frame's log-level commands replaced by notes of how they are called.
class NotingClient : public SubtitleMgrCli {
public:
    int HandleLogLevel(LinxIpc& ipc, const std::string& server) override
    {
        endpoint = &ipc;
        serverName = server;
        return 7;
    }

    int SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int newLevel) override
    {
        endpoint = &ipc;
        serverName = server;
        level = newLevel;
        return setLogLevelResult;
    }

    LinxIpc* endpoint = nullptr;
    std::string serverName;
    unsigned int level = 12345;
    int setLogLevelResult = 1;
};

/// What an option prints and what it returns.
struct Outcome {
    int result = 0;
    std::string output;
};

Outcome Process(SubtitleMgrCli& client, int option, const char* argument = nullptr)
{
    Outcome outcome;
    outcome.output = OutputOf([&] { outcome.result = client.ProcessOption(option, argument); });
    return outcome;
}

unsigned int LevelOf(const char* argument)
{
    NotingClient client;
    client.ProcessOption('s', argument);
    return client.level;
}

TEST(OptionTable, HasEightLongNamesAndATerminator)
{
    struct Row {
        std::string name;
        int hasArgument;
        int value;
    };
    const std::vector<Row> rows{{"ping", 0, 'p'},        {"quit", 0, 'q'},
                                {"help", 0, 'h'},        {"usage", 0, 'h'},
                                {"interactive", 0, 'i'}, {"connection", 1, 'e'},
                                {"loglevel", 0, 'l'},    {"setloglevel", 1, 's'}};
    ASSERT_EQ(rows.size() + 1, longOptionCount);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(longOptions[i].name, rows[i].name);
        EXPECT_EQ(longOptions[i].has_arg, rows[i].hasArgument) << rows[i].name;
        EXPECT_EQ(longOptions[i].flag, nullptr) << rows[i].name;
        EXPECT_EQ(longOptions[i].val, rows[i].value) << rows[i].name;
    }
    const struct option& last = longOptions[longOptionCount - 1];
    EXPECT_EQ(last.name, nullptr);
    EXPECT_EQ(last.has_arg, 0);
    EXPECT_EQ(last.flag, nullptr);
    EXPECT_EQ(last.val, 0);
}

TEST(OptionTable, IsWritable)
{
    longOptions[0].has_arg = 2;
    EXPECT_EQ(longOptions[0].has_arg, 2);
    longOptions[0].has_arg = 0;
}

TEST(OptionTable, HasTheLettersWithC) { EXPECT_STREQ(shortOptions, "pqhice:ls:"); }

TEST(UsageOption, PrintsTheUsage)
{
    SubtitleMgrCli client;
    const Outcome outcome = Process(client, 'h');
    EXPECT_TEXT(outcome.output, UsageText());
    EXPECT_EQ(outcome.result, 2);
}

TEST(UsageOption, GoesThroughTheVirtualTable)
{
    class QuietClient : public SubtitleMgrCli {
        void Usage() override {}
    };
    QuietClient client;
    EXPECT_TEXT(Process(client, 'h').output, "");
    EXPECT_TEXT(Process(client, '?').output, "");
}

TEST(AnUnknownOption, PrintsTheUsage)
{
    SubtitleMgrCli client;
    for (const int option : std::vector<int>{'?', ':', 'd', 'f', 'r', 'H', 0, -1, 1000}) {
        const Outcome outcome = Process(client, option);
        EXPECT_TEXT(outcome.output, UsageText());
        EXPECT_EQ(outcome.result, 2) << option;
    }
}

TEST(ConfigOption, DoesNothing)
{
    SubtitleMgrCli client;
    const Outcome outcome = Process(client, 'c');
    EXPECT_TEXT(outcome.output, "");
    EXPECT_EQ(outcome.result, 1);
}

TEST(ConnectionOption, PrintsNothing)
{
    SubtitleMgrCli client;
    const Outcome outcome = Process(client, 'e', "node1");
    EXPECT_TEXT(outcome.output, "");
    EXPECT_EQ(outcome.result, 1);
}

TEST(ConnectionOption, WithoutArgumentIsTheLibrarysLogicError)
{
    SubtitleMgrCli client;
    EXPECT_THROW(client.ProcessOption('e', nullptr), std::logic_error);
}

TEST(InteractiveOption, RunsTheConsoleAndReturnsItsResult)
{
    SubtitleMgrCli client;
    const TypedInput input("x\n");
    const Outcome outcome = Process(client, 'i');
    EXPECT_TEXT(outcome.output, UnsubscribedMenu());
    EXPECT_EQ(outcome.result, 3);
}

TEST(PingAndQuitOptions, ReturnTheSameWhateverTheOutcome)
{
    SubtitleMgrCli client;  // with an endpoint that is not open, so that both fail
    int ping = 0;
    int quit = 0;
    const std::string errors = ErrorsOf([&] {
        ping = Process(client, 'p').result;
        quit = Process(client, 'q').result;
    });
    EXPECT_EQ(ping, 3);
    EXPECT_EQ(quit, 3);
    EXPECT_TEXT(errors, "Error running ping\nShut down Requested\nError running quit\n");
}

TEST(LogLevelOption, ReturnsWhatTheFrameReturns)
{
    NotingClient client;
    EXPECT_EQ(Process(client, 'l').result, 7);
    EXPECT_EQ(client.endpoint, &linxIpc);
    EXPECT_EQ(client.serverName, "SubtitleMgr");
}

TEST(SetLogLevelOption, AddsTwoToWhatTheFrameReturns)
{
    NotingClient client;
    EXPECT_EQ(Process(client, 's', "7").result, 3);
    EXPECT_EQ(client.endpoint, &linxIpc);
    EXPECT_EQ(client.serverName, "SubtitleMgr");
    client.setLogLevelResult = 0;
    EXPECT_EQ(Process(client, 's', "7").result, 2);
}

TEST(SetLogLevelOption, TakesWhatTheArgumentStartsWith)
{
    EXPECT_EQ(LevelOf("7"), 7u);
    EXPECT_EQ(LevelOf("12x"), 12u);
    EXPECT_EQ(LevelOf(" 63"), 63u);
    EXPECT_EQ(LevelOf("010"), 10u);
}

TEST(SetLogLevelOption, TakesZeroForNoNumber)
{
    EXPECT_EQ(LevelOf("x"), 0u);
    EXPECT_EQ(LevelOf("abc"), 0u);
    EXPECT_EQ(LevelOf(""), 0u);
    EXPECT_EQ(LevelOf("0x1F"), 0u);
}

TEST(SetLogLevelOption, TakesNegativeNumbersAsUnsigned)
{
    EXPECT_EQ(LevelOf("-1"), 0xFFFFFFFFu);
    EXPECT_EQ(LevelOf("-7"), 0xFFFFFFF9u);
}

TEST(LogLevelOption, FailsWhenTheFrameHasNoMemory)
{
    class ClientWithoutMemory : public SubtitleMgrCli {
        int HandleLogLevel(LinxIpc&, const std::string&) override { throw std::bad_alloc(); }
    };
    ClientWithoutMemory client;
    EXPECT_EQ(Process(client, 'l').result, 2);
}

TEST(LogLevelOptions, NeverUseAPrefix)
{
    NotingClient client;
    client.ProcessOption('e', "node1");
    client.ProcessOption('l', nullptr);
    EXPECT_EQ(client.serverName, "SubtitleMgr");
    client.serverName.clear();
    client.ProcessOption('s', "1");
    EXPECT_EQ(client.serverName, "SubtitleMgr");
}

TEST(TheFramesOtherOperations, DoNothingAndReturnOne)
{
    SubtitleMgrCli client;
    int run = 0;
    int post = 0;
    EXPECT_TEXT(OutputOf([&] {
                    run = client.RunIt();
                    post = client.PostInit();
                }),
                "");
    EXPECT_EQ(run, 1);
    EXPECT_EQ(post, 1);
}

}  // namespace
