// Messaging directories that the client must not trust. The client runs as an unprivileged user,
// because modes do not restrict root.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t unprivileged = 65534;
constexpr uid_t otherUser = 65533;

class UntrustedDirectory : public ConsoleSession {
protected:
    /// A folder of the unprivileged user with a copy of the client, since that user may have no
    /// access to the build folder.
    void SetUp() override
    {
        CopyProgram(ClientProgram(), program);
        ASSERT_EQ(chmod(program.c_str(), 0755), 0);
        Give(home, unprivileged);
    }

    static bool IsRoot() { return geteuid() == 0; }

    static void Give(const std::string& file, uid_t owner)
    {
        EXPECT_TRUE(!IsRoot() || chown(file.c_str(), owner, owner) == 0) << file;
    }

    void MakeDirectory(mode_t mode, uid_t owner) const
    {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        Give(path, owner);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }

    ChildProcess::Options Settings() const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = path;
        settings.environment["SUBTITLE_LOG"] = home + "/log";
        return settings;
    }

    /// Starts a client without privileges. The status 99 means that it still has some.
    std::unique_ptr<ChildProcess> Start(const std::string& option) const
    {
        std::vector<std::string> command;
        if (IsRoot()) {
            command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        }
        for (const std::string& word :
             {std::string("sh"), std::string("-c"),
              std::string("[ \"$(id -u)\" -ne 0 ] || exit 99; exec \"$@\""), std::string("sh"),
              program, option}) {
            command.push_back(word);
        }
        return std::make_unique<ChildProcess>(command, Settings());
    }

    /// Expects that the client refuses the directory at the path, and that its log has the reason.
    void ExpectRefusal(const std::string& reason)
    {
        std::filesystem::remove(home + "/log");
        const auto client = Start("-p");
        EXPECT_EQ(client->WaitForExit(), 0);
        EXPECT_TEXT(client->Output(), "Let's Ping\n");
        EXPECT_TEXT(client->Errors(), "Error initializing the connection\nError running ping\n");
        const std::string log = ReadWholeFile(home + "/log");
        EXPECT_NE(log.find("level=2 endpoint SubtitleMgrCli: messaging directory " + path + ": " +
                           reason),
                  std::string::npos)
            << log;
    }

    const TempDir folder;
    const std::string home = folder.Path();
    const std::string path = home + "/linx";
    const std::string program = home + "/client";
};

TEST_F(UntrustedDirectory, IsRefusedIfAnotherUserOwnsIt)
{
    if (!IsRoot()) {
        GTEST_SKIP() << "only root can change the owner of a folder";
    }
    MakeDirectory(0700, otherUser);
    ExpectRefusal("belongs to another user");
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    ExpectRefusal("belongs to another user");
}

TEST_F(UntrustedDirectory, IsRefusedWithAnyModeBut0700)
{
    MakeDirectory(0755, unprivileged);
    ExpectRefusal("has another mode than 0700");
    ASSERT_EQ(chmod(path.c_str(), 0300), 0);
    ExpectRefusal("has another mode than 0700");
}

TEST_F(UntrustedDirectory, FailsEveryRequestOfTheConsole)
{
    WriteWholeFile(path, "content");
    const auto client = Start("-i");
    client->WaitForOutput(UnsubscribedMenu());
    EXPECT_EQ(client->CountThreads(), 2);
    client->Write("r\n6\n1\nk\n2\nx\n");
    EXPECT_EQ(client->WaitForExit(), 0);
    EXPECT_TEXT(client->Output(),
                UnsubscribedMenu() + "Sending RefreshRegions\n  ERROR" + UnsubscribedMenu() +
                    "Enter region ID: " + UnsubscribedMenu() + UnsubscribedMenu() +
                    "Unsubscribing...\n" + UnsubscribedMenu());
    EXPECT_TEXT(client->Errors(), "Error initializing the connection\nShut down Requested\n"
                                  "Error running quit\n");
    EXPECT_EQ(ReadWholeFile(path), "content");
}

class ForeignService : public UntrustedDirectory {
protected:
    void SetUp() override
    {
        if (!IsRoot()) {
            GTEST_SKIP() << "only root can run a service as another user";
        }
        UntrustedDirectory::SetUp();
    }

    const std::string socketPath = path + "/SubtitleMgr";
};

TEST_F(ForeignService, AnswersWhenRootRunsIt)
{
    MakeDirectory(0700, unprivileged);
    RawService service(socketPath);
    Give(socketPath, unprivileged);
    const auto client = Start("-p");
    const auto connection = service.Accept();
    connection->Reply(connection->ExpectRequest(messages::ping));
    EXPECT_EQ(client->WaitForExit(), 0);
    EXPECT_TEXT(client->Output(), "Let's Ping\nSuccessful Ping\n");
}

TEST_F(ForeignService, IsRefusedByRoot)
{
    MakeDirectory(0700, 0);
    Give(home, 0);
    // This service would answer: a reply to a ping has the next number and the same correlation.
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
                          socketPath});
    service.WaitForOutput("ready");
    ChildProcess client({program, "-p"}, Settings());
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Errors(), "Error running ping\n");
}

}  // namespace
