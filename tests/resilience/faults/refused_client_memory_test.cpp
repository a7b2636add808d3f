// The client when an allocation fails: the command or option has no effect, and the client goes on.

#include "cli/SubtitleMgrCli.h"
#include "cli/options.h"
#include "cli/process_objects.h"
#include "console/log_entry.h"
#include "console/prompts.h"
#include "handlers/notification_handlers.h"
#include "records/received_record.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/arguments.h"
#include "tests/resilience/faults/refused_allocations.h"
#include "tests/unit/console/console_run.h"
#include "tests/unit/console/kept_log.h"

#include <LinxServerNameList.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

// Replaces the stand-in's function: a record that the receiver cannot store.
void DecodeReceived(LinxIpc&, Item&) { throw std::bad_alloc(); }

// Replaces the stand-in's function: a name that needs memory, like in another SDK.
LinxServerNameList::LinxServerNameList() : subtitleMgr("SubtitleMgr-of-this-vehicle") {}

LinxServerNameList& LinxServerNameList::Instance()
{
    static LinxServerNameList list;
    return list;
}

const std::string& LinxServerNameList::Name(e_Process) const { return subtitleMgr; }

// The client's main has another name in this program.
int ClientMain(int argc, char** argv);

namespace {

using Extent = RefusedAllocation::Extent;

const std::string prefix(70, 'n');

/// The outcome of an action with a refused allocation.
struct Outcome {
    bool wasRefused = false;
    bool threw = false;
    std::string output;
    std::string errors;
    std::vector<std::string> log;  ///< log entries
};

/// Number of errors in \p log that contain \p text.
long CountErrors(const std::vector<std::string>& log, const std::string& text = "")
{
    return std::count_if(log.begin(), log.end(), [&](const std::string& entry) {
        return entry.rfind("level=2 SubtitleMgrCli:", 0) == 0 &&
               entry.find(text) != std::string::npos;
    });
}

template <typename Action>
Outcome RefuseTo(Action action, int number, Extent extent = Extent::One)
{
    const KeptLog log;
    Outcome outcome;
    outcome.errors = ErrorsOf([&] {
        outcome.output = OutputOf([&] {
            const RefusedAllocation refused(number, extent);
            try {
                action();
            } catch (const std::bad_alloc&) {
                outcome.threw = true;
            }
            outcome.wasRefused = refused.Happened();
        });
    });
    outcome.log = log.Entries();
    return outcome;
}

constexpr int never = 100000;  ///< more allocations than any action in this file makes

/// The console while each allocation of a command is refused in turn. If the command ends early,
/// the console reads its answers as keys; they must end the console too.
class ConsoleWithoutMemory : public ConsoleRun {
protected:
    /// \param isGivenUp  whether the command itself needs memory, so that a refusal ends it
    void ExpectToGoOn(const std::string& command, bool isGivenUp)
    {
        SCOPED_TRACE(command);
        const std::string typed = command + "\nx\n";
        const std::string usual = RunRefusing(typed, never).output;
        long ended = 0;
        Outcome outcome;
        for (int number = 0; (outcome = RunRefusing(typed, number)).wasRefused; ++number) {
            EXPECT_TRUE(outcome.output == usual || CountErrors(outcome.log) > 0)
                << "allocation " << number << "\n"
                << outcome.output;
            ended += CountErrors(outcome.log, " Error allocating memory for a command");
            RunRefusing(typed, number, Extent::AllThatFollow);
        }
        EXPECT_EQ(ended > 0, isGivenUp);
        EXPECT_TEXT(outcome.output, usual);
    }

private:
    Outcome RunRefusing(const std::string& typed, int number, Extent extent = Extent::One)
    {
        const TypedInput input(typed);
        result = 0;
        Outcome outcome = RefuseTo([this] { result = client.ExecuteTestMode(); }, number, extent);
        EXPECT_FALSE(outcome.threw) << "allocation " << number;
        EXPECT_EQ(result, 3u) << "allocation " << number;
        return outcome;
    }
};

TEST_F(ConsoleWithoutMemory, GoesOnAfterEveryCommand)
{
    const TempDir files;
    const std::string file = files / "a-file-with-a-name-of-many-letters";
    WriteWholeFile(file, std::string(1024, '\x40'));
    for (const std::string& command :
         {std::string("s"), std::string("7\n1\nx"), std::string("8\ns\nx"), "3 1 " + file + " 4",
          "4 1 " + file, "5 2 " + file + " t f", "5 2 " + file + " f 2 t"}) {
        ExpectToGoOn(command, true);
    }
    // For these only the messaging library needs memory; a refusal fails the request.
    for (const char* command :
         {"z\nc\nq", "1\n2", "6\n1", "r", "k", "8\n1\n2\n3\n4\n5\n6\n7\n8\n9\n0\nn\nm\nc\nz\nx"}) {
        ExpectToGoOn(command, false);
    }
}

TEST(Word, IsDiscardedWithItsLineWithoutMemory)
{
    TypedInput input("a-name-of-many-letters 4 x\nnext\n");
    EXPECT_TRUE(RefuseTo([] { AskWord("Enter filename:  "); }, 0).threw);
    EXPECT_EQ(input.Rest(), "next\n");
    EXPECT_EQ(AskWord(""), "next");
}

TEST(EntryAboutMemory, IsLostWithoutMemory)
{
    LogClient::Instance().ProcessName("a process with a name of many letters");
    const Outcome outcome =
        RefuseTo([] { LogRefusedMemory(1, "a command"); }, 0, Extent::AllThatFollow);
    EXPECT_TRUE(outcome.wasRefused);
    EXPECT_FALSE(outcome.threw);
    EXPECT_TRUE(outcome.log.empty());
}

/// A client that starts no thread.
class StillClient : public SubtitleMgrCli {
public:
    int PreInit() override { return 1; }
};

TEST(EveryOption, EndsWithoutMemory)
{
    for (const char* option : {"-h", "-u", "-p", "-q", "-l", "-s63", "-c"}) {
        Arguments arguments({"client", option});
        Outcome outcome;
        for (int number = 0; number == 0 || outcome.wasRefused; ++number) {
            const TypedInput level("63\n");
            StillClient client;
            outcome = RefuseTo([&] { client.Go(arguments.Words(), 2, shortOptions, longOptions); },
                               number);
            EXPECT_FALSE(outcome.threw) << option << ", allocation " << number;
        }
    }
}

TEST(ConnectionOption, EndsEarlyAndKeepsTheOldName)
{
    const TempDir directory;
    SimulatedService service(directory.Path());
    service.Name("SubtitleMgr-of-this-vehicle").Start();
    setenv("LINX_DIR", directory.Path().c_str(), 1);
    ASSERT_EQ(linxIpc.Init(), 0);
    Arguments arguments({"client", "-e", prefix, "-p"});
    int number = 0;
    for (bool isGivenUp = true; isGivenUp; ++number) {
        StillClient client;
        int result = 0;
        const Outcome outcome = RefuseTo(
            [&] { result = client.Go(arguments.Words(), 4, shortOptions, longOptions); }, number);
        EXPECT_FALSE(outcome.threw);
        isGivenUp = CountErrors(outcome.log, " Error allocating memory for an option") == 1;
        EXPECT_EQ(result == 2 && outcome.output.empty(), isGivenUp);
        EXPECT_TEXT(OutputOf([&] { ErrorsOf([&] { client.Ping(); }); }),
                    isGivenUp ? "Let's Ping\nSuccessful Ping\n" : "Let's Ping\n");
    }
    EXPECT_GT(number, 2);
}

TEST(Notification, IsLostWithoutMemory)
{
    const auto report = [] { return OutputOf([] { subtitleStats.Display(); }); };
    const std::string before = report();
    for (const auto handler : {HandleRegionData, handleRegionVis, handlePaletteUpdate}) {
        LinxIpc endpoint("test");
        const Outcome outcome = RefuseTo([&] { handler(&endpoint, nullptr); }, never);
        EXPECT_FALSE(outcome.threw);
        EXPECT_TEXT(outcome.output, "");
        EXPECT_EQ(CountErrors(outcome.log, " Error allocating memory for a notification"), 1);
    }
    EXPECT_TEXT(report(), before);
}

TEST(Client, EndsWithALineWhenItCannotBeMade)
{
    LinxServerNameList::Instance();
    Arguments arguments({"SubtitleMgrCli", "-h"});
    for (int number = 0; number < 2; ++number) {
        int status = -1;
        const Outcome outcome =
            RefuseTo([&] { status = ClientMain(2, arguments.Words()); }, number);
        EXPECT_FALSE(outcome.threw);
        EXPECT_EQ(status, 0);
        EXPECT_TEXT(outcome.output, "");
        EXPECT_TEXT(outcome.errors, "Error allocating memory\n");
    }
}

}  // namespace
