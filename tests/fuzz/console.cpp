// Any keys at the interactive console: it prints what the tests' model of the console prints, on
// both streams, and makes as many log entries. There is no service, and no waiting.
//
// Input: the keys, and the end of the input behind them, where a console repeats itself for ever.

#include "tests/editing/random/ConsoleModel.h"
#include "tests/fuzz/capped_output.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/redirected_streams.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"

#include <LogClient.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

namespace {

/// What is looked at of a console that repeats itself.
constexpr std::size_t shownRepeating = 4096;

void WriteScratch(const std::string& name, const std::string& content)
{
    std::ofstream(ScratchFolder() + "/" + name, std::ios::binary) << content;
}

/// Nothing but these can be opened, and what the console itself has written.
ModelFiles MakeFiles()
{
    ModelFiles files;
    files.contents["pal"] = std::string(1024, '\x40');
    files.contents["bits"] = std::string(1500, '\x03');
    files.contents["short"] = std::string(100, '\x7F');
    files.contents["empty"] = "";
    for (const auto& [name, content] : files.contents) {
        WriteScratch(name, content);
    }
    return files;
}

std::set<std::string>& Written()
{
    static std::set<std::string> names;
    return names;
}

/// Leaves the files as they were.
void UndoWriting(const ModelFiles& files)
{
    for (const std::string& name : Written()) {
        unlink((ScratchFolder() + "/" + name).c_str());
        const auto original = files.contents.find(name);
        if (original != files.contents.end()) {
            WriteScratch(name, original->second);
        }
    }
    Written().clear();
}

/// A name ends at a NUL byte, also where the console appends to it: then the file itself is
/// written.
bool& MayWriteAnyFile()
{
    static bool may = false;
    return may;
}

const std::string& LogPath()
{
    static const std::string path = [] {
        const std::string log = ScratchFolder() + "/log";
        setenv("SUBTITLE_LOG", log.c_str(), 1);
        LogClient::Instance().Level(63);
        LogClient::Instance().ProcessName("fuzz");
        return log;
    }();
    return path;
}

std::size_t TakeLogEntries()
{
    std::ifstream log(LogPath(), std::ios::binary);
    std::size_t entries = 0;
    for (std::string line; std::getline(log, line); ++entries) {
        Require(std::none_of(line.begin(), line.end(),
                             [](unsigned char c) { return c < 0x20 || c == 0x7F; }),
                "a log entry that steers a terminal");
    }
    unlink(LogPath().c_str());
    return entries;
}

std::string TextOf(const std::vector<ModelEvent>& events, std::size_t before)
{
    std::string text;
    for (const ModelEvent& event : events) {
        text += event.at < before ? event.text : "";
    }
    return text;
}

std::size_t CountOf(const std::vector<ModelEvent>& events, std::size_t before)
{
    return static_cast<std::size_t>(
        std::count_if(events.begin(), events.end(),
                      [before](const ModelEvent& event) { return event.at < before; }));
}

/// Runs the real console on \p keys. \return whether it was left
bool RunConsole(const std::string& keys, CappedOutput& output, std::string& errors)
{
    std::istringstream typed(keys);
    std::ostringstream complaints;
    const RedirectedStream input(std::cin, typed.rdbuf());
    const RedirectedStream shown(std::cout, &output);
    const RedirectedStream complained(std::cerr, complaints.rdbuf());
    subscribed = false;
    bool isLeft = true;
    {
        SubtitleMgrCli client;
        const PassExceptions passing(std::cout);
        try {
            Require(client.ExecuteTestMode() == 3, "the console was left with another result");
        } catch (const CappedOutput::Full&) {
            isLeft = false;
        }
    }
    errors = complaints.str();
    return isLeft;
}

}  // namespace

extern "C" {

/// The pauses of subscribing are for another thread, which is not there.
int __wrap_usleep(useconds_t) { return 0; }

std::FILE* __real_fopen64(const char* path, const char* mode);

/// What fopen() is with file offsets of 64 bits. A file's name is whatever was typed: only
/// those in the folder are opened; the fuzzer's own files have names that no keys make up.
std::FILE* __wrap_fopen64(const char* path, const char* mode)
{
    const std::string name(path);
    const char* const fuzzFolder = std::getenv("FUZZ_FOLDER");
    if (fuzzFolder && name.compare(0, std::string(fuzzFolder).size(), fuzzFolder) == 0) {
        return __real_fopen64(path, mode);
    }
    if (name.find('/') != std::string::npos || name == "." || name == ".." || name == "log" ||
        name.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    if (mode[0] == 'w') {
        Require(
            MayWriteAnyFile() || (name.size() > 4 && name.compare(name.size() - 4, 4, ".out") == 0),
            "the console writes to a file that is no output file");
        Written().insert(name);
    }
    return __real_fopen64((ScratchFolder() + "/" + name).c_str(), mode);
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const ModelFiles files = MakeFiles();
    const std::string keys(bytes, bytes + size);
    // Behind the cap a whole test pattern may still be printed.
    const ModelSession expected =
        ConsoleModel(keys, ServiceKind::Missing, files).Play(shownRepeating + 1);
    const std::size_t compared =
        expected.ended ? expected.output.size() : expected.repeatsFrom + shownRepeating;

    MayWriteAnyFile() = keys.find('\0') != std::string::npos;
    LogPath();
    CappedOutput output(expected.ended ? compared + shownRepeating : compared);
    std::string errors;
    const bool isLeft = RunConsole(keys, output, errors);
    RequireEqual(output.Text().substr(0, compared), expected.output.substr(0, compared),
                 "the console prints something else");
    Require(isLeft == expected.ended, "the console is left, or is not");
    const std::size_t until = expected.ended ? std::string::npos : compared;
    RequireEqual(errors.substr(0, TextOf(expected.errors, until).size()),
                 TextOf(expected.errors, until), "other lines on standard error");
    const std::size_t entries = TakeLogEntries();
    const std::size_t certain = CountOf(expected.log, until);
    Require(entries >= certain && (!expected.ended || entries == certain),
            "another number of log entries");
    UndoWriting(files);
    return 0;
}
