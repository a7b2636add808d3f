#include "tests/harness/SimulatedService.h"

#include "tests/harness/wait_limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <utility>

const char* ClientProgram() { return CLIENT_PROGRAM; }
const char* ServiceProgram() { return SERVICE_PROGRAM; }

void CopyProgram(const std::string& program, const std::string& path)
{
    std::filesystem::copy_file(program, path);
    std::string launcher = ReadWholeFile(program);
    if (launcher.compare(0, 2, "#!") != 0) {
        return;
    }
    // The launcher of a program for another machine contains the path of that program in quotes.
    const std::size_t begin = launcher.find('\'') + 1;
    const std::size_t length = launcher.find('\'', begin) - begin;
    std::filesystem::copy_file(launcher.substr(begin, length), path + ".program");
    std::filesystem::permissions(path + ".program", std::filesystem::perms(0755));
    WriteWholeFile(path, launcher.replace(begin, length, path + ".program"));
}

SimulatedService::SimulatedService(std::string messagingDirectory)
    : directory(std::move(messagingDirectory)), program(ServiceProgram())
{
}

SimulatedService::~SimulatedService()
{
    if (process && !killed) {
        EndAndCheck();
    }
}

SimulatedService& SimulatedService::Program(const std::string& path)
{
    program = path;
    return *this;
}

SimulatedService& SimulatedService::Name(const std::string& newName)
{
    name = newName;
    return Option("--name").Option(newName);
}

SimulatedService& SimulatedService::Fault(const std::string& kind)
{
    return Option("--fault").Option(kind);
}

SimulatedService& SimulatedService::Play(const std::string& scenario)
{
    WriteWholeFile(files / "scenario", scenario);
    return Option("--play").Option(files / "scenario");
}

SimulatedService& SimulatedService::Accompany(const std::string& fileName,
                                              const std::string& content)
{
    WriteWholeFile(files / fileName, content);
    return *this;
}

SimulatedService& SimulatedService::Loop() { return Option("--loop"); }
SimulatedService& SimulatedService::Quiet() { return Option("--quiet"); }
SimulatedService& SimulatedService::Journal()
{
    return Option("--journal").Option(files / "journal");
}

SimulatedService& SimulatedService::Option(const std::string& option)
{
    options.push_back(option);
    return *this;
}

SimulatedService& SimulatedService::Start()
{
    std::vector<std::string> arguments{program};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ChildProcess::Options settings;
    settings.environment["LINX_DIR"] = directory;
    process = std::make_unique<ChildProcess>(arguments, settings);
    killed = false;
    process->WaitForOutput("ready\n");
    return *this;
}

void SimulatedService::Stop()
{
    EndAndCheck();
    process.reset();
}

void SimulatedService::EndAndCheck()
{
    try {
        process->Signal(SIGTERM);
        EXPECT_EQ(process->WaitForExit(), 0) << "the service's standard error:\n"
                                             << process->Errors();
    } catch (const std::exception& problem) {
        ADD_FAILURE() << problem.what();
    }
}

void SimulatedService::Kill()
{
    process->Signal(SIGKILL);
    process->WaitForExit();
    process.reset();
    killed = true;
}

std::string PlainJournal(const std::string& text)
{
    static const std::string ok = R"(,"result":"ok"})";
    std::string plain;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        std::string line = text.substr(start, end - start);
        line.erase(1, line.find("\"request\"") - 1);
        const std::size_t client = line.find(",\"client\":");
        line.erase(client, line.find(',', client + 1) - client);
        if (line.size() > ok.size() && line.find(ok) == line.size() - ok.size()) {
            line.replace(line.size() - ok.size(), ok.size(), "}");
        }
        plain += line + "\n";
    }
    return plain + text.substr(start);
}

std::vector<std::string> SimulatedService::JournalLines() const
{
    std::vector<std::string> lines;
    std::istringstream text(PlainJournal(ReadWholeFile(files / "journal")));
    for (std::string line; std::getline(text, line) && !text.eof();) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> SimulatedService::WaitForJournalLines(std::size_t count) const
{
    WaitUntil([&] { return JournalLines().size() >= count; },
              [&] {
                  return std::to_string(count) + " lines in the journal:\n" +
                         ReadWholeFile(files / "journal");
              });
    return JournalLines();
}

std::string SimulatedService::SocketPath() const { return directory + "/" + name; }

ChildProcess& SimulatedService::Process()
{
    if (!process) {
        throw std::logic_error("the service was not started");
    }
    return *process;
}
