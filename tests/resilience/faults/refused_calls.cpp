#include "tests/resilience/faults/refused_calls.h"

#include <cerrno>
#include <csignal>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

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
int __real_bind(int fd, const sockaddr* address, socklen_t size);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
int __real_listen(int fd, int backlog);
int __real_signalfd(int fd, const sigset_t* signals, int flags);
int __real_unlinkat(int folder, const char* name, int flags);

int __wrap_accept4(int fd, sockaddr* address, socklen_t* size, int flags)
{
    return MustRefuse(Kind::Accept4) ? -1 : __real_accept4(fd, address, size, flags);
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t size)
{
    return MustRefuse(Kind::Bind) ? -1 : __real_bind(fd, address, size);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size)
{
    return MustRefuse(Kind::Connect) ? -1 : __real_connect(fd, address, size);
}

int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event)
{
    return MustRefuse(Kind::EpollCtl) ? -1 : __real_epoll_ctl(epoll, operation, fd, event);
}

int __wrap_listen(int fd, int backlog)
{
    return MustRefuse(Kind::Listen) ? -1 : __real_listen(fd, backlog);
}

int __wrap_signalfd(int fd, const sigset_t* signals, int flags)
{
    return MustRefuse(Kind::SignalFd) ? -1 : __real_signalfd(fd, signals, flags);
}

int __wrap_unlinkat(int folder, const char* name, int flags)
{
    return MustRefuse(Kind::UnlinkAt) ? -1 : __real_unlinkat(folder, name, flags);
}
}
