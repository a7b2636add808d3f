#include "tests/harness/ConsoleSession.h"

#include <stdexcept>

ConsoleSession::ConsoleSession() : simulated(messaging.Path()) {}

ConsoleSession::~ConsoleSession()
{
    // A sanitizer report ends the client early. A test that kills the client would not notice it.
    if (program) {
        EXPECT_EQ(program->Errors().find("Sanitizer"), std::string::npos) << program->Errors();
    }
}

void ConsoleSession::StartService() { simulated.Start(); }

ChildProcess::Options ConsoleSession::ClientSettings() const
{
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = messaging.Path();
    settings.environment["SUBTITLE_LOG"] = ownFiles / "log";
    // getopt_long()'s order and messages must not depend on the caller's environment.
    settings.environment["POSIXLY_CORRECT"] = "";
    settings.environment["LC_ALL"] = "C";
    return settings;
}

void ConsoleSession::StartClient(const std::vector<std::string>& options)
{
    std::vector<std::string> arguments{ClientProgram()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    program = std::make_unique<ChildProcess>(arguments, ClientSettings());
}

void ConsoleSession::RunClient(const std::vector<std::string>& options)
{
    StartClient(options);
    Client().CloseInput();
    Client().WaitForExit();
}

ChildProcess& ConsoleSession::Client()
{
    if (!program) {
        throw std::logic_error("the client was not started");
    }
    return *program;
}

std::string ConsoleSession::ConsoleText()
{
    Client().WaitForExit();
    return Client().Output();
}

std::string ConsoleSession::ErrorText()
{
    Client().WaitForExit();
    return Client().Errors();
}

int ConsoleSession::ExitStatus() { return Client().WaitForExit(); }

std::string ConsoleSession::LogText() const { return ReadWholeFile(ownFiles / "log"); }
