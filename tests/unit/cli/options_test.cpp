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

TEST(OptionTable, HasEightLongNamesAndATerminator)
{
    struct Row {
        const char* name;
        int hasArgument;
        int value;
    };
    const std::vector<Row> rows{
        {"ping", 0, 'p'},     {"quit", 0, 'q'},        {"help", 0, 'h'},
        {"usage", 0, 'h'},    {"interactive", 0, 'i'}, {"connection", 1, 'e'},
        {"loglevel", 0, 'l'}, {"setloglevel", 1, 's'}, {nullptr, 0, 0}};
    ASSERT_EQ(rows.size(), longOptionCount);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_STREQ(longOptions[i].name, rows[i].name);
        EXPECT_EQ(longOptions[i].has_arg, rows[i].hasArgument);
        EXPECT_EQ(longOptions[i].flag, nullptr);
        EXPECT_EQ(longOptions[i].val, rows[i].value);
    }
    EXPECT_STREQ(shortOptions, "pqhice:ls:");
}

TEST(OptionTable, IsWritable)
{
    longOptions[0].has_arg = 2;
    EXPECT_EQ(longOptions[0].has_arg, 2);
    longOptions[0].has_arg = 0;
}

/// The client with replaced log-level commands, which record their arguments.
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

class Option : public testing::Test {
protected:
    void Process(int option, const char* argument = nullptr)
    {
        output = OutputOf([&] { result = client.ProcessOption(option, argument); });
    }

    void ExpectServer() const
    {
        EXPECT_EQ(client.endpoint, &linxIpc);
        EXPECT_EQ(client.serverName, "SubtitleMgr");
    }

    NotingClient client;
    int result = 0;
    std::string output;
};

TEST_F(Option, PrintsTheUsageForHelpAndForUnknownOptions)
{
    for (const int option : std::vector<int>{'h', '?', ':', 'd', 'f', 'r', 'H', 0, -1, 1000}) {
        Process(option);
        EXPECT_TEXT(output, UsageText());
        EXPECT_EQ(result, 2) << option;
    }
}

TEST_F(Option, PrintsTheUsageThroughTheVirtualTable)
{
    class QuietClient : public SubtitleMgrCli {
        void Usage() override {}
    };
    QuietClient quiet;
    EXPECT_TEXT(OutputOf([&] { quiet.ProcessOption('h', nullptr); }), "");
    EXPECT_TEXT(OutputOf([&] { quiet.ProcessOption('?', nullptr); }), "");
}

TEST_F(Option, OnlyConfiguresForConfigAndConnection)
{
    Process('c');
    EXPECT_TEXT(output, "");
    EXPECT_EQ(result, 1);
    Process('e', "node1");
    EXPECT_TEXT(output, "");
    EXPECT_EQ(result, 1);
    EXPECT_THROW(client.ProcessOption('e', nullptr), std::logic_error);
}

TEST_F(Option, RunsTheConsoleAndReturnsItsResult)
{
    const TypedInput input("x\n");
    Process('i');
    EXPECT_TEXT(output, UnsubscribedMenu());
    EXPECT_EQ(result, 3);
}

TEST_F(Option, ReturnsTheSameForPingAndQuitThatFail)
{
    // The endpoint is not open.
    EXPECT_TEXT(ErrorsOf([&] { Process('p'); }), "Error running ping\n");
    EXPECT_EQ(result, 3);
    EXPECT_TEXT(ErrorsOf([&] { Process('q'); }), "Shut down Requested\nError running quit\n");
    EXPECT_EQ(result, 3);
}

TEST_F(Option, ReturnsTheResultOfTheLogLevelFrame)
{
    Process('e', "node1");  // a prefix that only ping and quit use
    Process('l');
    EXPECT_EQ(result, 7);
    ExpectServer();
}

TEST_F(Option, FailsWhenTheFrameHasNoMemory)
{
    class ClientWithoutMemory : public SubtitleMgrCli {
        int HandleLogLevel(LinxIpc&, const std::string&) override { throw std::bad_alloc(); }
    };
    EXPECT_EQ(ClientWithoutMemory().ProcessOption('l', nullptr), 2);
}

TEST_F(Option, AddsTwoToTheResultOfSettingTheLogLevel)
{
    Process('e', "node1");
    Process('s', "7");
    EXPECT_EQ(result, 3);
    ExpectServer();
    client.setLogLevelResult = 0;
    Process('s', "7");
    EXPECT_EQ(result, 2);
}

TEST_F(Option, TakesTheLogLevelFromTheStartOfTheArgument)
{
    struct Row {
        const char* argument;
        unsigned int level;
    };
    for (const Row& row : std::vector<Row>{{"7", 7},
                                           {"12x", 12},
                                           {" 63", 63},
                                           {"010", 10},
                                           {"x", 0},
                                           {"", 0},
                                           {"0x1F", 0},
                                           {"-1", 0xFFFFFFFF},
                                           {"-7", 0xFFFFFFF9}}) {
        Process('s', row.argument);
        EXPECT_EQ(client.level, row.level) << row.argument;
    }
}

TEST_F(Option, DoesNothingInTheOtherOperationsOfTheFrame)
{
    EXPECT_TEXT(OutputOf([&] {
                    EXPECT_EQ(client.RunIt(), 1);
                    EXPECT_EQ(client.PostInit(), 1);
                }),
                "");
}

}  // namespace
