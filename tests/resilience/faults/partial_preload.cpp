// Preloaded into a program: reads and writes of sockets, and reads of files, move 1 to 3 random
// bytes, and some fail with EINTR first. PARTIAL_SEED makes this repeatable.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Random numbers, one sequence for each thread. The order of threads is the same in each run, but
/// not their ids, so the order selects the sequence.
std::uint32_t Chance()
{
    static const std::uint32_t seed = [] {
        const char* text = std::getenv("PARTIAL_SEED");
        return static_cast<std::uint32_t>(text ? std::strtoul(text, nullptr, 10) : 1);
    }();
    static std::atomic<std::uint32_t> threads{0};
    static thread_local std::uint32_t state = (seed + ++threads) * 2654435761u | 1u;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

/// One call in 64 stays whole, so that large messages do not take too long.
std::size_t Cut(std::size_t size)
{
    const std::size_t most = Chance() % 64 == 0 ? size : 1 + Chance() % 3;
    return size < most ? size : most;
}

/// Launchers such as setpriv do not expect pieces.
bool IsProgramOfOurs()
{
    const std::string_view name = program_invocation_short_name;
    return name.rfind("SubtitleMgr", 0) == 0 || name.rfind("test_", 0) == 0;
}

/// Every fourth call fails with EINTR first; the others move a part.
template <typename Call>
ssize_t Part(std::size_t size, Call call)
{
    static const bool isWhole = !IsProgramOfOurs();
    if (isWhole) {
        return call(size);
    }
    if (Chance() % 4 != 0) {
        return call(Cut(size));
    }
    errno = EINTR;
    return -1;
}

}  // namespace

extern "C" {

ssize_t recv(int fd, void* buffer, std::size_t size, int flags)
{
    return Part(size, [=](std::size_t part) {
        return syscall(SYS_recvfrom, fd, buffer, part, flags, nullptr, nullptr);
    });
}

ssize_t send(int fd, const void* buffer, std::size_t size, int flags)
{
    return Part(size, [=](std::size_t part) {
        return syscall(SYS_sendto, fd, buffer, part, flags, nullptr, 0);
    });
}

ssize_t sendmsg(int fd, const msghdr* message, int flags)
{
    return send(fd, message->msg_iov[0].iov_base, message->msg_iov[0].iov_len, flags);
}

// The client prints through the C library, which does not call this write().
ssize_t write(int fd, const void* buffer, std::size_t size)
{
    return Part(size, [=](std::size_t part) { return syscall(SYS_write, fd, buffer, part); });
}

ssize_t read(int fd, void* buffer, std::size_t size)
{
    return Part(size, [=](std::size_t part) { return syscall(SYS_read, fd, buffer, part); });
}
}
