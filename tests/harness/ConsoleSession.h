#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/SimulatedService.h"
#include "tests/harness/TempDir.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// The client and the simulated service as real processes, with a messaging directory and a log
/// file of their own for each test.
class ConsoleSession : public testing::Test {
protected:
    ConsoleSession();
    ~ConsoleSession() override;

    /// The service, to be described before StartService().
    SimulatedService& Service() { return simulated; }
    void StartService();

    /// Starts the client with these options; a client that still runs is ended first.
    void StartClient(const std::vector<std::string>& options);

    /// Runs the client to its end without any input.
    void RunClient(const std::vector<std::string>& options);

    void Type(const std::string& text) { Client().Write(text); }

    /// Waits until the console shows \p text, after what was expected before.
    void ExpectConsole(const std::string& text) { Client().WaitForOutput(text); }

    /// Each waits for the client's end.
    std::string ConsoleText();
    std::string ErrorText();
    int ExitStatus();

    ChildProcess& Client();

    /// The service's journal; the first starts it, before StartService().
    void KeepJournal() { simulated.Journal(); }
    std::vector<std::string> Journal() const { return simulated.JournalLines(); }

    /// All log entries of the client so far.
    std::string LogText() const;
    /// Waits until the log has \p text.
    void ExpectLog(const std::string& text) const;

    /// The messaging directory.
    const TempDir& Directory() const { return messaging; }
    /// A folder for the test's own files, the log among them.
    const TempDir& Files() const { return ownFiles; }
    /// What a client gets as environment.
    ChildProcess::Options ClientSettings() const;

private:
    TempDir messaging;
    TempDir ownFiles;
    SimulatedService simulated;
    std::unique_ptr<ChildProcess> program;
};
