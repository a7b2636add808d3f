#pragma once

#include "bench/messaging_folder.h"
#include "bench/process.h"

#include "platform/src/descriptor.h"

#include <string>
#include <vector>

using namespace platform;

/// A dbus-daemon, and a bare client that calls the daemon itself: the shortest possible call,
/// because a call to another client passes through the daemon twice.
class DbusDaemon {
public:
    static bool IsInstalled() { return ::IsInstalled("dbus-daemon"); }

    DbusDaemon();

    /// Calls GetId and reads the answer.
    void Call();

private:
    void Authenticate();
    void ReadMessage();

    MessagingFolder folder;
    Process daemon;
    Descriptor fd;
    std::vector<unsigned char> call;
    std::vector<unsigned char> answer;
};
