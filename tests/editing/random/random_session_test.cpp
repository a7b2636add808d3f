// Random sessions with the real client and service: each must print, send, log and save exactly
// what an independent model of the console says. The seeds are the same in each run.
// RANDOM_SESSION_SEED=<n> runs the session of one other seed, with RANDOM_SESSION_COUNT=<m> that
// many from there on.

#include "tests/editing/EditingSession.h"
#include "tests/editing/random/ConsoleModel.h"
#include "tests/editing/random/session_script.h"
#include "tests/support/build_kind.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <thread>

namespace {

/// About 10 seconds on two cores; slower builds run fewer.
constexpr unsigned sessionsThatReachAll = 400;
constexpr unsigned usualSessions = isEmulated ? 30 : isSanitized ? 80 : sessionsThatReachAll;
/// Much of a session is waiting: for programs to start and in the console's pauses around requests.
constexpr unsigned sessionsAtATime = 4;

/// What a session that repeats itself for ever prints before it is ended, behind the keys' own
/// part.
constexpr std::size_t shownRepeating = 4096;
/// What a client may have written beyond that until it is gone: a full pipe and one read of it.
constexpr std::size_t writtenUnseen = 2 * 65536 + 8192;

unsigned NumberFrom(const char* variable, unsigned otherwise)
{
    const char* text = std::getenv(variable);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

const char* FaultOf(ServiceKind kind)
{
    switch (kind) {
    case ServiceKind::RefusesSubscriptions: return "refuse-subscribe";
    case ServiceKind::RefusesRefresh: return "refuse-refresh";
    case ServiceKind::RefusesSensors: return "refuse-sensor";
    case ServiceKind::HangsUp: return "hang-up";
    case ServiceKind::Willing:
    case ServiceKind::Missing: break;
    }
    return nullptr;
}

std::string Joined(const Lines& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

unsigned CountOf(const std::string& piece, const std::string& text)
{
    unsigned count = 0;
    for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

/// One session of the client beside the model's; collects what differs.
class RandomSession {
public:
    explicit RandomSession(unsigned seed)
        : files(PrepareFiles(folder.Path())), script(MakeScript(seed)),
          expected(
              ConsoleModel(script.keys, script.service, files).Play(shownRepeating + writtenUnseen))
    {
    }

    /// \return what differs; empty when nothing does
    std::string Run()
    {
        try {
            RunPrograms();
            CompareAll();
        } catch (const std::exception& problem) {
            problems += std::string(problem.what()) + "\n";
        }
        return problems.empty() ? "" : problems + "--- keys\n" + VisibleText(script.keys);
    }

private:
    void RunPrograms()
    {
        SimulatedService service(messaging.Path());
        service.Quiet().Journal();
        if (FaultOf(script.service)) {
            service.Fault(FaultOf(script.service));
        }
        if (script.service != ServiceKind::Missing) {
            service.Start();
        }
        RunClient();
        if (script.service != ServiceKind::Missing) {
            if (expected.ended) {
                // The request to quit is not answered and may still be on its way.
                service.WaitForJournalLines(expected.requests.size());
            }
            service.Stop();
        }
        journal = service.JournalLines();
    }

    void RunClient()
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = messaging.Path();
        settings.environment["SUBTITLE_LOG"] = logFolder / "log";
        settings.environment["LC_ALL"] = "C";
        if (!expected.ended) {
            settings.outputLimit = shown = expected.repeatsFrom + shownRepeating;
        }
        ChildProcess client(
            {"sh", "-c", R"(cd "$0" && exec "$1" -i)", folder.Path(), ClientProgram()}, settings);
        client.Write(script.keys);
        client.CloseInput();
        exitStatus = WaitPatiently(client);
        output = client.Output();
        errors = client.Errors();
        for (const LogEntry& entry : ParseLog(ReadWholeFile(logFolder / "log"))) {
            // Without a service the messaging library makes entries of its own.
            if (entry.level != 0) {
                log.push_back(std::to_string(entry.level) + " " + entry.text);
            }
        }
    }

    void CompareAll()
    {
        const int expectedStatus = expected.ended ? 0 : -SIGKILL;
        if (exitStatus != expectedStatus) {
            problems += "exit status " + std::to_string(exitStatus) + ", not " +
                        std::to_string(expectedStatus) + "\n";
        }
        if (expected.isNotified) {
            CompareNotifiedOutput();
        } else {
            Compare("standard output", output, expected.output.substr(0, shown));
        }
        CompareEvents("standard error", errors, expected.errors, "");
        CompareEvents("journal", Joined(journal), expected.requests, "\n");
        CompareEvents("log", Joined(log), expected.log, "\n");
        if (expected.ended) {
            CompareFiles();
        }
    }

    void Compare(const char* what, const std::string& actual, const std::string& wanted)
    {
        const auto result = CompareTexts(what, "the model's", actual, wanted);
        if (!result) {
            problems += std::string(result.message()) + "\n";
        }
    }

    /// Notifications come between any two pieces of the output, so only the pieces are counted.
    void CompareNotifiedOutput()
    {
        if (!expected.ended) {
            return;
        }
        for (const char* piece :
             {"Choose an option:", "Choose an sensor option:", "x) Exit",
              "Subscribing for RegionData", "Unsubscribing...", "Sending RefreshRegions",
              "Enter region ID: ", "Enter filename:  ", "Enter region visibility (t/f): ",
              "Transparent pixel? (t/f): ", "Background code:   ",
              "ERROR: pixel value out of range", "Generating test pattern: ", "Sent sensor ="}) {
            const unsigned actual = CountOf(piece, output);
            const unsigned wanted = CountOf(piece, expected.output);
            if (actual != wanted) {
                problems += '"' + std::string(piece) + "\" printed " + std::to_string(actual) +
                            " times, not " + std::to_string(wanted) + "\n";
            }
        }
    }

    /// A client that is ended from outside stops somewhere: what it has done is the beginning of
    /// what the model does, and at least all that came before the output it was seen to print.
    void CompareEvents(const char* what, const std::string& actual,
                       const std::vector<ModelEvent>& events, const char* lineEnd)
    {
        std::string all;
        std::size_t certain = 0;
        for (const ModelEvent& event : events) {
            all += event.text + lineEnd;
            if (expected.ended || (!expected.isNotified && event.at < shown)) {
                certain = all.size();
            }
        }
        const std::size_t compared = expected.ended ? all.size() : std::max(certain, actual.size());
        Compare(what, actual, all.substr(0, compared));
    }

    void CompareFiles()
    {
        std::set<std::string> names = expected.files.directories;
        names.insert(expected.files.fullDisks.begin(), expected.files.fullDisks.end());
        for (const auto& [name, content] : expected.files.contents) {
            names.insert(name);
            Compare(name.c_str(), ReadWholeFile(folder / name), content);
        }
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            if (names.count(entry.path().filename()) == 0) {
                problems += entry.path().string() + " was made and should not be\n";
            }
        }
    }

    const TempDir messaging;
    const TempDir logFolder;
    const TempDir folder;  ///< of the files that the session loads and saves
    const ModelFiles files;
    const SessionScript script;
    const ModelSession expected;
    std::size_t shown = std::string::npos;

    int exitStatus = 0;
    std::string output;
    std::string errors;
    Lines journal;
    Lines log;
    std::string problems;
};

struct Failures {
    std::mutex mutex;
    Lines texts;
};

/// Runs sessions until no seed is left.
void RunSome(std::atomic<unsigned>& nextSeed, unsigned endSeed, Failures& failures)
{
    for (unsigned seed; (seed = nextSeed++) < endSeed;) {
        std::string problems;
        try {
            problems = RandomSession(seed).Run();
        } catch (const std::exception& problem) {
            problems = problem.what();
        }
        if (!problems.empty()) {
            const std::lock_guard<std::mutex> lock(failures.mutex);
            failures.texts.push_back("RANDOM_SESSION_SEED=" + std::to_string(seed) + "\n" +
                                     problems);
        }
    }
}

}  // namespace

TEST(RandomSessions, DoWhatTheModelOfTheConsoleDoes)
{
    const bool chosen = std::getenv("RANDOM_SESSION_SEED") != nullptr;
    const unsigned first = NumberFrom("RANDOM_SESSION_SEED", 1);
    const unsigned end = first + NumberFrom("RANDOM_SESSION_COUNT", chosen ? 1 : usualSessions);
    ASSERT_LT(first, end);
    std::cout << "seeds " << first << " to " << end - 1 << std::endl;
    std::atomic<unsigned> nextSeed{first};
    Failures failures;
    std::vector<std::thread> runners;
    for (unsigned i = 0; i < sessionsAtATime; ++i) {
        runners.emplace_back([&] { RunSome(nextSeed, end, failures); });
    }
    for (std::thread& runner : runners) {
        runner.join();
    }
    for (const std::string& failure : failures.texts) {
        ADD_FAILURE() << failure;
    }
}

TEST(RandomSessions, ReachEveryPlaceOfTheConsoleInEachWayThatASessionCanEnd)
{
    const TempDir folder;
    const ModelFiles files = PrepareFiles(folder.Path());
    std::map<std::string, unsigned> reached;
    for (unsigned seed = 1; seed <= sessionsThatReachAll; ++seed) {
        const SessionScript script = MakeScript(seed);
        const ModelSession session = ConsoleModel(script.keys, script.service, files).Play(0);
        const bool isWilling = script.service == ServiceKind::Willing;
        reached["ended"] += session.ended;
        reached["repeating"] += !session.ended;
        reached["notified and ended"] += session.isNotified && session.ended;
        reached["told whole, by a willing service"] += isWilling && !session.isNotified;
        std::string all = session.output;
        for (const auto* events : {&session.errors, &session.requests, &session.log}) {
            for (const ModelEvent& event : *events) {
                all += event.text + "\n";
            }
        }
        for (const char* text :
             {"(currently subscribed)", "  ERROR", "Unsubscribing", "pixel value out of range",
              "rows by 0 columns", "(currently on)", "Sent sensor =5  ON", "Error Sending sensor",
              "Quit issued", "Error running quit", "RefreshRegions\"", "InvertRegionData\"",
              "SetRegionVisibility", "\"fill\":true", "Error opening file", "Error reading file",
              "Error opening output file", "Error writing output file ( 0"}) {
            reached[text] += all.find(text) != std::string::npos;
        }
    }
    for (const auto& [what, count] : reached) {
        EXPECT_GT(count, 0u) << what;
    }
}
