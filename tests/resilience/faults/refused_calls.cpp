#include "tests/resilience/faults/refused_calls.h"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace {

using Kind = RefusedCall::Kind;

Kind refused = Kind::None;
int errorToGive = 0;
int timesLeft = 0;

bool MustRefuse(Kind kind)
{
    if (kind != refused || timesLeft == 0) {
        return false;
    }
    timesLeft -= timesLeft > 0 ? 1 : 0;
    errno = errorToGive;
    return true;
}

}  // namespace

RefusedCall::RefusedCall(Kind kind, int error, int times)
{
    refused = kind;
    errorToGive = error;
    timesLeft = times;
}

RefusedCall::~RefusedCall() { refused = Kind::None; }

extern "C" {

int __real_accept4(int fd, sockaddr* address, socklen_t* size, int flags);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);

int __real_ftruncate64(int fd, off_t size);
ssize_t __real_write(int fd, const void* bytes, std::size_t size);

int __wrap_accept4(int fd, sockaddr* address, socklen_t* size, int flags)
{
    return MustRefuse(Kind::Accept4) ? -1 : __real_accept4(fd, address, size, flags);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size)
{
    return MustRefuse(Kind::Connect) ? -1 : __real_connect(fd, address, size);
}

int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event)
{
    return MustRefuse(Kind::EpollCtl) ? -1 : __real_epoll_ctl(epoll, operation, fd, event);
}

int __wrap_ftruncate64(int fd, off_t size)
{
    return MustRefuse(Kind::Disk) ? -1 : __real_ftruncate64(fd, size);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t size)
{
    if (!MustRefuse(Kind::Disk)) {
        return __real_write(fd, bytes, size);
    }
    return size <= 10 ? -1 : __real_write(fd, bytes, size - 10);
}
}
