// The client without a resource, or with outputs that accept nothing.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/build_kind.h"
#include "tests/harness/process_facts.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using DescriptorShortage = ConsoleSession;

TEST_F(DescriptorShortage, FailsPingAndQuit)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "sanitizers and the emulator need descriptors of their own";
    }
    StartService();
    // The limit counts inherited descriptors too.
    for (int fd = STDERR_FILENO + 1; fd < 256; ++fd) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    ChildProcess client({"prlimit", "--nofile=4", ClientProgram(), "-p", "-q"}, ClientSettings());
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), "Let's Ping\n");
    EXPECT_TEXT(client.Errors(), "Error running ping\nShut down Requested\nError running quit\n");
}

using ThreadShortage = ConsoleSession;

TEST_F(ThreadShortage, ChangesNoOutput)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "this build needs more memory than the limit";
    }
    StartService();
    // The address space has no room for the stack of a thread.
    ChildProcess client(
        {"prlimit", "--as=100000000", "--stack=500000000", ClientProgram(), "-p", "-i"},
        ClientSettings());
    client.WaitForOutput(UnsubscribedMenu());
    EXPECT_EQ(client.CountThreads(), 1);
    client.Write("x\n");
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), "Let's Ping\nSuccessful Ping\n" + UnsubscribedMenu());
    EXPECT_TEXT(client.Errors(), "");
}

using UnreadConsole = ConsoleSession;

TEST_F(UnreadConsole, DelaysNoOtherClient)
{
    Service().Quiet();
    StartService();
    ASSERT_EQ(mkfifo((Files() / "go").c_str(), 0600), 0);
    ChildProcess console(
        {"sh", "-c", "\"$0\" -i | { read line <\"$1\"; cat; }", ClientProgram(), Files() / "go"},
        ClientSettings());
    std::string keys = "1\n";
    for (int i = 0; i < 100; ++i) {
        keys += "s\n";  // more output than a pipe holds
    }
    console.Write(keys + "x\n");
    console.CloseInput();
    RunClient({"-p"});
    EXPECT_TEXT(ConsoleText(), "Let's Ping\nSuccessful Ping\n");
    std::ofstream(Files() / "go") << "\n";
    EXPECT_EQ(console.WaitForExit(), 0);
    const std::string text = console.Output();
    EXPECT_EQ(text.substr(text.size() - SubscribedMenu().size()), SubscribedMenu());
}

using ChildOfTheClient = ConsoleSession;

TEST_F(ChildOfTheClient, InheritsNoDescriptor)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    if (!isEmulated) {  // the emulator has descriptors of its own
        EXPECT_EQ(InheritableDescriptors(Client().Pid()), InheritableDescriptors(getpid()));
    }
}

class ShellConsole : public ConsoleSession {
protected:
    /// Runs a shell command in which "$1" is the client. \return the ended command; its status is 0
    std::unique_ptr<ChildProcess> Run(const std::string& command) const
    {
        auto shell = std::make_unique<ChildProcess>(
            std::vector<std::string>{"sh", "-c", command, "sh", ClientProgram()}, ClientSettings());
        EXPECT_EQ(shell->WaitForExit(), 0);
        return shell;
    }
};

TEST_F(ShellConsole, EndsByTheBrokenPipeOfItsOutput)
{
    const auto shell = Run("{ \"$1\" -i </dev/null; echo \"status $?\" >&2; } | head -c 100");
    EXPECT_TEXT(shell->Output(), UnsubscribedMenu().substr(0, 100));
    EXPECT_TEXT(shell->Errors(), "status " + std::to_string(128 + SIGPIPE) + "\n");
}

TEST_F(ShellConsole, SurvivesAFullDiskAsItsOutput)
{
    EXPECT_TEXT(Run("printf 's\\nx\\n' | \"$1\" -i >/dev/full")->Errors(), "");
}

TEST_F(ShellConsole, SendsOnlyItsRequestWithClosedStreams)
{
    StartService();
    Run("\"$1\" -p <&- >&- 2>&-");
    // If text for a stream went to the socket, the service would report a bad frame.
    Service().Process().Signal(SIGTERM);
    Service().Process().WaitForExit();
    EXPECT_TEXT(Service().Process().Errors(), "SubtitleMgrSim: serving " + Service().SocketPath() +
                                                  "\nSubtitleMgrSim: client 1: Ping\n");
}

}  // namespace
