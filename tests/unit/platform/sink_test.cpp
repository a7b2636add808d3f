#include "platform/src/sink.h"

#include "tests/harness/SmallDisk.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using platform::Descriptor;

namespace {

struct Ends {
    Descriptor reader;
    Descriptor writer;
};

/// A socket pair of \p type; a pipe if it is 0. Both ends are in blocking mode, like those of other
/// programs.
Ends Connected(int type)
{
    int ends[2];
    EXPECT_EQ(
        type == 0 ? pipe2(ends, O_CLOEXEC) : socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// All bytes that are available without waiting.
std::string Read(const Descriptor& reader)
{
    fcntl(reader.Get(), F_SETFL, O_NONBLOCK);
    std::string all;
    char bytes[65536];
    for (ssize_t count; (count = read(reader.Get(), bytes, sizeof bytes)) > 0;) {
        all.append(bytes, static_cast<std::size_t>(count));
    }
    return all;
}

const std::string line = std::string(99, 'x') + "\n";

std::string Lines(std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += line;
    }
    return all;
}

std::string LossLine(unsigned int lost, const char* reason)
{
    return "lost " + std::to_string(lost) + ": " + reason + "\n";
}

class Sink : public testing::Test {
protected:
    void Write(const std::string& text)
    {
        sink.Write([&] { return text; });
    }

    /// Writes lines until one is lost. \return the number of lines before it
    std::size_t Fill()
    {
        std::size_t count = 0;
        for (; sink.Lost() == 0; ++count) {
            Write(line);
        }
        return count - 1;
    }

    /// Fills \p ends completely, then reads all.
    void ExpectOneKeptAndTheOthersCounted(const Ends& ends)
    {
        const int flags = fcntl(ends.writer.Get(), F_GETFL);
        sink.Use(ends.writer.Get());
        const std::size_t taken = Fill();
        Write(line);
        EXPECT_EQ(sink.Lost(), 2u);
        EXPECT_FALSE(sink.Flush());
        EXPECT_EQ(Read(ends.reader), Lines(taken - 1));
        EXPECT_TRUE(sink.Flush());
        EXPECT_EQ(sink.Lost(), 0u);
        EXPECT_EQ(Read(ends.reader), line + "lost 2: it is not read\n");
        Write("next\n");
        EXPECT_EQ(Read(ends.reader), "next\n");
        EXPECT_EQ(fcntl(ends.writer.Get(), F_GETFL), flags)
            << "flags of a shared descriptor changed";
    }

    /// Writes a line that is longer than the free space in \p ends.
    void ExpectTheRestOfALineBeforeTheNext(const Ends& ends)
    {
        sink.Use(ends.writer.Get());
        const std::string longLine = std::string(1000000, 'y') + "\n";
        Write(longLine);
        Write("lost\n");
        std::string all = Read(ends.reader);
        EXPECT_GT(all.size(), 0u);
        EXPECT_LT(all.size(), longLine.size());
        while (!sink.Flush()) {
            all += Read(ends.reader);
        }
        Write("next\n");
        EXPECT_TRUE(all + Read(ends.reader) == longLine + "lost 1: it is not read\nnext\n");
    }

    platform::Sink sink{LossLine};
};

TEST_F(Sink, KeepsOneLineForAFullPipeOrSocketAndCountsTheOthers)
{
    ExpectOneKeptAndTheOthersCounted(Connected(0));
    ExpectOneKeptAndTheOthersCounted(Connected(SOCK_DGRAM));
}

TEST_F(Sink, KeepsOneLineForAnotherUsersPipeAndCountsTheOthers)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const Ends ends = Connected(0);
    constexpr uid_t other = 65534;
    ASSERT_EQ(seteuid(other), 0);
    const std::string path = "/proc/self/fd/" + std::to_string(ends.writer.Get());
    EXPECT_EQ(open(path.c_str(), O_WRONLY | O_CLOEXEC), -1) << "this user may open the pipe";
    ExpectOneKeptAndTheOthersCounted(ends);
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(Sink, FinishesTheRestOfALineBeforeTheNext)
{
    ExpectTheRestOfALineBeforeTheNext(Connected(0));
    ExpectTheRestOfALineBeforeTheNext(Connected(SOCK_STREAM));
}

TEST_F(Sink, CountsLinesForAReaderThatHasGone)
{
    for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
        Ends ends = Connected(type);
        ends.reader = Descriptor();
        platform::Sink silent(nullptr, ends.writer.Get());
        silent.Write([] { return line; });  // SIGPIPE has its default action
        EXPECT_EQ(silent.Lost(), 1u);
    }
}

TEST_F(Sink, CountsLinesForAClosedDescriptor)
{
    const Ends ends = Connected(0);
    const int closed = Connected(0).writer.Get();
    sink.Use(closed);
    Write(line);
    Write(line);
    EXPECT_EQ(sink.Lost(), 2u);
    EXPECT_STREQ(sink.Reason(), "Bad file descriptor");
    sink.Use(ends.writer.Get());
    EXPECT_TRUE(sink.Flush());
}

TEST_F(Sink, WritesToTheNewFileOfItsDescriptor)
{
    const Ends first = Connected(0);
    const Ends second = Connected(0);
    sink.Use(first.writer.Get());
    Write("one\n");
    ASSERT_EQ(dup2(second.writer.Get(), first.writer.Get()), first.writer.Get());
    Write("two\n");
    EXPECT_EQ(Read(first.reader), "one\n");
    EXPECT_EQ(Read(second.reader), "two\n");
}

/// Files opened with the flags of the shell's `>` and `>>`.
class SinkOfFile : public Sink, public testing::WithParamInterface<int> {
protected:
    static Descriptor Open(const std::string& path)
    {
        return Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | GetParam(), 0600));
    }
};

TEST_P(SinkOfFile, RemovesAnIncompleteLine)
{
    const SmallDisk disk("8k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can mount a small disk";
    }
    WriteWholeFile(disk / "filler", std::string(4096, '.'));
    const Descriptor file = Open(disk / "file");
    sink.Use(file.Get());
    const std::size_t taken = Fill();
    EXPECT_EQ(taken, 4096 / line.size());
    EXPECT_STREQ(sink.Reason(), "No space left on device");
    EXPECT_TRUE(ReadWholeFile(disk / "file") == Lines(taken));
    unlink((disk / "filler").c_str());
    Write("next\n");
    EXPECT_EQ(ReadWholeFile(disk / "file").substr(taken * line.size()),
              "lost 1: No space left on device\nnext\n");
}

/// Otherwise SIGXFSZ would end this program.
TEST_P(SinkOfFile, StaysBelowItsSizeLimit)
{
    const TempDir folder;
    const Descriptor file = Open(folder / "file");
    platform::Sink silent(nullptr, file.Get());
    const auto write = [&] { silent.Write([] { return line; }); };
    write();
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const std::size_t room : {std::size_t{0}, line.size() / 2, line.size() - 1}) {
        const rlimit limit{line.size() + room, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        write();
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(ReadWholeFile(folder / "file"), line) << room;
    }
    write();
    EXPECT_EQ(ReadWholeFile(folder / "file"), line + line);
    EXPECT_EQ(silent.Lost(), 3u);
    EXPECT_STREQ(silent.Reason(), "File too large");
}

INSTANTIATE_TEST_SUITE_P(Opened, SinkOfFile, testing::Values(O_TRUNC, O_APPEND),
                         [](const auto& flag) {
                             return flag.param == O_APPEND ? "ToAppend" : "AtItsStart";
                         });

}  // namespace
