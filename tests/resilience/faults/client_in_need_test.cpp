// The client as a process that lacks something, or has too much of it.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/SmallDisk.h"
#include "tests/harness/build_kind.h"
#include "tests/resilience/faults/process_facts.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

/// A limit counts also what whoever started the tests has handed down.
void LeaveInheritedDescriptorsBehind()
{
    constexpr int more = 256;
    for (int fd = STDERR_FILENO + 1; fd < more; ++fd) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

class AClientInNeed : public ConsoleSession {
protected:
    /// Runs the client behind other words.
    std::unique_ptr<ChildProcess> Behind(std::vector<std::string> words,
                                         const std::vector<std::string>& options) const
    {
        words.push_back(ClientProgram());
        words.insert(words.end(), options.begin(), options.end());
        auto client = std::make_unique<ChildProcess>(words, ClientSettings());
        client->CloseInput();
        return client;
    }
};

TEST_F(AClientInNeed, OfDescriptorsSaysThatItsPingFailed)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "sanitizers, and what starts the emulator, need descriptors of their own";
    }
    StartService();
    LeaveInheritedDescriptorsBehind();
    const auto client = Behind({"prlimit", "--nofile=4"}, {"-p", "-q"});
    EXPECT_EQ(client->WaitForExit(), 0);
    EXPECT_TEXT(client->Output(), "Let's Ping\n");
    EXPECT_TEXT(client->Errors(), "Error running ping\nShut down Requested\nError running quit\n");
}

TEST_F(AClientInNeed, OfNothingPingsWithMoreThanAThousandInheritedDescriptors)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    setrlimit(RLIMIT_NOFILE, &limit);
    StartService();
    std::vector<Descriptor> inherited;
    for (int i = 0; i < 1100; ++i) {
        inherited.emplace_back(dup(STDERR_FILENO));
        ASSERT_TRUE(inherited.back());
    }
    RunClient({"-p"});
    inherited.clear();
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ConsoleText(), "Let's Ping\nSuccessful Ping\n");
}

TEST_F(AClientInNeed, OfAThreadGoesOnWithoutAWord)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "the build itself takes more memory than is granted here";
    }
    StartService();
    // A stack of the usual size does not fit into the address space.
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

using ClientWithLittleMemory = AClientInNeed;

TEST_F(ClientWithLittleMemory, GoesOnAfterAFileNameItCannotStore)
{
    if (isSanitized || isEmulated) {
        GTEST_SKIP() << "the build itself takes more memory than is granted here";
    }
    StartService();
    ChildProcess client({"prlimit", "--as=20000000", "--stack=262144", ClientProgram(), "-i"},
                        ClientSettings());
    client.Write("3 1 " + std::string(8'000'000, 'n') + " 4\nx\n");
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(),
                UnsubscribedMenu() + "Enter region ID: Enter filename:  " + UnsubscribedMenu());
    EXPECT_TEXT(client.Errors(), "");
    ExpectLog(" Error allocating memory for a command\n");
}

TEST_F(AClientInNeed, OfAnAnswerWaitsAtNoCostAndEndsByCtrlC)
{
    Service().Fault("mute").Journal();
    StartService();
    StartClient({"-p"});
    Service().WaitForJournalLine(R"({"request":"Ping"})");
    const long before = ProcessorMilliseconds(Client().Pid());
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // a span to be idle in
    EXPECT_LT(ProcessorMilliseconds(Client().Pid()) - before, isEmulated ? 250 : 50);
    Client().Signal(SIGINT);
    EXPECT_EQ(ExitStatus(), -SIGINT);
}

TEST_F(AClientInNeed, OfAPatientReaderLeavesTheOthersAlone)
{
    Service().Quiet();
    StartService();
    ASSERT_EQ(mkfifo((Files() / "go").c_str(), 0600), 0);
    ChildProcess console(
        {"sh", "-c", "\"$0\" -i | { read line <\"$1\"; cat; }", ClientProgram(), Files() / "go"},
        ClientSettings());
    std::string keys = "1\n";
    for (int i = 0; i < 100; ++i) {
        keys += "s\n";  // more than a pipe takes
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

TEST_F(AClientInNeed, OfNoMoreThanTwoConsolesAtOnceIsReplacedAnyNumberOfTimes)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    for (int round = 0; round < (isEmulated ? 3 : 10); ++round) {
        ChildProcess other({ClientProgram(), "-i"}, ClientSettings());
        other.Write("1\nr\n");
        other.WaitForOutput("Sending RefreshRegions\n\n");
        Type("r\n");
        ExpectConsole("Sending RefreshRegions\n\n" + SubscribedMenu());
        other.Signal(SIGKILL);
        other.WaitForExit();
    }
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ErrorText(), "");
}

TEST_F(AClientInNeed, OfNothingTakesTenThousandOptions)
{
    std::vector<std::string> options(10000, "-c");
    options.push_back("-h");
    RunClient(options);
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ConsoleText(), UsageText());
}

TEST_F(AClientInNeed, OfNothingHandsNothingToProgramsItMightStart)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    if (!isEmulated) {  // the emulator's own descriptors would be seen
        EXPECT_EQ(InheritableDescriptors(Client().Pid()), InheritableDescriptors(getpid()));
    }
    EXPECT_EQ(AbstractSockets(Client().Pid()), "");
}

/// How far a service comes with a ping before it hangs up.
enum class HangUp { WithTheRequestUnread, BehindTheRequest, InsideTheReply };

class AClientThatIsHungUpOn : public AClientInNeed, public testing::WithParamInterface<HangUp> {};

TEST_P(AClientThatIsHungUpOn, SaysThatItsPingFailed)
{
    auto hostile = std::make_unique<RawService>(Directory() / "SubtitleMgr");
    StartClient({"-p"});
    {
        const auto connection = hostile->Accept();
        hostile.reset();  // what is made once more finds nobody
        if (GetParam() != HangUp::WithTheRequestUnread) {
            const RawFrame request = connection->ExpectRequest(messages::ping);
            if (GetParam() == HangUp::InsideTheReply) {
                connection->Send(
                    FrameBytes(FrameKind::Reply, 0x3B02, request.header.correlation, "")
                        .substr(0, 9));
            }
        }
    }
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ConsoleText(), "Let's Ping\n");
    EXPECT_TEXT(ErrorText(), "Error running ping\n");
}

INSTANTIATE_TEST_SUITE_P(Everywhere, AClientThatIsHungUpOn,
                         testing::Values(HangUp::WithTheRequestUnread, HangUp::BehindTheRequest,
                                         HangUp::InsideTheReply));

/// Keys that make as many log entries: files that are not there.
std::string EntriesByKeys(int count)
{
    std::string keys;
    for (int i = 0; i < count; ++i) {
        keys += "3\n1\nnone\n4\n";
    }
    return keys + "x\n";
}

class UnreadSystemLog : public ConsoleSession {};

TEST_F(UnreadSystemLog, LetsTheConsoleLeaveAtOnce)
{
    if (!SmallDisk("4k").IsMounted()) {
        GTEST_SKIP() << "only root can have a /dev of its own";
    }
    const Descriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = Files() / "socket";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(log.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ChildProcess::Options settings = ClientSettings();
    settings.environment["SUBTITLE_LOG"] = "";
    StartService();
    ChildProcess client({"unshare", "-m", "sh", "-c",
                         "mount -t tmpfs none /dev && ln -s \"$0\" /dev/log && exec \"$@\"", path,
                         ClientProgram(), "-i"},
                        settings);
    client.Write(EntriesByKeys(1000));
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Errors(), "");
    char entry[4096] = "";
    EXPECT_GT(recv(log.Get(), entry, sizeof entry - 1, MSG_DONTWAIT), 0);
    EXPECT_NE(std::string(entry).find("Error opening file none"), std::string::npos) << entry;
}

class ALogFileAtItsLimit : public ConsoleSession {};

TEST_F(ALogFileAtItsLimit, LosesEntriesAndNothingElse)
{
    ChildProcess::Options settings = ClientSettings();
    settings.fileSizeLimit = 1000;
    StartService();
    ChildProcess client({ClientProgram(), "-i"}, settings);
    client.Write(EntriesByKeys(100));
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Errors(), "");
    const std::string log = LogText();
    EXPECT_GT(log.size(), 800u);
    EXPECT_LE(log.size(), 1000u);
    EXPECT_EQ(log.substr(log.size() - 6), " none\n");
}

}  // namespace
