#include "platform/src/sink.h"

#include "tests/harness/SmallDisk.h"
#include "tests/harness/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace platform;

namespace {

struct Ends {
    Descriptor reader;
    Descriptor writer;
};

Ends Pipe()
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Both block, as those of another program may.
Ends SocketPair(int type)
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// All that can be read without waiting.
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

void Write(Sink& sink, const std::string& line)
{
    sink.Write([&] { return line; });
}

std::string LossLine(unsigned int lost, const char* reason)
{
    return "lost " + std::to_string(lost) + ": " + reason + "\n";
}

const std::string line = std::string(99, 'x') + "\n";

/// Writes lines until one is lost. \return how many were written or kept
std::size_t Fill(Sink& sink)
{
    std::size_t count = 0;
    for (; sink.Lost() == 0; ++count) {
        Write(sink, line);
    }
    return count - 1;
}

std::string Lines(std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += line;
    }
    return all;
}

/// Fills \p ends until it takes nothing more, then reads all.
void ExpectOneKeptAndTheOthersCounted(const Ends& ends)
{
    const int flags = fcntl(ends.writer.Get(), F_GETFL);
    Sink sink(LossLine, ends.writer.Get());
    const std::size_t taken = Fill(sink);
    Write(sink, line);
    EXPECT_EQ(sink.Lost(), 2u);
    EXPECT_FALSE(sink.Flush());
    EXPECT_EQ(Read(ends.reader), Lines(taken - 1));
    EXPECT_TRUE(sink.Flush());
    EXPECT_EQ(sink.Lost(), 0u);
    EXPECT_EQ(Read(ends.reader), line + "lost 2: it is not read\n");
    Write(sink, "next\n");
    EXPECT_EQ(Read(ends.reader), "next\n");
    EXPECT_EQ(fcntl(ends.writer.Get(), F_GETFL), flags) << "others share it";
}

TEST(ASink, KeepsOneLineForAFullPipeAndCountsTheOthers)
{
    ExpectOneKeptAndTheOthersCounted(Pipe());
}

TEST(ASink, KeepsOneLineForAFullSocketAndCountsTheOthers)
{
    ExpectOneKeptAndTheOthersCounted(SocketPair(SOCK_DGRAM));
}

TEST(ASink, KeepsOneLineForAnotherUsersPipeAndCountsTheOthers)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const Ends ends = Pipe();
    constexpr uid_t other = 65534;
    ASSERT_EQ(seteuid(other), 0);
    const std::string path = "/proc/self/fd/" + std::to_string(ends.writer.Get());
    EXPECT_EQ(open(path.c_str(), O_WRONLY | O_CLOEXEC), -1) << "it can be opened";
    ExpectOneKeptAndTheOthersCounted(ends);
    ASSERT_EQ(seteuid(0), 0);
}

/// A line that is longer than what is free in the pipe or socket.
void ExpectTheRestOfALineBeforeTheNext(const Ends& ends)
{
    Sink sink(nullptr, ends.writer.Get());
    const std::string longLine = std::string(1000000, 'y') + "\n";
    Write(sink, longLine);
    Write(sink, "lost\n");
    std::string all = Read(ends.reader);
    EXPECT_GT(all.size(), 0u);
    EXPECT_LT(all.size(), longLine.size());
    while (!sink.Flush()) {
        all += Read(ends.reader);
    }
    Write(sink, "next\n");
    EXPECT_TRUE(all + Read(ends.reader) == longLine + "next\n");
    EXPECT_EQ(sink.Lost(), 1u);
}

TEST(ASink, FinishesTheRestOfALineInAPipeBeforeTheNext)
{
    ExpectTheRestOfALineBeforeTheNext(Pipe());
}

TEST(ASink, FinishesTheRestOfALineInASocketBeforeTheNext)
{
    ExpectTheRestOfALineBeforeTheNext(SocketPair(SOCK_STREAM));
}

TEST(ASink, CountsLinesForAReaderThatHasGone)
{
    for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
        Ends ends = SocketPair(type);
        ends.reader = Descriptor();
        Sink sink(nullptr, ends.writer.Get());
        Write(sink, line);  // with SIGPIPE at its default
        EXPECT_EQ(sink.Lost(), 1u);
    }
}

TEST(ASink, CountsLinesForAClosedDescriptor)
{
    Ends ends = Pipe();
    Sink sink(LossLine, ends.writer.Get());
    ends.writer = Descriptor();
    Write(sink, line);
    Write(sink, line);
    EXPECT_EQ(sink.Lost(), 2u);
    EXPECT_STREQ(sink.Reason(), "Bad file descriptor");
}

TEST(ASink, CountsALineThatThereIsNoMemoryFor)
{
    const Ends ends = Pipe();
    Sink sink(LossLine, ends.writer.Get());
    EXPECT_NO_THROW(sink.Write([]() -> std::string { throw std::bad_alloc(); }));
    Write(sink, "next\n");
    EXPECT_EQ(Read(ends.reader), "lost 1: Cannot allocate memory\nnext\n");
}

TEST(ASink, GoesOnWithTheFileThatItsDescriptorIsGiven)
{
    const Ends first = Pipe();
    const Ends second = Pipe();
    const Descriptor descriptor(fcntl(first.writer.Get(), F_DUPFD_CLOEXEC, 10));
    Sink sink(nullptr, descriptor.Get());
    Write(sink, "one\n");
    ASSERT_EQ(dup2(second.writer.Get(), descriptor.Get()), descriptor.Get());
    Write(sink, "two\n");
    EXPECT_EQ(Read(first.reader), "one\n");
    EXPECT_EQ(Read(second.reader), "two\n");
}

/// Opened as a shell does it for `>` and `>>`.
class ASinkOfAFile : public testing::TestWithParam<int> {
protected:
    Descriptor Open(const std::string& path) const
    {
        return Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | GetParam(), 0600));
    }
};

TEST_P(ASinkOfAFile, CutsATornLineOffAndGoesOnAfterTheWholeOnes)
{
    const SmallDisk disk("8k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "only root can mount a small disk";
    }
    WriteWholeFile(disk / "filler", std::string(4096, '.'));
    const Descriptor file = Open(disk / "file");
    Sink sink(LossLine, file.Get());
    const std::size_t taken = Fill(sink);
    EXPECT_EQ(taken, 4096 / line.size());
    EXPECT_STREQ(sink.Reason(), "No space left on device");
    EXPECT_TRUE(ReadWholeFile(disk / "file") == Lines(taken));
    unlink((disk / "filler").c_str());
    Write(sink, "next\n");
    EXPECT_EQ(ReadWholeFile(disk / "file").substr(taken * line.size()),
              "lost 1: No space left on device\nnext\n");
}

/// SIGXFSZ would end this program.
TEST_P(ASinkOfAFile, StaysBelowTheLimitOfItsSize)
{
    const TempDir folder;
    const Descriptor file = Open(folder / "file");
    Sink sink(nullptr, file.Get());
    Write(sink, line);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (rlim_t place = 0; place < 12; ++place) {
        const rlimit limit{line.size() + place * line.size() / 12, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        Write(sink, line);
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(ReadWholeFile(folder / "file"), line) << place;
    }
    Write(sink, "next\n");
    EXPECT_EQ(ReadWholeFile(folder / "file"), line + "next\n");
    EXPECT_EQ(sink.Lost(), 12u);
    EXPECT_STREQ(sink.Reason(), "File too large");
}

INSTANTIATE_TEST_SUITE_P(Opened, ASinkOfAFile, testing::Values(O_TRUNC, O_APPEND),
                         [](const auto& flag) {
                             return flag.param == O_APPEND ? "ToAppend" : "AtItsStart";
                         });

}  // namespace
