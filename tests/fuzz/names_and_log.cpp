// Any text as an endpoint name and as a log entry: nothing outside the messaging directory is
// reached or changed, and an entry is one line without control characters.
//
// Input: a byte that chooses the check, then the name or the text.

#include "tests/fuzz/fuzz_target.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/utf8_reference.h"

#include "platform/src/log_sink.h"
#include "platform/src/messaging_directory.h"
#include "simulator/listener.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace sim;

namespace {

namespace fs = std::filesystem;

/// A messaging directory with a service and links to a folder outside. The service in that folder
/// must not be reached.
struct Place {
    Place()
    {
        setenv("LINX_DIR", linx.c_str(), 1);
        Require(directory.Open() == 0, "the directory is refused");
        fs::create_symlink(outside, linx + "/link");
        fs::create_symlink("../outside/SubtitleMgr", linx + "/socket");
    }

    static std::string MakeFolder(const std::string& path)
    {
        Require(mkdir(path.c_str(), 0700) == 0, "no folder");
        return path;
    }

    const std::string linx = MakeFolder(Scratch() / "linx");
    const std::string outside = MakeFolder(Scratch() / "outside");
    RawService plain{linx + "/SubtitleMgr"};
    RawService hidden{outside + "/SubtitleMgr"};
    MessagingDirectory directory;
};

Place& ThePlace()
{
    static Place& place = *new Place;
    return place;
}

void CheckConnecting(const std::string& name)
{
    Descriptor connected;
    const bool isReached = ThePlace().directory.Connect(name, Deadline(0), connected) == 0;
    Require(isReached == (name == "SubtitleMgr") && ThePlace().plain.HasClient() == isReached,
            "reached a wrong service, or not the right one");
    if (isReached) {
        ThePlace().plain.Accept();
    }
    Require(!ThePlace().hidden.HasClient(), "a service outside the directory was reached");
}

auto EntriesIn(const std::string& folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

/// A service with that name, in a messaging directory of its own.
void CheckListening(const std::string& name)
{
    const std::string folder = Place::MakeFolder(Scratch() / "services");
    fs::create_symlink(ThePlace().outside, folder + "/link");
    const auto beside = EntriesIn(Scratch().Path());
    const auto outside = EntriesIn(ThePlace().outside);
    setenv("LINX_DIR", folder.c_str(), 1);
    {
        Listener listener;
        std::string problem;
        const bool opened = listener.Open(name, problem);
        Require(!opened || IsEndpointName(name), "a service has an invalid name");
        Require(opened || !problem.empty(), "a name was refused without a reason");
    }
    Require(EntriesIn(Scratch().Path()) == beside && EntriesIn(ThePlace().outside) == outside,
            "something outside the directory has changed");
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        Require(entry.is_directory() || entry.is_symlink(), "a service left a file");
    }
    fs::remove_all(folder);
    setenv("LINX_DIR", ThePlace().linx.c_str(), 1);
}

void CheckLogEntry(const std::string& text)
{
    static const std::string path = Scratch() / "log";
    setenv("SUBTITLE_LOG", path.c_str(), 1);
    WriteLogEntry(logErrors, "fuzz", text);
    const std::string line = ReadWholeFile(path);
    unlink(path.c_str());
    Require(line.find('\n') == line.size() - 1, "an entry is not one line");
    const std::string level = "] level=2 ";
    const std::size_t start = line.find(level) + level.size();
    Require(line.compare(24, 6, " fuzz[") == 0 && start > level.size(),
            "an entry has a wrong form");
    Require(line.size() <= start + 8192 + 3 + 3 + 1, "an entry is too long");
    for (std::size_t at = start; at + 1 < line.size();) {
        const std::size_t length = ReferenceSequenceAt(line, at);
        Require(length > 0, "an entry is not UTF-8");
        Require(!ReferenceIsControl(line, at, length), "an entry has control characters");
        at += length;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    ThePlace();
    if (size == 0) {
        return 0;
    }
    const std::string text(bytes + 1, bytes + size);
    switch (bytes[0] % 4) {
    case 0: CheckListening(text); break;
    case 1: CheckConnecting(text); break;
    default: CheckLogEntry(text); break;
    }
    return 0;
}
