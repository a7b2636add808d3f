// Any keys at the interactive console: nothing but texts of the console appears, none of them
// claims a success, log entries steer no terminal, and only whole tables are saved, under names
// that end in
// ".out". There is no service, and no waiting. What exactly a session does is compared elsewhere:
// with the model of the console, which also replays this target's corpus.
//
// Input: the keys, and the end of the input after them, where a console repeats itself for ever.

#include "tests/fuzz/capped_output.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/redirected_streams.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/console_texts.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"

#include <LogClient.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace {

/// The longest output that is examined: a console that repeats itself is ended there.
constexpr std::size_t longestOutput = 32768;
constexpr std::size_t tableSize = 1024;

using Texts = std::vector<std::string>;

/// All that a console without a service prints, the main menus first; # is a number. A text comes
/// before those that it begins with.
const Texts& OutputTexts()
{
    static const Texts texts{
        SubscribedMenu(),
        UnsubscribedMenu(),
        SensorTestMenu(),
        DynamicTestMenu({"#", "#", "#", "#", "on"}),
        DynamicTestMenu({"#", "#", "#", "#", "off"}),
        EmptyRegionReport(),
        "Subscribing...\nSubscribing for RegionData  ERROR  ERROR  ERROR  ERROR"
        "Subscribing for RegionVisibility  ERRORSubscribing for PaletteUpdate  ERROR",
        "Unsubscribing...\n",
        "Sending RefreshRegions\n  ERROR",
        "Enter region ID:   ",
        "Enter region ID: ",
        "Enter filename:    ",
        "Enter filename:  ",
        "Enter file size: ",
        "Enter region visibility (t/f): ",
        "RGB palette (t/f): ",
        "Background code:   ",
        "Region Fill (t/f): ",
        "Converting palette of size #...Done\n",
        "\nTransparent pixel? (t/f): ",
        "Transparent pixel value:   ",
        "\nERROR: pixel value out of range\n\n",
        "Enter pixel start value: ",
        "Enter pixel increment value: ",
        "Enter segment width: ",
        "Enter segment height: ",
        "Generating test pattern: # rows by # columns,  # colors\n\n",
        "  #",
        "\n\n"};
    return texts;
}

const Texts& ErrorTexts()
{
    static const Texts texts{"Shut down Requested\nError running quit\n", "Error Sending sensor\n"};
    return texts;
}

/// \return the length of what \p form matches at \p at; 0 when it does not, or when the text ends
/// first
std::size_t Matched(const std::string& form, const std::string& text, std::size_t at)
{
    const std::size_t begin = at;
    for (const char c : form) {
        const std::size_t before = at;
        while (c == '#' && at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) {
            ++at;
        }
        if (c != '#' && at < text.size() && text[at] == c) {
            ++at;
        }
        if (at == before) {
            return 0;
        }
    }
    return at - begin;
}

/// \return how much of \p text consists of \p forms
std::size_t LengthOf(const std::string& text, const Texts& forms)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const auto form = std::find_if(
            forms.begin(), forms.end(),
            [&](const std::string& candidate) { return Matched(candidate, text, at) > 0; });
        if (form == forms.end()) {
            break;
        }
        at += Matched(*form, text, at);
    }
    return at;
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string ScratchFile(const std::string& name) { return ScratchFolder() + "/" + name; }

/// Nothing but these can be opened, and what the console itself has written.
std::map<std::string, std::string> MakeFiles()
{
    const std::map<std::string, std::string> files{{"pal", std::string(tableSize, '\x40')},
                                                   {"bits", std::string(1500, '\x03')},
                                                   {"short", std::string(100, '\x7F')},
                                                   {"empty", ""}};
    for (const auto& [name, content] : files) {
        WriteWholeFile(ScratchFile(name), content);
    }
    return files;
}

std::set<std::string>& Written()
{
    static std::set<std::string> names;
    return names;
}

/// Checks what was written, and leaves the files as they were.
void TakeWritten(const std::map<std::string, std::string>& files)
{
    for (const std::string& name : Written()) {
        Require(ReadWholeFile(ScratchFile(name)).size() == tableSize,
                "a table was saved that is not whole");
        unlink(ScratchFile(name).c_str());
        const auto original = files.find(name);
        if (original != files.end()) {
            WriteWholeFile(ScratchFile(name), original->second);
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
        const std::string log = ScratchFile("log");
        setenv("SUBTITLE_LOG", log.c_str(), 1);
        LogClient::Instance().Level(63);
        LogClient::Instance().ProcessName("fuzz");
        return log;
    }();
    return path;
}

void TakeLogEntries()
{
    std::ifstream log(LogPath(), std::ios::binary);
    for (std::string line; std::getline(log, line);) {
        Require(std::none_of(line.begin(), line.end(),
                             [](unsigned char c) { return c < 0x20 || c == 0x7F; }),
                "a log entry that steers a terminal");
    }
    unlink(LogPath().c_str());
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
    // Streams of this target come here too where the C++ library is linked statically.
    if (name.compare(0, ScratchFolder().size() + 1, ScratchFolder() + "/") == 0) {
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
    return __real_fopen64(ScratchFile(name).c_str(), mode);
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const auto files = MakeFiles();
    const std::string keys(bytes, bytes + size);
    MayWriteAnyFile() = keys.find('\0') != std::string::npos;
    LogPath();
    CappedOutput output(longestOutput);
    std::string errors;
    const bool isLeft = RunConsole(keys, output, errors);

    const std::string& text = output.Text();
    const std::size_t known = LengthOf(text, OutputTexts());
    // What was cut may end inside a text, and the longest one is the report.
    static const std::size_t longest = EmptyRegionReport().size();
    if (text.size() - known > (isLeft ? 0 : longest)) {
        RequireEqual(text.substr(known), "", "the console prints something else");
    }
    Require(LengthOf(errors, ErrorTexts()) == errors.size(), "other lines on standard error");
    if (isLeft) {
        Require(EndsWith(text, OutputTexts()[0]) || EndsWith(text, OutputTexts()[1]),
                "the console was left elsewhere than in its menu");
        Require(keys.find_first_of("xq") != std::string::npos, "the console was left by no key");
    }
    TakeLogEntries();
    TakeWritten(files);
    return 0;
}
