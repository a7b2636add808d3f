// Keys 3 and 5 with files that cannot be opened or read. Everything here runs as an unprivileged
// user: for root no permission would be an obstacle.

#include "tests/editing/EditingSession.h"
#include "tests/editing/expected_bytes.h"
#include "tests/support/RawPeer.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class AnUnprivilegedConsole : public EditingSession {
protected:
    /// A folder that belongs to the unprivileged user, with the messaging directory and programs of
    /// its own in it: the build folder may stand where that user cannot go.
    void SetUp() override
    {
        CopyProgram(ClientProgram(), client);
        CopyProgram(ServiceProgram(), serviceProgram);
        for (const std::string& copy : {client, serviceProgram}) {
            ASSERT_EQ(chmod(copy.c_str(), 0755), 0);
        }
        ASSERT_EQ(mkdir(linx.c_str(), 0700), 0);
        Own(home);
        Own(linx);
        service = std::make_unique<ChildProcess>(
            Unprivileged({serviceProgram, "--quiet", "--journal", journal}), Settings());
        service->WaitForOutput("ready\n");
    }

    void TearDown() override
    {
        if (service) {
            service->Signal(SIGTERM);
            EXPECT_EQ(service->WaitForExit(), 0) << service->Errors();
        }
    }

    static bool IsRoot() { return geteuid() == 0; }

    /// Gives \p path to the unprivileged user.
    static void Own(const std::string& path)
    {
        constexpr uid_t nobody = 65534;
        if (IsRoot()) {
            ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
        }
    }

    std::string OwnFile(const std::string& name, const std::string& content, mode_t mode)
    {
        const std::string path = File(name, content);
        Own(path);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }

    std::string OwnFolder(const std::string& name, mode_t mode)
    {
        const std::string path = Files() / name;
        EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
        Own(path);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }

    /// The command that runs \p words without privileges, or fails with status 99.
    static std::vector<std::string> Unprivileged(const std::vector<std::string>& words)
    {
        std::vector<std::string> command;
        if (IsRoot()) {
            // The kernel forgets the wish to end with the test when the user changes.
            command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                       "--pdeathsig=KILL"};
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
        ChildProcess::Options settings = ClientSettings();
        settings.environment["LINX_DIR"] = linx;
        return settings;
    }

    void Run(const std::string& keys, const std::string& text)
    {
        ChildProcess console(Unprivileged({client, "-i"}), Settings());
        console.Write(keys + "x\n");
        EXPECT_EQ(console.WaitForExit(), 0);
        EXPECT_TEXT(console.Output(), UnsubscribedMenu() + text + UnsubscribedMenu());
        EXPECT_TEXT(console.Errors(), "");
    }

    /// Loads \p size bytes of \p path, which cannot be had; the record is sent without any.
    void ExpectNothingOf(const std::string& path, unsigned size, const Lines& log)
    {
        std::filesystem::remove(Files() / "log");
        std::filesystem::resize_file(journal, 0);
        Run("3\n3\n" + path + "\n" + std::to_string(size) + "\n",
            "Enter region ID: Enter filename:  Enter file size: ");
        EXPECT_EQ(OwnJournal(), Lines{RegionDataLine(3, "")}) << path;
        EXPECT_EQ(LogTexts(), log);
    }

    Lines OwnJournal() const
    {
        Lines lines;
        std::istringstream text(ReadWholeFile(journal));
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    /// Converts a palette whose output cannot be opened; the record is sent all the same.
    void ExpectNoOutputOf(const std::string& path)
    {
        Run("5\n2\n" + path + "\nt\nf\n",
            "Enter region ID:   Enter filename:    RGB palette (t/f): "
            "Converting palette of size 1024...Done\n\nTransparent pixel? (t/f): ");
        EXPECT_EQ(OwnJournal(), Lines{PaletteLine(2, ConvertedPalette(table), 1, false)});
        EXPECT_EQ(LogTexts(), (Lines{Opened(path), OutputNotOpened(path + ".out")}));
    }

    const std::string home = Files().Path();
    const std::string client = home + "/SubtitleMgrCli";
    const std::string serviceProgram = home + "/SubtitleMgrSim";
    const std::string linx = home + "/linx";
    const std::string journal = home + "/journal";
    const std::string table = std::string(1024, '\x40');
    std::unique_ptr<ChildProcess> service;
};

}  // namespace

TEST_F(AnUnprivilegedConsole, ReadsAFileItMay)
{
    const std::string path = OwnFile("bitmap", "12345", 0400);
    Run("3\n3\n" + path + "\n5\n", "Enter region ID: Enter filename:  Enter file size: ");
    EXPECT_EQ(OwnJournal(), Lines{RegionDataLine(3, "12345")});
    EXPECT_EQ(LogTexts(), Lines{Opened(path)});
}

TEST_F(AnUnprivilegedConsole, CannotOpenAFileOrFolderItMayNotRead)
{
    const std::string path = OwnFile("bitmap", "12345", 0000);
    ExpectNothingOf(path, 5, {NotOpened(path)});
    ExpectNothingOf(path, 0, {NotOpened(path)});
    const std::string folder = OwnFolder("folder", 0700);
    OwnFile("folder/bitmap", "12345", 0600);
    ASSERT_EQ(chmod(folder.c_str(), 0000), 0);
    ExpectNothingOf(folder + "/bitmap", 5, {NotOpened(folder + "/bitmap")});
    ExpectNothingOf(folder, 0, {NotOpened(folder)});
    ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
}

TEST_F(AnUnprivilegedConsole, CannotOpenAFileThatIsMissing)
{
    ExpectNothingOf(home + "/none", 5, {NotOpened(home + "/none")});
    ExpectNothingOf(home + "/none/bitmap", 0, {NotOpened(home + "/none/bitmap")});
    const std::string path = OwnFile("bitmap", "12345", 0600);
    ExpectNothingOf(path + "/bitmap", 5, {NotOpened(path + "/bitmap")});
}

TEST_F(AnUnprivilegedConsole, OpensADirectoryAndReadsNothing)
{
    const std::string folder = OwnFolder("folder", 0700);
    ExpectNothingOf(folder, 5, {Opened(folder), ShortRead(0, 5)});
    ExpectNothingOf(folder, 0, {Opened(folder)});
}

TEST_F(AnUnprivilegedConsole, CannotOpenASocket)
{
    const std::string path = home + "/socket";
    const Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const void* raw = &address;
    ASSERT_EQ(bind(listener.Get(), static_cast<const sockaddr*>(raw), sizeof address), 0);
    Own(path);
    ExpectNothingOf(path, 5, {NotOpened(path)});
}

TEST_F(AnUnprivilegedConsole, CannotOpenASymlinkThatLeadsNowhere)
{
    std::filesystem::create_symlink(home + "/none", home + "/dangling");
    ExpectNothingOf(home + "/dangling", 5, {NotOpened(home + "/dangling")});
    std::filesystem::create_symlink(home + "/loop", home + "/loop");
    ExpectNothingOf(home + "/loop", 5, {NotOpened(home + "/loop")});
}

TEST_F(AnUnprivilegedConsole, FollowsASymlinkToAFile)
{
    OwnFile("bitmap", "12345", 0600);
    const std::string path = home + "/link";
    std::filesystem::create_symlink("bitmap", path);
    Run("3\n3\n" + path + "\n5\n", "Enter region ID: Enter filename:  Enter file size: ");
    EXPECT_EQ(OwnJournal(), Lines{RegionDataLine(3, "12345")});
}

TEST_F(AnUnprivilegedConsole, CannotOpenANameThatIsTooLong)
{
    const std::string longPart = home + "/" + std::string(300, 'a');
    ExpectNothingOf(longPart, 5, {NotOpened(longPart)});
    const std::string longPath = home + "/" + std::string(5000, 'a');
    ExpectNothingOf(longPath, 5, {NotOpened(longPath)});
}

TEST_F(AnUnprivilegedConsole, ReadsNothingOfAFileThatGivesAnError)
{
    // Nothing is mapped at address 0.
    ExpectNothingOf("/proc/self/mem", 5, {Opened("/proc/self/mem"), ShortRead(0, 5)});
    ExpectNothingOf("/proc/self/mem", 0, {Opened("/proc/self/mem")});
}

TEST_F(AnUnprivilegedConsole, ReadsNothingOfAFileThatIsAlwaysEmpty)
{
    ExpectNothingOf("/dev/null", 5, {Opened("/dev/null"), ShortRead(0, 5)});
    ExpectNothingOf("/dev/null", 0, {Opened("/dev/null")});
}

TEST_F(AnUnprivilegedConsole, LeavesAReadOnlyOutputFileAsItIs)
{
    const std::string path = OwnFile("pal.bin", table, 0400);
    const std::string output = OwnFile("pal.bin.out", "an earlier content", 0400);
    ExpectNoOutputOf(path);
    EXPECT_TEXT(ReadWholeFile(output), "an earlier content");
}

TEST_F(AnUnprivilegedConsole, SavesNothingInAFolderItMayNotWrite)
{
    const std::string folder = OwnFolder("folder", 0700);
    const std::string path = OwnFile("folder/pal.bin", table, 0400);
    ASSERT_EQ(chmod(folder.c_str(), 0500), 0);
    ExpectNoOutputOf(path);
    EXPECT_FALSE(std::filesystem::exists(path + ".out"));
    ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
}

TEST_F(AnUnprivilegedConsole, SavesNothingUnderANameThatIsTooLong)
{
    // The suffix makes it longer than the 255 bytes that a file's name may have.
    const std::string path = OwnFile(std::string(252, 'p'), table, 0400);
    ExpectNoOutputOf(path);
}
