#include "tests/harness/ChildProcess.h"

#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>

namespace {

TEST(ChildProcess, HasItsStreamsApart)
{
    ChildProcess child({"sh", "-c", "read line; echo \"got $line\"; echo bad >&2; exit 3"});
    child.Write("word\n");
    EXPECT_EQ(child.WaitForExit(), 3);
    EXPECT_EQ(child.Output(), "got word\n");
    EXPECT_EQ(child.Errors(), "bad\n");
}

TEST(ChildProcess, NeverWaitsForAFullPipe)
{
    const std::string much(4 * 1024 * 1024, 'x');
    ChildProcess child({"sh", "-c", "cat; head -c 1000000 /dev/zero >&2"});
    child.Write(much);
    child.CloseInput();
    EXPECT_EQ(child.WaitForExit(), 0);
    EXPECT_TRUE(child.Output() == much);
    EXPECT_EQ(child.Errors().size(), 1000000u);
}

TEST(ChildProcess, FindsTextOnlyAfterTheTextFoundBefore)
{
    ChildProcess child({"sh", "-c", "echo one; read line; echo two; read line; echo one"});
    child.WaitForOutput("one");
    child.Write("\n");
    child.WaitForOutput("two\n");
    child.Write("\n");
    child.WaitForOutput("one\n");
    EXPECT_THROW(child.WaitForOutput("one"), std::runtime_error);
}

TEST(ChildProcess, ReportsTheOutputWhenTheAwaitedTextCannotCome)
{
    ChildProcess child({"sh", "-c", "printf 'a b'; exit 4"});
    try {
        child.WaitForOutput("never");
        FAIL() << "the wait returned without the text";
    } catch (const std::runtime_error& problem) {
        EXPECT_NE(std::string(problem.what()).find("a·b"), std::string::npos) << problem.what();
    }
}

TEST(ChildProcess, StartsWithOneSignalIgnoredAndAllOthersDefault)
{
    ChildProcess::Options options;
    options.ignoredSignal = SIGHUP;
    ChildProcess child({"sh", "-c", "kill -HUP $$; echo alive; kill -TERM $$"}, options);
    EXPECT_EQ(child.WaitForExit(), -SIGTERM);
    EXPECT_EQ(child.Output(), "alive\n");
}

TEST(ChildProcess, IsKilledWhenItPrintsMoreThanTheLimit)
{
    ChildProcess::Options options;
    options.outputLimit = 1000;
    ChildProcess child({"yes"}, options);
    EXPECT_EQ(child.WaitForExit(), -SIGKILL);
    EXPECT_EQ(child.Output().size(), 1000u);
}

TEST(ChildProcess, EndsWithItsDestructor)
{
    pid_t pid = 0;
    {
        ChildProcess child({"sleep", "1000"});
        pid = child.Pid();
        EXPECT_TRUE(child.IsRunning());
    }
    EXPECT_EQ(kill(pid, 0), -1);
}

TEST(ChildProcess, GetsTheEnvironmentGiven)
{
    ChildProcess::Options options;
    options.environment = {{"SUBTITLE_PROBE", "a b"}, {"HOME", ""}};
    ChildProcess child({"sh", "-c", "echo \"$SUBTITLE_PROBE ${HOME-none}\""}, options);
    EXPECT_EQ(child.WaitForExit(), 0);
    EXPECT_EQ(child.Output(), "a b none\n");
}

TEST(ChildProcess, SeesATerminalWhenAsked)
{
    ChildProcess::Options options;
    options.onTerminal = true;
    ChildProcess child({"sh", "-c", "test -t 0 && test -t 1 && test -t 2 && echo yes; cat"},
                       options);
    child.WaitForOutput("yes\r\n");
    child.Write("typed\n");
    child.WaitForOutput("typed\r\ntyped\r\n");  // the terminal's echo, then the output of cat
    child.CloseInput();
    EXPECT_EQ(child.WaitForExit(), 0);
}

TEST(ChildProcess, IsStoppedAndContinued)
{
    ChildProcess child({"cat"});
    child.Stop();
    const std::string status = "/proc/" + std::to_string(child.Pid()) + "/status";
    EXPECT_NE(ReadWholeFile(status).find("State:\tT"), std::string::npos);
    child.Continue();
    child.Write("x\n");
    child.WaitForOutput("x\n");
}

TEST(TempDir, IsPrivateAndRemovedWithItsContent)
{
    std::string path;
    {
        const TempDir dir;
        path = dir.Path();
        WriteWholeFile(dir / "file", "content");
        EXPECT_EQ(ReadWholeFile(dir / "file"), "content");
        ChildProcess child({"stat", "-c", "%a", path});
        EXPECT_EQ(child.WaitForExit(), 0);
        EXPECT_EQ(child.Output(), "700\n");
    }
    ChildProcess child({"test", "-e", path});
    EXPECT_EQ(child.WaitForExit(), 1);
}

}  // namespace
