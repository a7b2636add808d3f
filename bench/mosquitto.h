#pragma once

#include "bench/messaging_folder.h"
#include "bench/process.h"

#include "platform/src/descriptor.h"

#include <optional>
#include <string>
#include <vector>

using namespace platform;

/// Messages through a mosquitto broker on a Unix socket to a mosquitto_sub, which prints the length
/// of each, or all of it as JSON. This process publishes them on a bare socket.
class MosquittoMessages {
public:
    static bool IsInstalled()
    {
        return ::IsInstalled("mosquitto") && ::IsInstalled("mosquitto_sub");
    }

    /// \param format  what mosquitto_sub prints: "%l" the length, "%j" a JSON object
    explicit MosquittoMessages(std::size_t payloadSize, const std::string& format = "%l");

    /// Publishes some messages and waits until all of them are printed. \return how many
    double Receive();

private:
    std::string Configuration() const;
    void Connect();
    void AwaitSubscription();
    void Publish();

    /// Reads what was printed into `text`. \return its size; 0 when there was nothing in time
    std::size_t ReadWithin(int waitMs);

    MessagingFolder folder;
    std::vector<unsigned char> published;
    Process broker;
    Descriptor publisher;
    Descriptor printed;
    std::optional<Process> subscriber;
    char text[65536];
};
