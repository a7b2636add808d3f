// The smallest program that does what the client's ping does: dynamically linked, with iostreams, a
// thread that sleeps and one round trip over an AF_UNIX socket. one_shot_floor SOCKET

#include "packaging/tool_options.h"

#include <iostream>

#include <cstring>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

void* Sleep(void*)
{
    for (;;) {
        pause();
    }
    return nullptr;
}

bool RoundTrip(const char* path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    char bytes[16] = {};
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           send(fd, bytes, sizeof bytes, MSG_NOSIGNAL) == sizeof bytes &&
           recv(fd, bytes, sizeof bytes, MSG_WAITALL) == sizeof bytes;
}

constexpr char usage[] =
    "Usage: one_shot_floor SOCKET\n"
    "Makes one round trip of 16 bytes over a socket and ends: the least that a ping can cost.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "one_shot_floor", usage)) {
        return 0;
    }
    pthread_t thread;
    if (argc != 2 || pthread_create(&thread, nullptr, Sleep, nullptr) != 0 || !RoundTrip(argv[1])) {
        std::cerr << "no ping" << std::endl;
        return 1;
    }
    std::cout << "Successful Ping" << std::endl;
    return 0;
}
