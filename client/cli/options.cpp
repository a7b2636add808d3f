// The options of SubtitleMgrCli: letters, long names, usage text and what each option does.

#include "cli/options.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "cli/subtitle_process.h"
#include "console/log_entry.h"

#include <cstdlib>
#include <iostream>
#include <new>

// Kept on purpose: the three lists differ. 'c' has a letter and a line in the usage text but no
// long name, so --config is an unknown option; 'e' has a letter and a long name but no line in the
// usage text.

const char* const shortOptions = "pqhice:ls:";

struct option longOptions[longOptionCount] = {
    {"ping", no_argument, nullptr, 'p'},
    {"quit", no_argument, nullptr, 'q'},
    {"help", no_argument, nullptr, 'h'},
    {"usage", no_argument, nullptr, 'h'},
    {"interactive", no_argument, nullptr, 'i'},
    {"connection", required_argument, nullptr, 'e'},
    {"loglevel", no_argument, nullptr, 'l'},
    {"setloglevel", required_argument, nullptr, 's'},
    {nullptr, 0, nullptr, 0},
};

namespace {

// Result codes for CommonCli::Go().
constexpr int configured = 1;
constexpr int usageShown = 2;
constexpr int actionDone = 3;
constexpr int failed = 2;  // no later option acts

/// Kept on purpose: no check. "12x" is 12, "x" is 0 and "-1" is 4294967295; SetLogLevel() checks
/// the range.
unsigned int LevelFrom(const char* argument)
{
    return static_cast<unsigned int>(std::strtol(argument, nullptr, 10));
}

}  // namespace

void SubtitleMgrCli::Usage()
{
    std::cout << "Usage: SubtitleMgrCli" << std::endl;
    std::cout << "       [-h] or [--help] or [--usage] Shows help" << std::endl;
    std::cout << "       [-p] or [--ping] Pings the SubtitleMgr process" << std::endl;
    std::cout << "       [-q] or [--quit] Tells the SubtitleMgr to exit" << std::endl;
    std::cout << "       [-l] or [--loglevel] Changes the log level through a menu" << std::endl;
    std::cout << "       [-s] or [--setloglevel] Changes the log level" << std::endl;
    std::cout << "       [-c] or [--config] Create tsApp config file" << std::endl;
    std::cout << "       [-i] or [--interactive] Interactively control subtitle regions"
              << std::endl;
    std::cout << std::endl;
}

int SubtitleMgrCli::ProcessOption(int option, const char* argument)
{
    try {
        // Kept on purpose: 'l' and 's' use the registered name, without the prefixes of -e.
        switch (option) {
        case 'p': Ping(); return actionDone;
        case 'q': Quit(); return actionDone;
        case 'h': Usage(); return usageShown;
        case 'i': return static_cast<int>(ExecuteTestMode());
        case 'c': DumpTsAppConfig(); return configured;
        case 'e': ExtraConnectionInfo(std::string(argument)); return configured;
        case 'l': return HandleLogLevel(linxIpc, RegisteredName());
        // SetLogLevel() returns 1 when the level was set; the sum is 3: an action was carried out.
        case 's': return SetLogLevel(linxIpc, RegisteredName(), LevelFrom(argument)) + 2;
        default: Usage(); return usageShown;
        }
    } catch (const std::bad_alloc&) {
        LogRefusedMemory(__LINE__, "an option");
        return failed;
    }
}

int SubtitleMgrCli::RunIt() { return 1; }

// Kept on purpose: the option is accepted and does nothing, although the usage text offers a file.
void SubtitleMgrCli::DumpTsAppConfig() {}
