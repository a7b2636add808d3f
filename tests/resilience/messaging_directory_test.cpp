// A client and a service of different users. The client trusts its own user and root.

#include "tests/harness/ConsoleSession.h"
#include "tests/harness/RawPeer.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Words = std::vector<std::string>;

constexpr uid_t unprivileged = 65534;

class ForeignService : public ConsoleSession {
protected:
    /// Copies the client, since the unprivileged user may have no access to the build folder.
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can run a service as another user";
        }
        CopyProgram(ClientProgram(), program);
        ASSERT_EQ(chmod(program.c_str(), 0755), 0);
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    }

    static void Give(const std::string& file)
    {
        ASSERT_EQ(chown(file.c_str(), unprivileged, unprivileged), 0) << file;
    }

    ChildProcess::Options Settings() const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = path;
        settings.environment["SUBTITLE_LOG"] = folder / "log";
        return settings;
    }

    const TempDir folder;
    const std::string path = folder / "linx";
    const std::string socketPath = path + "/SubtitleMgr";
    const std::string program = folder / "client";
};

TEST_F(ForeignService, AnswersWhenRootRunsIt)
{
    Give(folder.Path());
    Give(path);
    RawService service(socketPath);
    Give(socketPath);
    Words command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    // The status 99 means that the client still has privileges.
    command.insert(command.end(),
                   {"sh", "-c", "[ \"$(id -u)\" -ne 0 ] || exit 99; exec \"$0\" -p", program});
    ChildProcess client(command, Settings());
    const auto connection = service.Accept();
    connection->Reply(connection->ExpectRequest(messages::ping));
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TEXT(client.Output(), "Let's Ping\nSuccessful Ping\n");
}

TEST_F(ForeignService, IsRefusedByRoot)
{
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
