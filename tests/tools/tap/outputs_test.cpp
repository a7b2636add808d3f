// Outputs of the tap that are closed, full or not read.

#include "tests/harness/wait_limits.h"
#include "tests/tools/tap/TapSession.h"

#include "platform/src/descriptor.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace platform;

namespace {

class Outputs : public TapSession {
protected:
    Outputs() { service.Accompany("bitmap", std::string(30000, '\x01')); }

    /// Starts a tap whose output is a pipe that the test reads, or does not.
    std::unique_ptr<ChildProcess> LaunchOnPipe(const std::vector<std::string>& options)
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader = Descriptor(ends[0]);
        writer = Descriptor(ends[1]);
        ChildProcess::Options settings;
        settings.output = writer.Get();
        return Launch(options, settings);
    }

    void PlayBitmapsWithoutEnd()
    {
        service.Play("wait-subscribers 10\nregion-data 1 0 @bitmap\n").Loop().Start();
    }

    std::unique_ptr<ChildProcess> LaunchOnFullPipe(const std::vector<std::string>& options)
    {
        PlayBitmapsWithoutEnd();
        auto tap = LaunchOnPipe(options);
        pollfd room{writer.Get(), POLLOUT, 0};
        WaitUntil([&] { return poll(&room, 1, 0) == 0; }, [] { return "a full pipe"; });
        writer = Descriptor();
        return tap;
    }

    Descriptor reader;
    Descriptor writer;
};

TEST_F(Outputs, EndTheTapWithStatus0WhenClosed)
{
    service.Start();
    const auto tap = LaunchOnPipe({"--json"});
    writer = Descriptor();
    char first = '\0';
    ASSERT_EQ(read(reader.Get(), &first, 1), 1);
    reader = Descriptor();
    ExpectEnd(*tap, 0);
}

TEST_F(Outputs, EndTheTapWithStatus0WhenClosedDuringAWrite)
{
    const auto tap = LaunchOnFullPipe({"--json"});
    reader = Descriptor();
    ExpectEnd(*tap, 0);
}

TEST_F(Outputs, DelayTheTapUntilTheLineIsComplete)
{
    const auto tap = LaunchOnFullPipe({"--json"});
    tap->Signal(SIGINT);
    std::string all;
    char bytes[65536];
    for (ssize_t count = 1; count > 0; all.append(bytes, static_cast<std::size_t>(count))) {
        count = std::max<ssize_t>(read(reader.Get(), bytes, sizeof bytes), 0);
    }
    Recorded(all);
    ExpectEnd(*tap, 0);
}

TEST_F(Outputs, EndTheTapWithStatus1WhenUnreadAtTheTimeLimit)
{
    const auto tap = LaunchOnFullPipe({"--json", "--seconds", "500ms"});
    ExpectEnd(*tap, 1, "standard output: is not read; its last line is not whole");
}

TEST_F(Outputs, KeepWholeLinesAtALimitOfTheFileSize)
{
    PlayBitmapsWithoutEnd();
    ChildProcess::Options settings;
    settings.fileSizeLimit = 100000;
    const std::string path = files / "recording";
    ExpectEnd(*Launch({"--json", "--output", path}, settings), 1,
              path + ": File too large; it ends after the last whole line");
    const std::string recorded = Recorded(ReadWholeFile(path));
    EXPECT_EQ(std::count(recorded.begin(), recorded.end(), '\n'), 3);
}

TEST_F(Outputs, AreReplacedUnlessNoServiceAnswersOrOnePlaysThem)
{
    const std::string path = files / "recording";
    const std::vector<std::string> options{"--json", "--output", path, "--seconds", "0"};
    ExpectEnd(*Launch({"--output", path + "/"}), 1, path + "/: Is a directory");
    WriteWholeFile(path, "an older recording\n");
    EXPECT_EQ(Launch(options)->WaitForExit(), 3);
    EXPECT_EQ(ReadWholeFile(path), "an older recording\n");
    service.Start();
    ExpectEnd(*Launch(options), 0);
    const std::string recorded = ReadWholeFile(path);
    Recorded(recorded);
    service.Stop();
    service.Option("--play").Option(path).Option("--paused").Start();
    ExpectEnd(*Launch(options), 1, path + ": it is in use");
    EXPECT_EQ(ReadWholeFile(path), recorded);
}

}  // namespace
