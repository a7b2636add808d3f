// The line numbers in the log: where a person looks when an entry needs explaining.

#include "tests/editing/EditingSession.h"

#include <filesystem>
#include <set>
#include <sstream>

namespace {

using SourceText = Lines;

/// The sources of the client, each as its lines.
std::vector<SourceText> ClientSources()
{
    std::vector<SourceText> sources;
    for (const char* room : {"cli", "records", "stats", "handlers", "console", "generators"}) {
        const std::filesystem::path folder =
            std::filesystem::path(SOURCE_DIRECTORY) / "client" / room;
        for (const auto& file : std::filesystem::directory_iterator(folder)) {
            std::istringstream text(ReadWholeFile(file.path()));
            SourceText lines;
            for (std::string line; std::getline(text, line);) {
                lines.push_back(line);
            }
            sources.push_back(lines);
        }
    }
    return sources;
}

/// Whether \p source has a statement at line \p number that makes an entry with \p words in it. A
/// statement of several lines may have its words on the line before or behind the one it is known
/// by.
bool MakesEntry(const SourceText& source, unsigned number, const std::string& words)
{
    if (number < 1 || number > source.size() ||
        source[number - 1].find("Log") == std::string::npos) {
        return false;
    }
    std::string around;
    for (unsigned line = number > 1 ? number - 1 : 1; line <= number + 1; ++line) {
        around += line <= source.size() ? source[line - 1] : "";
    }
    return around.find(words) != std::string::npos;
}

class TheLogOfTheConsole : public EditingSession {};

}  // namespace

TEST_F(TheLogOfTheConsole, NamesTheLineOfTheStatementThatMadeTheEntry)
{
    const std::string path = File("pal.bin", std::string(1024, '\x40'));
    std::filesystem::create_symlink("/dev/full", path + ".out");
    const std::string unwritable = File("other.bin", std::string(1024, '\x40'));
    std::filesystem::create_directory(unwritable + ".out");
    StartService();
    TextAfter("3 3 " + Files() / "none" + " 1\n3 3 " + path + " 1025\n5 3 " + path + " t f\n5 3 " +
              unwritable + " t f\nx\n");

    const Lines words{"Error opening file ",
                      "Successfully opened file ",
                      "Error reading file ",
                      "Successfully opened file ",
                      "Successfully opened output file ",
                      "Error writing output file ",
                      "Successfully opened file ",
                      "Error opening output file "};
    const std::vector<LogEntry> entries = ParseLog(LogText());
    ASSERT_EQ(entries.size(), words.size()) << LogText();
    const std::vector<SourceText> sources = ClientSources();
    std::set<unsigned> numbers;
    for (std::size_t i = 0; i < words.size(); ++i) {
        EXPECT_NE(entries[i].text.find(words[i]), std::string::npos) << entries[i].text;
        bool found = false;
        for (const SourceText& source : sources) {
            found = found || MakesEntry(source, entries[i].sourceLine, words[i]);
        }
        EXPECT_TRUE(found) << "line " << entries[i].sourceLine << " of no source logs " << words[i];
        numbers.insert(entries[i].sourceLine);
    }
    EXPECT_EQ(numbers.size(), 6u) << "two statements are known by the same line";
}
