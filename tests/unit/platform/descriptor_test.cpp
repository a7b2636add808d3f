#include "platform/src/descriptor.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

using namespace platform;

namespace {

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

/// One of the three standard descriptors, closed as long as this lives.
class ClosedStandard {
public:
    explicit ClosedStandard(int fd) : number(fd), kept(fcntl(fd, F_DUPFD_CLOEXEC, 10))
    {
        close(number);
    }
    ~ClosedStandard()
    {
        dup2(kept, number);
        close(kept);
    }
    ClosedStandard(const ClosedStandard&) = delete;
    ClosedStandard& operator=(const ClosedStandard&) = delete;

private:
    int number;
    int kept;
};

TEST(ADescriptor, NeverTakesThePlaceOfAStandardOne)
{
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        bool wasInPlace = false;
        bool isInPlace = true;
        bool isOpenElsewhere = false;
        {
            const ClosedStandard closed(number);
            const int opened = open("/dev/null", O_RDWR | O_CLOEXEC);
            wasInPlace = opened == number;
            const Descriptor descriptor(opened);
            isInPlace = IsOpen(number);
            isOpenElsewhere = descriptor.Get() > STDERR_FILENO && IsOpen(descriptor.Get());
        }
        EXPECT_TRUE(wasInPlace) << number;
        EXPECT_FALSE(isInPlace) << number;
        EXPECT_TRUE(isOpenElsewhere) << number;
    }
}

TEST(ADescriptor, KeepsAnyOtherNumber)
{
    const int opened = open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_GT(opened, STDERR_FILENO);
    {
        const Descriptor descriptor(opened);
        EXPECT_EQ(descriptor.Get(), opened);
    }
    EXPECT_FALSE(IsOpen(opened));
}

TEST(ADescriptor, IsNoneWhenNothingCouldBeOpened)
{
    errno = EMFILE;
    const Descriptor none(-1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_FALSE(none);
}

TEST(ADescriptor, IsHandedOverAndClosedOnce)
{
    const int opened = open("/dev/null", O_RDWR | O_CLOEXEC);
    Descriptor first(opened);
    Descriptor second(std::move(first));
    EXPECT_EQ(second.Get(), opened);
    Descriptor third;
    third = std::move(second);
    EXPECT_EQ(third.Get(), opened);
    EXPECT_TRUE(IsOpen(opened));
    third = Descriptor();
    EXPECT_FALSE(IsOpen(opened));
}

}  // namespace
