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

    /// The service; set its options before StartService().
    SimulatedService& Service() { return simulated; }
    void StartService();

    /// Starts the client with these options, after it has ended a client that still runs.
    void StartClient(const std::vector<std::string>& options);

    /// Runs the client to its end without input.
    void RunClient(const std::vector<std::string>& options);

    void Type(const std::string& text) { Client().Write(text); }

    /// Waits until the console shows \p text after the text that was expected before.
    void ExpectConsole(const std::string& text) { Client().WaitForOutput(text); }

    /// Each waits for the client's end.
    std::string ConsoleText();
    std::string ErrorText();
    int ExitStatus();

    ChildProcess& Client();

    /// The service's journal. The first function turns it on; call it before StartService().
    void KeepJournal() { simulated.Journal(); }
    std::vector<std::string> Journal() const { return simulated.JournalLines(); }

    /// All log entries of the client up to now.
    std::string LogText() const;

    /// The messaging directory.
    const TempDir& Directory() const { return messaging; }
    /// A folder for the test's own files, including the log.
    const TempDir& Files() const { return ownFiles; }
    /// The client's environment.
    ChildProcess::Options ClientSettings() const;

private:
    TempDir messaging;
    TempDir ownFiles;
    SimulatedService simulated;
    std::unique_ptr<ChildProcess> program;
};
