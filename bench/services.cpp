#include "bench/services.h"

#include "bench/local_socket.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <RegionDataItem.h>

#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

using namespace platform;

namespace {

constexpr unsigned char cifFormat = 2;

RegionDataItem CifRecord(std::size_t size)
{
    RegionDataItem record;
    record.regionId = 3;
    record.subtitleFormat = cifFormat;
    record.data = CifBitmap(size);
    return record;
}

void ConfirmSubscription(int fd)
{
    unsigned char request[frameHeaderSize + 8];
    FrameHeader header{};
    ReadFully(fd, request, sizeof request);
    DecodeFrameHeader(request, header);
    unsigned char reply[frameHeaderSize + 4];
    EncodeFrameHeader(
        {FrameKind::Reply, messages::ReplyTo(messages::subscribe), header.correlation, 4}, reply);
    PutU32(reply + frameHeaderSize, static_cast<unsigned int>(Result::Accepted));
    WriteFully(fd, reply, sizeof reply);
}

void SendNotifications(int fd, RegionDataItem& record)
{
    std::vector<unsigned char> payload(record.EncodedSize());
    record.Encode(payload.data());
    unsigned char header[frameHeaderSize];
    EncodeFrameHeader({FrameKind::Notification, messages::regionDataItem,
                       subscriptions::regionDataCif, record.EncodedSize()},
                      header);
    iovec pieces[] = {{header, sizeof header}, {payload.data(), payload.size()}};
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = 2;
    while (sendmsg(fd, &message, MSG_NOSIGNAL) > 0) {
    }
}

void PublishToOneClient(int listening, std::size_t bitmapSize)
{
    RegionDataItem record = CifRecord(bitmapSize);
    const Descriptor client(Checked(accept(listening, nullptr, nullptr), "accept"));
    ConfirmSubscription(client.Get());
    SendNotifications(client.Get(), record);
}

}  // namespace

std::vector<unsigned char> CifBitmap(std::size_t size)
{
    std::vector<unsigned char> pixels(size);
    for (std::size_t i = 0; i < size; ++i) {
        pixels[i] = static_cast<unsigned char>(i / 7 % 4);
    }
    return pixels;
}

std::string BitmapScenario(std::size_t size)
{
    std::string scenario = "region-data 3 2 ";
    for (const unsigned char pixel : CifBitmap(size)) {
        scenario += '0';
        scenario += static_cast<char>('0' + pixel);
    }
    return scenario + (size == 0 ? "-\n" : "\n");
}

SimulatedService::SimulatedService(const std::string& scenario)
{
    std::vector<std::string> arguments = {ProgramBeside("SubtitleMgrSim"), "--quiet"};
    if (!scenario.empty()) {
        std::ofstream(folder / "scenario") << scenario;
        arguments.insert(arguments.end(), {"--play", folder / "scenario", "--loop"});
    }
    int fds[2];
    Checked(pipe2(fds, O_CLOEXEC), "pipe");
    const Descriptor ready(fds[0]);
    Descriptor readyInService(fds[1]);
    program.emplace(arguments, -1, readyInService.Get());
    readyInService = Descriptor();
    char byte;
    if (read(ready.Get(), &byte, 1) != 1) {
        throw std::runtime_error("the simulated service did not start");
    }
}

BarePublisher::BarePublisher(std::size_t bitmapSize)
    : listening(ListenAt(folder / "SubtitleMgr")),
      program(listening.Get(), [=](int fd) { PublishToOneClient(fd, bitmapSize); })
{
}
