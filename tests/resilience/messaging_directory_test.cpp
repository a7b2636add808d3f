// Where the messaging directory must not be trusted. Everything here runs as an unprivileged user:
// for root no mode would be an obstacle.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t nobody = 65534;
constexpr uid_t somebodyElse = 65533;

class TheMessagingDirectory : public ConsoleSession {
protected:
    /// A folder that belongs to the unprivileged user, with a client of its own in it: the build
    /// folder may stand where that user cannot go.
    void SetUp() override
    {
        CopyProgram(ClientProgram(), program);
        ASSERT_EQ(chmod(program.c_str(), 0755), 0);
        if (IsRoot()) {
            ASSERT_EQ(chown(home.c_str(), nobody, nobody), 0);
        }
    }

    static bool IsRoot() { return geteuid() == 0; }

    /// The command that runs \p words without privileges, or fails with status 99.
    static std::vector<std::string> Unprivileged(const std::vector<std::string>& words)
    {
        std::vector<std::string> command;
        if (IsRoot()) {
            command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        }
        for (const char* word :
             {"sh", "-c", "[ \"$(id -u)\" -ne 0 ] || exit 99; exec \"$@\"", "sh"}) {
            command.push_back(word);
        }
        command.insert(command.end(), words.begin(), words.end());
        return command;
    }

    ChildProcess::Options Settings() const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = path;
        settings.environment["SUBTITLE_LOG"] = home + "/log";
        return settings;
    }

    void Run(const std::vector<std::string>& options) { Run(options, Settings()); }

    void Run(const std::vector<std::string>& options, const ChildProcess::Options& settings)
    {
        std::vector<std::string> words{program};
        words.insert(words.end(), options.begin(), options.end());
        client = std::make_unique<ChildProcess>(Unprivileged(words), settings);
        client->CloseInput();
        EXPECT_EQ(client->WaitForExit(), 0) << client->Errors();
    }

    /// The client does not work with what stands at the path now, and its log says why.
    void ExpectRefusal(const std::string& reason)
    {
        std::filesystem::remove(home + "/log");
        Run({"-p"});
        EXPECT_TEXT(client->Output(), "Let's Ping\n");
        EXPECT_TEXT(client->Errors(), "Error initializing the connection\nError running ping\n");
        const std::string log = ReadWholeFile(home + "/log");
        EXPECT_NE(log.find("level=2 "), std::string::npos) << log;
        EXPECT_NE(log.find(path), std::string::npos) << log;
        EXPECT_NE(log.find(reason), std::string::npos) << log;
    }

    void MakeDirectory(mode_t mode, uid_t owner = nobody)
    {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        if (IsRoot()) {
            ASSERT_EQ(chown(path.c_str(), owner, owner), 0);
        }
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }

    mode_t ModeOf(const std::string& file) const
    {
        struct stat found {};
        EXPECT_EQ(lstat(file.c_str(), &found), 0);
        return found.st_mode & 07777;
    }

    const TempDir folder;
    const std::string home = folder.Path();
    const std::string path = home + "/linx";
    const std::string program = home + "/client";
    std::unique_ptr<ChildProcess> client;
};

}  // namespace

TEST_F(TheMessagingDirectory, IsMadeWithAModeOfItsOwnWhateverTheUmaskIs)
{
    for (const char* umask : {"000", "022", "077"}) {
        client = std::make_unique<ChildProcess>(
            Unprivileged({"sh", "-c", "umask $1; exec \"$2\" -p", "sh", umask, program}),
            Settings());
        EXPECT_EQ(client->WaitForExit(), 0);
        EXPECT_TEXT(client->Errors(), "Error running ping\n") << umask;
        EXPECT_EQ(ModeOf(path), 0700u) << umask;
        std::filesystem::remove(path);
    }
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItIsAFile)
{
    WriteWholeFile(path, "content");
    ExpectRefusal("cannot be opened");
    EXPECT_EQ(ReadWholeFile(path), "content");
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItIsASymbolicLink)
{
    MakeDirectory(0700);
    std::filesystem::rename(path, home + "/real");
    std::filesystem::create_directory_symlink(home + "/real", path);
    ExpectRefusal("is a symbolic link");
    EXPECT_TRUE(std::filesystem::is_empty(home + "/real"));
    std::filesystem::remove(home + "/real");
    ExpectRefusal("is a symbolic link");
    EXPECT_FALSE(std::filesystem::exists(home + "/real"));
}

TEST_F(TheMessagingDirectory, IsRefusedBehindASlashWhenItIsASymbolicLink)
{
    MakeDirectory(0700);
    std::filesystem::rename(path, home + "/real");
    std::filesystem::create_directory_symlink(home + "/real", path);
    ChildProcess::Options settings = Settings();
    settings.environment["LINX_DIR"] = path + "/";
    Run({"-p"}, settings);
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\nError running ping\n");
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItBelongsToSomebodyElse)
{
    if (!IsRoot()) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    MakeDirectory(0700, somebodyElse);
    ExpectRefusal("belongs to another user");
    // What is open to everybody and still not the caller's.
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    ExpectRefusal("belongs to another user");
}

TEST_F(TheMessagingDirectory, IsRefusedWithAnyOtherModeAndNeverRepaired)
{
    MakeDirectory(0700);
    for (const mode_t mode : {0777u, 0755u, 0750u, 0740u, 0710u, 0704u, 0702u, 0701u, 0600u, 0500u,
                              0300u, 0400u, 0200u, 0100u, 0000u, 01700u, 02700u, 04700u}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        ExpectRefusal("has another mode than 0700");
        EXPECT_EQ(ModeOf(path), mode);
    }
    ASSERT_EQ(chmod(path.c_str(), 0700), 0);
    Run({"-p"});
    EXPECT_TEXT(client->Errors(), "Error running ping\n");
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItCannotBeMade)
{
    ChildProcess::Options settings = Settings();
    settings.environment["LINX_DIR"] = home + "/missing/linx";
    Run({"-p"}, settings);
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\nError running ping\n");
    EXPECT_NE(ReadWholeFile(home + "/log").find(home + "/missing/linx: cannot be made"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(home + "/missing"));
}

TEST_F(TheMessagingDirectory, IsRefusedWhenItsPathDependsOnTheWorkingDirectory)
{
    ChildProcess::Options settings = Settings();
    settings.environment["LINX_DIR"] = "linx";
    Run({"-p"}, settings);
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\nError running ping\n");
    EXPECT_FALSE(std::filesystem::exists("linx"));
}

TEST_F(TheMessagingDirectory, StandsInTheRuntimeDirectoryOfTheUserWhenNothingElseIsSaid)
{
    ChildProcess::Options settings = Settings();
    settings.environment["LINX_DIR"] = "";
    settings.environment["XDG_RUNTIME_DIR"] = home;
    Run({"-p"}, settings);
    EXPECT_TEXT(client->Errors(), "Error running ping\n");
    EXPECT_EQ(ModeOf(path), 0700u);
}

TEST_F(TheMessagingDirectory, IsNotNeededForTheUsage)
{
    WriteWholeFile(path, "");
    Run({"-h"});
    EXPECT_TEXT(client->Output(), UsageText());
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\n");
}

TEST_F(TheMessagingDirectory, LetsEveryRequestOfTheConsoleFailWhenItIsRefused)
{
    WriteWholeFile(path, "");
    client = std::make_unique<ChildProcess>(Unprivileged({program, "-i"}), Settings());
    client->Write("r\n6\n1\nk\n2\nx\n");
    EXPECT_EQ(client->WaitForExit(), 0);
    EXPECT_TEXT(client->Output(),
                UnsubscribedMenu() + "Sending RefreshRegions\n  ERROR" + UnsubscribedMenu() +
                    "Enter region ID: " + UnsubscribedMenu() + UnsubscribedMenu() +
                    "Unsubscribing...\n" + UnsubscribedMenu());
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\nShut down Requested\n"
                                  "Error running quit\n");
}

TEST_F(TheMessagingDirectory, IsNotNeededForTheReceiveThread)
{
    WriteWholeFile(path, "");
    client = std::make_unique<ChildProcess>(Unprivileged({program, "-i"}), Settings());
    client->WaitForOutput(UnsubscribedMenu());
    EXPECT_EQ(client->CountThreads(), 2);
    client->Write("x\n");
    EXPECT_EQ(client->WaitForExit(), 0);
}

TEST_F(TheMessagingDirectory, HoldsServicesOfTheSameUserOrOfRootAlone)
{
    if (!IsRoot()) {
        GTEST_SKIP() << "only root can play a service of another user";
    }
    MakeDirectory(0700);
    {
        RawService ofRoot(path + "/SubtitleMgr");
        ASSERT_EQ(chown((path + "/SubtitleMgr").c_str(), nobody, nobody), 0);
        ASSERT_EQ(chmod((path + "/SubtitleMgr").c_str(), 0600), 0);
        client = std::make_unique<ChildProcess>(Unprivileged({program, "-p"}), Settings());
        const auto connection = ofRoot.Accept();
        connection->Reply(connection->ExpectRequest(messages::ping));
        EXPECT_EQ(client->WaitForExit(), 0);
        EXPECT_TEXT(client->Output(), "Let's Ping\nSuccessful Ping\n");
    }
    // The client of root meets a service of the unprivileged user in root's own directory.
    ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    ASSERT_EQ(chown(home.c_str(), 0, 0), 0);
    const std::string listening = path + "/SubtitleMgr";
    // It would answer: a reply to a ping has the next number and the same correlation.
    ChildProcess service({"python3", "-c",
                          "import os, socket, sys\n"
                          "s = socket.socket(socket.AF_UNIX)\n"
                          "s.bind(sys.argv[1])\n"
                          "os.setuid(65534)\n"
                          "s.listen()\n"
                          "print('ready', flush=True)\n"
                          "c = s.accept()[0]\n"
                          "f = c.recv(16)\n"
                          "c.sendall(b'ST\\1\\2\\0\\0\\x3b\\2' + f[8:])\n",
                          listening});
    service.WaitForOutput("ready");
    ChildProcess rootsClient({program, "-p"}, Settings());
    EXPECT_EQ(rootsClient.WaitForExit(), 0);
    EXPECT_TEXT(rootsClient.Errors(), "Error running ping\n");
}
