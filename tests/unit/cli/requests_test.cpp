#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "tests/support/SimulatedService.h"
#include "tests/support/TempDir.h"
#include "tests/support/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

/// A client in this process, beside a simulated service in another.
class Requests : public testing::Test {
protected:
    void StartServiceNamed(const std::string& name)
    {
        service.Name(name).Journal().Start();
        setenv("LINX_DIR", directory.Path().c_str(), 1);
        ASSERT_EQ(linxIpc.Init(), 0);
    }

    std::string PingOutput()
    {
        std::string output;
        errors = ErrorsOf([&] { output = OutputOf([&] { client.Ping(); }); });
        return output;
    }

    std::string QuitOutput()
    {
        std::string output;
        errors = ErrorsOf([&] { output = OutputOf([&] { client.Quit(); }); });
        return output;
    }

    TempDir directory;
    SimulatedService service{directory.Path()};
    SubtitleMgrCli client;
    std::string errors;
};

TEST_F(Requests, GoToTheRegisteredName)
{
    StartServiceNamed("SubtitleMgr");
    EXPECT_TEXT(PingOutput(), "Let's Ping\nSuccessful Ping\n");
    EXPECT_TEXT(errors, "");
    EXPECT_TEXT(QuitOutput(), "Quit issued\n");
    EXPECT_TEXT(errors, "Shut down Requested\n");
    service.WaitForJournalLine(R"({"request":"Quit"})");
}

TEST_F(Requests, GoToThePrefixedNameWithTheLastPrefixInFront)
{
    StartServiceNamed("b/a/SubtitleMgr");
    client.ExtraConnectionInfo("a");
    client.ExtraConnectionInfo("b");
    EXPECT_TEXT(PingOutput(), "Let's Ping\nSuccessful Ping\n");
    EXPECT_TEXT(QuitOutput(), "Quit issued\n");
    service.WaitForJournalLine(R"({"request":"Quit"})");
}

TEST_F(Requests, FailInWordsWhenNobodyHasTheName)
{
    StartServiceNamed("SubtitleMgr");
    client.ExtraConnectionInfo("node1");
    EXPECT_TEXT(PingOutput(), "Let's Ping\n");
    EXPECT_TEXT(errors, "Error running ping\n");
    EXPECT_TEXT(QuitOutput(), "");
    EXPECT_TEXT(errors, "Shut down Requested\nError running quit\n");
}

TEST_F(Requests, CanBeRepeatedWithTheSameMessage)
{
    StartServiceNamed("SubtitleMgr");
    EXPECT_TEXT(PingOutput(), "Let's Ping\nSuccessful Ping\n");
    EXPECT_TEXT(PingOutput(), "Let's Ping\nSuccessful Ping\n");
}

}  // namespace
