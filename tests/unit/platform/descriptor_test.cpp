#include "platform/src/descriptor.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

int OpenNull() { return open("/dev/null", O_RDWR | O_CLOEXEC); }

TEST(Descriptor, NeverReplacesAStandardOne)
{
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        const int kept = fcntl(number, F_DUPFD_CLOEXEC, 10);
        close(number);
        const int opened = OpenNull();
        bool isInPlace = false;
        bool isOpenElsewhere = false;
        {
            const platform::Descriptor descriptor(opened);
            isInPlace = IsOpen(number);
            isOpenElsewhere = descriptor.Get() > STDERR_FILENO && IsOpen(descriptor.Get());
        }
        dup2(kept, number);
        close(kept);
        EXPECT_EQ(opened, number);
        EXPECT_FALSE(isInPlace) << number;
        EXPECT_TRUE(isOpenElsewhere) << number;
    }
}

TEST(Descriptor, IsInvalidAfterAFailedOpen)
{
    errno = EMFILE;
    const platform::Descriptor none(-1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_FALSE(none);
}

TEST(Descriptor, IsMovedAndClosedAtItsEnd)
{
    const int opened = OpenNull();
    platform::Descriptor first(opened);
    EXPECT_EQ(first.Get(), opened);
    platform::Descriptor second(std::move(first));
    platform::Descriptor third;
    third = std::move(second);
    EXPECT_EQ(third.Get(), opened);
    EXPECT_TRUE(IsOpen(opened));
    third = platform::Descriptor();
    EXPECT_FALSE(IsOpen(opened));
    const int next = OpenNull();
    {
        const platform::Descriptor last(next);
    }
    EXPECT_FALSE(IsOpen(next));
}

}  // namespace
