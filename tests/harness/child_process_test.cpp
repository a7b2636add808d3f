#include "tests/harness/ChildProcess.h"

#include <gtest/gtest.h>

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
    try {
        child.WaitForOutput("one");
        FAIL() << "the wait returned without the text";
    } catch (const std::runtime_error& problem) {
        EXPECT_NE(std::string(problem.what()).find("one\\n\ntwo"), std::string::npos)
            << problem.what();
    }
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

}  // namespace
