// Any command line: the client does what a second reading of it says, in order, on both streams.
// There is no service, and the console is left at once.
//
// Input: words, each behind a byte that says where it comes from.

#include "tests/fuzz/choices.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/redirected_streams.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/options.h"
#include "cli/process_objects.h"
#include "tests/harness/console_texts.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <pthread.h>
#include <sstream>
#include <sys/stat.h>
#include <vector>

namespace {

using Words = std::vector<std::string>;

const std::string usage = "Usage: SubtitleMgrCli\n"
                          "       [-h] or [--help] or [--usage] Shows help\n"
                          "       [-p] or [--ping] Pings the SubtitleMgr process\n"
                          "       [-q] or [--quit] Tells the SubtitleMgr to exit\n"
                          "       [-l] or [--loglevel] Changes the log level through a menu\n"
                          "       [-s] or [--setloglevel] Changes the log level\n"
                          "       [-c] or [--config] Create tsApp config file\n"
                          "       [-i] or [--interactive] Interactively control subtitle regions\n"
                          "\n";

/// What a command line does: both streams, and the frame's result.
struct Outcome {
    std::string output;
    std::string errors;
    int result = 1;
};

/// Reads the words one by one, where the frame leaves that to getopt_long().
class Reading {
public:
    explicit Reading(const Words& words) : rest(words) {}

    Outcome Read();

private:
    void ReadWord(const std::string& word);
    void ReadLong(const std::string& text);
    void ReadLetters(const std::string& letters);
    bool TakeArgument(bool isGiven);
    void Act(char option);
    void Mistake(const std::string& error);

    Words rest;
    std::size_t next = 0;
    bool hasOption = false;
    bool hasStrayWord = false;
    Outcome outcome;
};

Outcome Reading::Read()
{
    while (outcome.result != 2 && next < rest.size()) {
        const std::string word = rest[next++];
        if (word == "--") {
            hasStrayWord = hasStrayWord || next < rest.size();
            break;
        }
        ReadWord(word);
    }
    if (outcome.result != 2 && (!hasOption || hasStrayWord)) {
        Act('h');
    }
    return outcome;
}

void Reading::ReadWord(const std::string& word)
{
    if (word.compare(0, 2, "--") == 0) {
        ReadLong(word.substr(2));
    } else if (word.size() > 1 && word[0] == '-') {
        ReadLetters(word.substr(1));
    } else {
        hasStrayWord = true;
    }
}

/// The whole name, or the beginning of one name alone.
void Reading::ReadLong(const std::string& text)
{
    struct Name {
        const char* text;
        char letter;
        bool takesArgument;
    };
    constexpr std::array<Name, 8> names{{{"ping", 'p', false},
                                         {"quit", 'q', false},
                                         {"help", 'h', false},
                                         {"usage", 'h', false},
                                         {"interactive", 'i', false},
                                         {"connection", 'e', true},
                                         {"loglevel", 'l', false},
                                         {"setloglevel", 's', true}}};
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    std::vector<Name> found;
    for (const Name& each : names) {
        const std::string whole = each.text;
        if (whole == name) {
            found.assign(1, each);
            break;
        }
        // "--" and an equals sign begin every name, and so do none.
        if (whole.compare(0, name.size(), name) == 0) {
            found.push_back(each);
        }
    }
    const bool isGiven = equals != std::string::npos;
    if (found.size() != 1 || (isGiven && !found[0].takesArgument) ||
        (found[0].takesArgument && !TakeArgument(isGiven))) {
        Act('h');
        return;
    }
    Act(found[0].letter);
}

void Reading::ReadLetters(const std::string& letters)
{
    for (std::size_t at = 0; at < letters.size() && outcome.result != 2; ++at) {
        const char letter = letters[at];
        if (letter == 'e' || letter == 's') {
            Act(TakeArgument(at + 1 < letters.size()) ? letter : 'h');
            return;
        }
        Act(std::string("pqhicl").find(letter) != std::string::npos ? letter : 'h');
    }
}

bool Reading::TakeArgument(bool isGiven) { return isGiven || next++ < rest.size(); }

void Reading::Mistake(const std::string& error)
{
    outcome.errors += error;
    outcome.result = 2;
}

void Reading::Act(char option)
{
    hasOption = true;
    outcome.result = 1;
    switch (option) {
    case 'p':
        outcome.output += "Let's Ping\n";
        outcome.errors += "Error running ping\n";
        break;
    case 'q': outcome.errors += "Shut down Requested\nError running quit\n"; break;
    case 'i': outcome.output += UnsubscribedMenu(); break;
    case 'l':
        Mistake("Error getting the log level of SubtitleMgr: no such service is running\n");
        break;
    case 's':
        Mistake("Error setting the log level of SubtitleMgr: no such service is running\n");
        break;
    case 'h':
        outcome.output += usage;
        outcome.result = 2;
        break;
    default: break;
    }
}

void PrepareMessaging()
{
    static const bool done = [] {
        const std::string folder = ScratchFolder() + "/linx";
        setenv("LINX_DIR", folder.c_str(), 1);
        setenv("SUBTITLE_LOG", "/dev/null", 1);
        return mkdir(folder.c_str(), 0700) == 0 && linxIpc.Init() == 0;
    }();
    Require(done, "no messaging directory");
}

Outcome RunClient(const Words& words)
{
    Words copies = words;
    std::vector<char*> arguments{nullptr};
    std::string name = "SubtitleMgrCli";
    arguments[0] = name.data();
    for (std::string& word : copies) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    struct option options[longOptionCount];
    std::copy(std::begin(longOptions), std::end(longOptions), options);

    std::istringstream typed(std::string(words.size() * 8 + 8, 'x'));
    std::ostringstream output;
    std::ostringstream errors;
    const RedirectedStream input(std::cin, typed.rdbuf());
    const RedirectedStream shown(std::cout, output.rdbuf());
    const RedirectedStream complained(std::cerr, errors.rdbuf());
    SubtitleMgrCli client;
    Outcome outcome;
    outcome.result =
        client.Go(arguments.data(), static_cast<int>(arguments.size() - 1), shortOptions, options);
    outcome.output = output.str();
    outcome.errors = errors.str();
    return outcome;
}

Words ChooseWords(Choices& choices)
{
    static const Words usual{"-p",
                             "-q",
                             "-h",
                             "-i",
                             "-c",
                             "-e",
                             "node1",
                             "-l",
                             "-s",
                             "63",
                             "--ping",
                             "--quit",
                             "--help",
                             "--usage",
                             "--interactive",
                             "--conn",
                             "--log",
                             "--set=8",
                             "--connection=",
                             "--",
                             "-",
                             "-pe",
                             "--l",
                             "--ping=now",
                             "-e/../up",
                             "--config",
                             "",
                             "--u",
                             "-pqc",
                             "-s-1"};
    Words words;
    while (!choices.IsAtEnd() && words.size() < 12) {
        const unsigned int choice = choices.Byte();
        std::string word = choice < 192 ? usual[choice % usual.size()]
                                        : (choice < 224 ? "-" : "") + choices.Bytes(choice % 16);
        words.push_back(word.substr(0, word.find('\0')));
    }
    return words;
}

}  // namespace

extern "C" {

/// A receive thread for each command line would never end.
int __wrap_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return 0; }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    PrepareMessaging();
    Choices choices(bytes, size);
    const Words words = ChooseWords(choices);
    const Outcome expected = Reading(words).Read();
    const Outcome actual = RunClient(words);
    RequireEqual(actual.output, expected.output, "another standard output");
    RequireEqual(actual.errors, expected.errors, "another standard error");
    Require(actual.result == expected.result, "another result");
    return 0;
}
