#include "tests/editing/EditingSession.h"

#include "tests/support/RawPeer.h"
#include "tests/support/wait_limits.h"

#include "platform/src/deadline.h"

#include <csignal>
#include <regex>
#include <sstream>
#include <stdexcept>

using namespace platform;

namespace {

LogEntry ParseEntry(const std::string& line)
{
    const LogEntry unknown{0, 0, line};
    static const std::regex headForm(
        R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z SubtitleMgrCli\[\d+\])");
    const std::size_t headEnd = line.find(" level=");
    if (headEnd == std::string::npos || !std::regex_match(line.substr(0, headEnd), headForm)) {
        return unknown;
    }
    static const std::regex numbersForm(R"( level=(\d+) SubtitleMgrCli:(\d+))");
    const std::size_t numbersEnd = line.find(' ', line.find(' ', headEnd + 1) + 1);
    std::smatch numbers;
    const std::string middle = line.substr(headEnd, numbersEnd - headEnd);
    if (numbersEnd == std::string::npos || !std::regex_match(middle, numbers, numbersForm)) {
        return unknown;
    }
    const auto number = [&](std::size_t group) {
        return static_cast<unsigned>(std::stoul(numbers[group]));
    };
    return {number(1), number(2), line.substr(numbersEnd + 1)};
}

}  // namespace

std::vector<LogEntry> ParseLog(const std::string& log)
{
    std::vector<LogEntry> entries;
    std::istringstream text(log);
    for (std::string line; std::getline(text, line);) {
        entries.push_back(ParseEntry(line));
    }
    return entries;
}

int WaitPatiently(ChildProcess& program)
{
    const Deadline deadline(6 * eventDeadlineMs);
    for (;;) {
        try {
            return program.WaitForExit();
        } catch (const std::runtime_error&) {
            if (deadline.HasPassed()) {
                throw;
            }
        }
    }
}

void EditingSession::SetUp()
{
    KeepJournal();
    Service().Quiet();
}

std::string EditingSession::TextAfter(const std::string& keys)
{
    StartClient({"-i"});
    Type(keys);
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ErrorText(), "");
    return ConsoleText();
}

void EditingSession::ExpectBetweenMenus(const std::string& keys, const std::string& between)
{
    EXPECT_TEXT(TextAfter(keys), UnsubscribedMenu() + between + UnsubscribedMenu());
}

void EditingSession::ExpectEndless(const std::string& keys, const std::string& beginning,
                                   const std::string& repeated)
{
    constexpr std::size_t enough = 16 * 1024;
    ChildProcess::Options settings = ClientSettings();
    settings.outputLimit = enough;
    ChildProcess client({ClientProgram(), "-i"}, settings);
    client.Write(keys);
    client.CloseInput();
    EXPECT_EQ(client.WaitForExit(), -SIGKILL) << "it ended by itself";
    std::string expected = beginning;
    while (expected.size() < enough) {
        expected += repeated;
    }
    EXPECT_TEXT(client.Output(), expected.substr(0, enough));
    EXPECT_TEXT(client.Errors(), "");
    Service().Stop();
}

void EditingSession::ExpectEndlessLines(const Lines& lines, const Lines& beginning,
                                        const std::string& repeated)
{
    ASSERT_GE(lines.size(), beginning.size() + 2);
    Lines expected = beginning;
    expected.resize(lines.size(), repeated);
    EXPECT_EQ(lines, expected);
}

void EditingSession::AwaitNotifications()
{
    RawClient editor(Service().SocketPath());
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 1, Bytes({14, 1}));
    editor.ReceiveFrame();
    // Only its first piece: what the console's own thread prints may come between the others.
    ExpectConsole("*** RegionVisi:  ");
}

Lines EditingSession::LogTexts() const
{
    Lines texts;
    for (const LogEntry& entry : ParseLog(LogText())) {
        texts.push_back(std::to_string(entry.level) + " " + entry.text);
    }
    return texts;
}

std::string EditingSession::File(const std::string& name, const std::string& content) const
{
    WriteWholeFile(Files() / name, content);
    return Files() / name;
}
