#pragma once

#include "bench/messaging_folder.h"
#include "bench/process.h"

#include "platform/src/descriptor.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

using namespace platform;

/// The real SubtitleMgrSim, reached through a messaging directory of its own.
class SimulatedService {
public:
    /// \param scenario  is played for ever; empty for none
    explicit SimulatedService(const std::string& scenario = "");

    pid_t Pid() const { return program->Pid(); }
    const MessagingFolder& Folder() const { return folder; }

private:
    MessagingFolder folder;
    std::optional<Process> program;
};

/// A bitmap of \p size pixels in the four CIF colours.
std::vector<unsigned char> CifBitmap(std::size_t size);

/// A scenario that publishes such a bitmap.
std::string BitmapScenario(std::size_t size);

/// The smallest service that sends: it confirms one subscription of one client and then sends the
/// same CIF bitmap as fast as possible, each with one sendmsg(), as the raw sender does.
class BarePublisher {
public:
    explicit BarePublisher(std::size_t bitmapSize);

private:
    MessagingFolder folder;
    Descriptor listening;
    Process program;
};
