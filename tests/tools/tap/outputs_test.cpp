// Outputs of the tap that are closed, full or not read.

#include "tests/harness/text_compare.h"
#include "tests/harness/wait_limits.h"
#include "tests/tools/tap/TapSession.h"

#include "platform/src/deadline.h"
#include "platform/src/descriptor.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

using namespace platform;

namespace {

const std::string bitmaps = "wait-subscribers 10\nregion-data 1 0 @bitmap\n";

struct Pipe {
    Pipe()
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader = Descriptor(ends[0]);
        writer = Descriptor(ends[1]);
    }

    ChildProcess::Options AsOutput() const
    {
        ChildProcess::Options settings;
        settings.output = writer.Get();
        return settings;
    }

    /// Waits until the pipe is full.
    void AwaitFull() const
    {
        const Deadline deadline(eventDeadlineMs);
        pollfd room{writer.Get(), POLLOUT, 0};
        while (poll(&room, 1, 0) != 0) {
            ASSERT_FALSE(deadline.HasPassed());
            std::this_thread::yield();
        }
    }

    std::string ReadToTheEnd()
    {
        writer = Descriptor();
        std::string all;
        char bytes[65536];
        for (ssize_t count = 1; count > 0;) {
            count = read(reader.Get(), bytes, sizeof bytes);
            all.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return all;
    }

    Descriptor reader;
    Descriptor writer;
};

class Outputs : public TapSession {
protected:
    Outputs() { service.Accompany("bitmap", std::string(30000, '\x01')); }
};

TEST_F(Outputs, EndTheTapWithStatus0WhenClosed)
{
    service.Start();
    Pipe pipe;
    const auto tap = Launch({"--json"}, pipe.AsOutput());
    pipe.writer = Descriptor();
    char first = '\0';
    ASSERT_EQ(read(pipe.reader.Get(), &first, 1), 1);
    pipe.reader = Descriptor();
    EXPECT_EQ(tap->WaitForExit(), 0);
    EXPECT_EQ(tap->Errors(), "");
}

TEST_F(Outputs, EndTheTapWithStatus0WhenClosedDuringAWrite)
{
    service.Play(bitmaps).Loop().Start();
    Pipe pipe;
    const auto tap = Launch({"--json"}, pipe.AsOutput());
    pipe.AwaitFull();
    pipe.writer = Descriptor();
    pipe.reader = Descriptor();
    EXPECT_EQ(tap->WaitForExit(), 0);
    EXPECT_EQ(tap->Errors(), "");
}

TEST_F(Outputs, DelayTheTapUntilTheLineIsComplete)
{
    service.Play(bitmaps).Loop().Start();
    Pipe pipe;
    const auto tap = Launch({"--json"}, pipe.AsOutput());
    pipe.AwaitFull();
    tap->Signal(SIGINT);
    Recorded(pipe.ReadToTheEnd());
    EXPECT_EQ(tap->WaitForExit(), 0);
    EXPECT_EQ(tap->Errors(), "");
}

TEST_F(Outputs, EndTheTapWithStatus1WhenUnreadAtASignal)
{
    service.Play(bitmaps).Loop().Start();
    Pipe pipe;
    const auto tap = Launch({"--json"}, pipe.AsOutput());
    pipe.AwaitFull();
    tap->Signal(SIGTERM);
    EXPECT_EQ(tap->WaitForExit(), 1);
    EXPECT_EQ(tap->Errors(),
              "SubtitleMgrTap: standard output: is not read; its last line is not whole\n");
}

TEST_F(Outputs, EndTheTapWithStatus1WhenUnreadAtTheTimeLimit)
{
    service.Play(bitmaps).Loop().Start();
    Pipe pipe;
    const auto tap = Launch({"--json", "--seconds", "500ms"}, pipe.AsOutput());
    EXPECT_EQ(tap->WaitForExit(), 1);
}

TEST_F(Outputs, KeepWholeLinesAtALimitOfTheFileSize)
{
    service.Play(bitmaps).Loop().Start();
    ChildProcess::Options settings;
    settings.fileSizeLimit = 100000;
    const std::string path = files / "recording";
    const Ended tap = Run({"--json", "--output", path}, settings);
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.errors,
              "SubtitleMgrTap: " + path + ": File too large; it ends after the last whole line\n");
    const std::string recorded = Recorded(ReadWholeFile(path));
    EXPECT_EQ(std::count(recorded.begin(), recorded.end(), '\n'), 3);
}

TEST_F(Outputs, AreReplacedWhenTheServiceAnswers)
{
    const std::string path = files / "recording";
    WriteWholeFile(path, "an older recording\n");
    EXPECT_EQ(Run({"--json", "--output", path}).status, 3);
    EXPECT_EQ(ReadWholeFile(path), "an older recording\n");
    service.Start();
    EXPECT_EQ(Run({"--json", "--output", path, "--seconds", "0"}).status, 0);
    Recorded(ReadWholeFile(path));
}

TEST_F(Outputs, AreNotReplacedWhileTheyArePlayed)
{
    const std::string path = files / "recording";
    service.Start();
    EXPECT_EQ(Run({"--json", "--output", path, "--seconds", "0"}).status, 0);
    const std::string recorded = ReadWholeFile(path);
    service.Stop();
    service.Option("--play").Option(path).Option("--paused").Start();
    const Ended tap = Run({"--json", "--output", path, "--seconds", "0"});
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.errors, "SubtitleMgrTap: " + path + ": it is in use\n");
    EXPECT_EQ(ReadWholeFile(path), recorded);
}

TEST_F(Outputs, EndTheTapWithStatus1WhenTheyCannotBeOpened)
{
    const Ended tap = Run({"--output", files / "no/recording"});
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.errors,
              "SubtitleMgrTap: " + files / "no/recording" + ": No such file or directory\n");
}

}  // namespace
