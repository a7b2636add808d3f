#include "cli/SubtitleMgrCli.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

namespace {

class Connection : public testing::Test {
protected:
    Connection() { setenv("LINX_DIR", (files / "linx").c_str(), 1); }

    static std::ptrdiff_t ThreadCount()
    {
        const std::filesystem::directory_iterator threads("/proc/self/task");
        return std::distance(begin(threads), end(threads));
    }

    /// PreInit() of the client. \return its result; standard error goes to `errors`
    int Connect()
    {
        int result = 0;
        errors = ErrorsOf([&] { result = client->PreInit(); });
        return result;
    }

    TempDir files;
    std::unique_ptr<SubtitleMgrCli> client = std::make_unique<SubtitleMgrCli>();
    std::string errors;
    const std::ptrdiff_t threadsBefore = ThreadCount();
};

TEST_F(Connection, IsNotMadeByTheConstructor)
{
    const SubtitleMgrCli another;
    EXPECT_EQ(ThreadCount(), threadsBefore);
    EXPECT_FALSE(std::filesystem::exists(files / "linx"));
}

TEST_F(Connection, OpensTheEndpointAndStartsAThread)
{
    EXPECT_EQ(Connect(), 1);
    EXPECT_TEXT(errors, "");
    EXPECT_GT(ThreadCount(), threadsBefore);
    EXPECT_TRUE(std::filesystem::is_directory(files / "linx"));
}

TEST_F(Connection, StartsTheThreadEvenWhenTheEndpointCannotBeOpened)
{
    WriteWholeFile(files / "linx", "a file where a folder should be");
    EXPECT_EQ(Connect(), 2);
    EXPECT_TEXT(errors, "Error initializing the connection\n");
    EXPECT_GT(ThreadCount(), threadsBefore);
}

TEST_F(Connection, LeavesTheThreadRunningAfterTheClient)
{
    Connect();
    client.reset();
    EXPECT_GT(ThreadCount(), threadsBefore);
}

}  // namespace
