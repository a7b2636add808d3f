// Any text as an endpoint name and as a log entry: nothing outside the messaging directory is
// reached or changed, and an entry is one line without control characters.
//
// Input: a byte that chooses the check, then the name or the text.

#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/sockets.h"
#include "tests/harness/utf8_reference.h"

#include "platform/src/log_sink.h"
#include "platform/src/messaging_directory.h"
#include "simulator/listener.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace sim;

namespace {

namespace fs = std::filesystem;

/// A messaging directory with a service at each depth, and links to a folder outside. The service
/// in that folder must not be reached.
struct Place {
    Place()
    {
        for (const std::string& folder : {linx, linx + "/node1", outside}) {
            Require(mkdir(folder.c_str(), 0700) == 0, "no folder");
        }
        Require(symlink(outside.c_str(), (linx + "/link").c_str()) == 0 &&
                    symlink("../outside/SubtitleMgr", (linx + "/socket").c_str()) == 0,
                "no links");
        plain = ListenAt(linx + "/SubtitleMgr");
        below = ListenAt(linx + "/node1/SubtitleMgr");
        hidden = ListenAt(outside + "/SubtitleMgr");
        setenv("LINX_DIR", linx.c_str(), 1);
        Require(directory.Open() == 0, "the directory is refused");
    }

    const std::string linx = ScratchFolder() + "/linx";
    const std::string outside = ScratchFolder() + "/outside";
    Descriptor plain;
    Descriptor below;
    Descriptor hidden;
    MessagingDirectory directory;
};

Place& ThePlace()
{
    static Place& place = *new Place;
    return place;
}

bool HasClient(const Descriptor& listening)
{
    const Descriptor accepted(accept4(listening.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    return static_cast<bool>(accepted);
}

bool ReferenceIsName(const std::string& name)
{
    std::istringstream parts(name + "/");
    std::size_t count = 0;
    for (std::string part; std::getline(parts, part, '/'); ++count) {
        if (part.empty() || part.size() > 255 || part == "." || part == "..") {
            return false;
        }
        const auto isControl = [](unsigned char byte) { return byte < 32 || byte == 127; };
        if (std::any_of(part.begin(), part.end(), isControl)) {
            return false;
        }
    }
    return count > 0;
}

void CheckConnecting(const std::string& name)
{
    Descriptor connected;
    const int error = ThePlace().directory.Connect(name, Deadline(0), connected);
    const bool isService = name == "SubtitleMgr" || name == "node1/SubtitleMgr";
    Require((error == 0) == isService && static_cast<bool>(connected) == isService,
            "connected to no service, or failed to connect to one");
    Require(HasClient(ThePlace().plain) == (name == "SubtitleMgr"), "reached a wrong service");
    Require(HasClient(ThePlace().below) == (name == "node1/SubtitleMgr"),
            "reached a wrong service");
    Require(!HasClient(ThePlace().hidden), "a service outside the directory was reached");
}

std::size_t EntriesIn(const std::string& folder)
{
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

/// Opens part by part, since a name may be longer than the limit of a path.
bool IsSocketOfUserAlone(const std::string& folder, const std::string& name)
{
    Descriptor parent(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::istringstream parts(name);
    std::string part;
    std::getline(parts, part, '/');
    for (std::string next; std::getline(parts, next, '/'); part = next) {
        parent = Descriptor(
            openat(parent.Get(), part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    struct stat found {};
    return fstatat(parent.Get(), part.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISSOCK(found.st_mode) && (found.st_mode & 0777) == 0600;
}

/// A service with that name, in a messaging directory of its own.
void CheckListening(const std::string& name)
{
    const std::string folder = ScratchFolder() + "/services";
    Require(mkdir(folder.c_str(), 0700) == 0, "no folder");
    Require(symlink(ThePlace().outside.c_str(), (folder + "/link").c_str()) == 0, "no link");
    const std::size_t beside = EntriesIn(ScratchFolder());
    const std::size_t outside = EntriesIn(ThePlace().outside);
    setenv("LINX_DIR", folder.c_str(), 1);
    {
        Listener listener;
        std::string problem;
        const bool opened = listener.Open(name, problem);
        Require(!opened || ReferenceIsName(name), "a service has an invalid name");
        Require(opened || !problem.empty(), "a name was refused without a reason");
        Require(!opened || IsSocketOfUserAlone(folder, name),
                "the socket is missing, or other users can use it");
    }
    Require(EntriesIn(ScratchFolder()) == beside && EntriesIn(ThePlace().outside) == outside,
            "something outside the directory has changed");
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        Require(entry.is_directory() || entry.is_symlink(), "a service left a file");
    }
    fs::remove_all(folder);
    setenv("LINX_DIR", ThePlace().linx.c_str(), 1);
}

void RequireHarmlessUtf8(const std::string& line)
{
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t length = ReferenceSequenceAt(line, at);
        Require(length > 0, "an entry is not UTF-8");
        Require(!ReferenceIsControl(line, at, length), "an entry has control characters");
        at += length;
    }
}

bool IsPlain(const std::string& text)
{
    return text.size() <= 8192 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

void CheckLogEntry(const std::string& text)
{
    static const std::string path = ScratchFolder() + "/log";
    setenv("SUBTITLE_LOG", path.c_str(), 1);
    WriteLogEntry(logErrors, "fuzz", text);
    std::ifstream file(path, std::ios::binary);
    std::string line;
    Require(static_cast<bool>(std::getline(file, line)) && !file.eof(), "no line was written");
    Require(file.peek() == std::ifstream::traits_type::eof(), "an entry has more than one line");
    const std::string level = "] level=2 ";
    const std::size_t start = line.find(level);
    Require(start != std::string::npos && line[24] == ' ' && line.compare(25, 5, "fuzz[") == 0,
            "an entry has a wrong form");
    const std::string entry = line.substr(start + level.size());
    RequireHarmlessUtf8(entry);
    Require(entry.size() <= 8192 + 3 + 3, "an entry is too long");
    if (IsPlain(text)) {
        RequireEqual(entry, text, "a plain text was changed");
    }
    unlink(path.c_str());
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
    case 1:
        Require(IsEndpointName(text) == ReferenceIsName(text),
                "a name was wrongly accepted or refused");
        CheckConnecting(text);
        break;
    default: CheckLogEntry(text); break;
    }
    return 0;
}
