#include "cli/SubtitleMgrCli.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

namespace {

std::ptrdiff_t ThreadCount()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

class TheConnection : public testing::Test {
protected:
    TempDir files;
    SubtitleMgrCli client;
};

TEST_F(TheConnection, IsNotMadeByTheConstructor)
{
    setenv("LINX_DIR", (files / "linx").c_str(), 1);
    const std::ptrdiff_t before = ThreadCount();
    const SubtitleMgrCli another;
    EXPECT_EQ(ThreadCount(), before);
    EXPECT_FALSE(std::filesystem::exists(files / "linx"));
}

TEST_F(TheConnection, OpensTheEndpointAndStartsAThread)
{
    setenv("LINX_DIR", (files / "linx").c_str(), 1);
    const std::ptrdiff_t before = ThreadCount();
    int result = 0;
    EXPECT_TEXT(ErrorsOf([&] { result = client.PreInit(); }), "");
    EXPECT_EQ(result, 1);
    EXPECT_GT(ThreadCount(), before);
    EXPECT_TRUE(std::filesystem::is_directory(files / "linx"));
}

TEST_F(TheConnection, StartsTheThreadEvenWhenTheEndpointCannotBeOpened)
{
    WriteWholeFile(files / "linx", "a file where a folder should be");
    setenv("LINX_DIR", (files / "linx").c_str(), 1);
    const std::ptrdiff_t before = ThreadCount();
    int result = 0;
    EXPECT_TEXT(ErrorsOf([&] { result = client.PreInit(); }),
                "Error initializing the connection\n");
    EXPECT_EQ(result, 2);
    EXPECT_GT(ThreadCount(), before);
}

TEST_F(TheConnection, LeavesTheThreadRunningBehindTheClient)
{
    setenv("LINX_DIR", (files / "linx").c_str(), 1);
    std::ptrdiff_t running = 0;
    {
        SubtitleMgrCli shortLived;
        shortLived.PreInit();
        running = ThreadCount();
    }
    EXPECT_EQ(ThreadCount(), running);
}

}  // namespace
