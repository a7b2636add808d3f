#pragma once

#include "tests/editing/journal_lines.h"
#include "tests/editing/log_texts.h"
#include "tests/editing/sub_console_texts.h"
#include "tests/support/ConsoleSession.h"

/// One entry of the client's log file that names a line of the client.
struct LogEntry {
    unsigned level;
    unsigned sourceLine;
    std::string text;
};

/// The entries of a whole log file; one that has not the form "<time> SubtitleMgrCli[<process>]
/// level=<level> SubtitleMgrCli:<line> <text>" has level 0 and its whole line as text.
std::vector<LogEntry> ParseLog(const std::string& log);

/// Waits for the end of a program that does a lot: up to a minute. \return as WaitForExit()
int WaitPatiently(ChildProcess& program);

/// Sessions that edit regions, with everything that they leave behind: both streams, the service's
/// journal, the client's log and its files.
class EditingSession : public ConsoleSession {
protected:
    void SetUp() override;

    /// Types \p keys, which must leave the console, with nothing said on standard error.
    std::string TextAfter(const std::string& keys);

    /// The same, and the whole text is \p between with a menu before and behind it.
    void ExpectBetweenMenus(const std::string& keys, const std::string& between);

    /// Types \p keys and ends the input, and checks that the text is \p beginning and then
    /// \p repeated for ever: the client is ended once it has printed enough.
    void ExpectEndless(const std::string& keys, const std::string& beginning,
                       const std::string& repeated);

    /// Of an endless session: the journal or log is \p beginning and then at least two of
    /// \p repeated and nothing else.
    static void ExpectEndlessLines(const Lines& lines, const Lines& beginning,
                                   const std::string& repeated);

    /// Has the service publish one visibility more and waits until a subscribed console begins to
    /// show it: all that was published before has been shown then. A bitmap's own line is not
    /// flushed and cannot be waited for.
    void AwaitNotifications();

    /// The log's entries as "<level> <text>".
    Lines LogTexts() const;

    /// Makes a file in the test's folder. \return its path
    std::string File(const std::string& name, const std::string& content) const;
};
