#include "tests/device/PairSession.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/console_texts.h"

#include <sstream>
#include <vector>

namespace {

// Answers that differ in every byte, so that none can be swapped without being seen; bytes above
// 127, which are negative where plain char is signed.
constexpr const char* editorKeys = "9\n"  // -l: the new level
                                   "3\n3\nbitmap\n700\n"
                                   "3\n258\nbitmap\n256\n"
                                   "3\n5\nmissing\n10\n"
                                   "3\n6\nbitmap\n100000\n"
                                   "4\n14\nf\n"
                                   "4\n3\nt\n"
                                   "5\n2\ntable\nt\nt\n200\n"
                                   "5\n250\ntable\nf\n4294967071\nyes\n"
                                   "6\n3\n"
                                   "6\n4294967295\n"
                                   "7\n9\n1\n250\n2\n264\n3\n100\n4\n10\n5\ns\nx\n"
                                   "8\n1\n4\n7\n9\n5\n3\nn\nm\nM\ns\nx\n"
                                   "r\n"
                                   "s\n"
                                   "\xff\n"
                                   "4\n14\nt\n"
                                   "x\n";
constexpr const char* lastOfEditor = "*** RegionVisi:  14  visible\n\n";

// What no request of a client can cause: every kind of odd record, formats and numbers out of
// range.
constexpr const char* scenario = "wait-subscribers 10\n"
                                 "region-data 1 2 000102037f80ff\n"
                                 "region-data 2 0 @bitmap\n"
                                 "region-data 2 1 ff\n"
                                 "region-data 14 2 -\n"
                                 "region-data 3 3 0102\n"
                                 "region-data 15 2 80\n"
                                 "region-data 0 1 00\n"
                                 "region-data 200 200 00\n"
                                 "visibility 7 t\n"
                                 "visibility 255 t\n"
                                 "visibility 7 f\n"
                                 "palette 1 255 f -\n"
                                 "palette 255 0 t 80\n"
                                 "palette 128 128 f @bitmap\n"
                                 "visibility 13 t\n";
constexpr const char* lastOfScenario = "*** RegionVisi:  13  visible\n\n";

std::string Bytes(std::size_t count)
{
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += static_cast<char>(static_cast<unsigned char>(i * 7 + i / 256));
    }
    return bytes;
}

/// Entries without time and process number, which are different in each run.
std::string WithoutHeads(const std::string& log)
{
    std::string texts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        texts += line.substr(line.find("level=")) + "\n";
    }
    return texts;
}

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

class Session {
public:
    explicit Session(const ProgramPair& programPair) : programs(programPair)
    {
        WriteWholeFile(files / "bitmap", Bytes(1000));
        WriteWholeFile(files / "table", Bytes(1024));
        service.Program(programs.service).Journal();
    }

    PairTranscript Play()
    {
        service.Start();
        ChildProcess watcher(Console({"-i"}), Settings("watcher"));
        watcher.Write("1\n");
        watcher.WaitForOutput(AcceptedSubscriptions() + SubscribedMenu());

        ChildProcess editor(Console({"-p", "-s", "7", "-s", "-2", "-l", "-i", "-p"}),
                            Settings("editor"));
        editor.Write(editorKeys);
        editor.WaitForExit();
        watcher.WaitForOutput(lastOfEditor);
        transcript.comments = service.Process().Errors();
        service.Stop();

        // The watcher subscribes again by itself, and reads on while its console waits for a key.
        service.Accompany("bitmap", Bytes(300)).Play(scenario).Start();
        watcher.WaitForOutput(lastOfScenario);
        watcher.Write("s\nc\ns\n2\nx\n");
        watcher.WaitForExit();
        ChildProcess last(Console({"-q"}), Settings("editor"));
        last.WaitForExit();
        service.Process().WaitForExit();

        transcript.editor = editor.Output() + last.Output();
        transcript.editorErrors = editor.Errors() + last.Errors();
        transcript.editorLog = WithoutHeads(ReadWholeFile(logs / "editor"));
        transcript.convertedTable = ReadWholeFile(files / "table.out");
        transcript.watcher = watcher.Output();
        transcript.watcherErrors = watcher.Errors();
        transcript.journal = Joined(service.JournalLines());
        transcript.comments += service.Process().Errors();
        return transcript;
    }

private:
    /// In the folder of the files, so that their names are the same in every session.
    std::vector<std::string> Console(const std::vector<std::string>& options) const
    {
        std::vector<std::string> words{"sh", "-c", R"(cd "$0" && exec "$@")", files.Path(),
                                       programs.client};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    ChildProcess::Options Settings(const std::string& logName) const
    {
        ChildProcess::Options settings;
        settings.environment["LINX_DIR"] = messaging.Path();
        settings.environment["SUBTITLE_LOG"] = logs / logName;
        settings.environment["POSIXLY_CORRECT"] = "";
        settings.environment["LC_ALL"] = "C";
        return settings;
    }

    const ProgramPair programs;
    const TempDir messaging;
    const TempDir files;
    const TempDir logs;
    SimulatedService service{messaging.Path()};
    PairTranscript transcript;
};

}  // namespace

PairTranscript PlaySession(const ProgramPair& programs) { return Session(programs).Play(); }
