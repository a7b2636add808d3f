// Any keys at the interactive console: the output has no control characters, a console ends only in
// its menu, and log entries are lines of plain text. There is no service. The model of the console
// checks the exact behaviour, files included, and also replays this target's corpus.
//
// Input: the keys. At the end of the input a console repeats its last command for ever.

#include "tests/fuzz/fuzz_target.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/console_texts.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"

#include <LogClient.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// Throws when a console has printed so much. This ends a console that repeats itself.
class CappedOutput : public std::stringbuf {
public:
    struct Full {};

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override
    {
        if ((size += count) > 32768) {
            throw Full();
        }
        return std::stringbuf::xsputn(bytes, count);
    }

private:
    std::streamsize size = 0;
};

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

void RequireHarmless(const std::string& text, const char* problem)
{
    Require(std::all_of(text.begin(), text.end(),
                        [](unsigned char c) { return c == '\n' || (c >= 0x20 && c != 0x7F); }),
            problem);
}

void MakeFiles()
{
    fs::remove_all(Scratch() / "files");
    fs::create_directory(Scratch() / "files");
    fs::current_path(Scratch() / "files");
    WriteWholeFile("pal", std::string(1024, '\x40'));
    WriteWholeFile("bits", std::string(1500, '\x03'));
    WriteWholeFile("short", std::string(100, '\x7F'));
    WriteWholeFile("empty", "");
}

/// Runs the real console. \return whether a key left it
bool RunConsole(const std::string& keys, CappedOutput& output, std::stringbuf& errors)
{
    std::stringbuf typed(keys);
    std::streambuf* const in = std::cin.rdbuf(&typed);
    std::streambuf* const out = std::cout.rdbuf(&output);
    std::streambuf* const err = std::cerr.rdbuf(&errors);
    subscribed = false;
    SubtitleMgrCli client;
    bool isLeft = true;
    try {
        Require(client.ExecuteTestMode() == 3, "the console returned a wrong result");
    } catch (const CappedOutput::Full&) {
        isLeft = false;
    }
    std::cin.rdbuf(in);
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    return isLeft;
}

}  // namespace

/// The pauses of a subscription are for the receive thread, which does not exist here.
extern "C" int __wrap_usleep(useconds_t) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string keys(bytes, bytes + size);
    if (keys.find('/') != std::string::npos) {  // might open a file outside the folder
        return 0;
    }
    const std::string logPath = Scratch() / "log";
    MakeFiles();
    unlink(logPath.c_str());
    setenv("SUBTITLE_LOG", logPath.c_str(), 1);
    LogClient::Instance().Level(63);
    std::cout.exceptions(std::ios::badbit);  // rethrows CappedOutput::Full
    CappedOutput output;
    std::stringbuf errors;
    const bool isLeft = RunConsole(keys, output, errors);
    const std::string text = output.str();
    RequireHarmless(text, "the output has control characters");
    RequireHarmless(errors.str(), "the error output has control characters");
    RequireHarmless(ReadWholeFile(logPath), "a log entry has control characters");
    if (isLeft) {
        Require(EndsWith(text, UnsubscribedMenu()) || EndsWith(text, SubscribedMenu()),
                "the console ended outside its menu");
        Require(keys.find_first_of("xq") != std::string::npos, "the console ended without a key");
    }
    return 0;
}
