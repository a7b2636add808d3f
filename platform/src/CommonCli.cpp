#include <CommonCli.h>

#include "platform/src/big_endian.h"
#include "platform/src/confirmed_request.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <limits>

using namespace platform;

namespace {

constexpr int timeoutMs = 2000;
constexpr int configured = 1;
constexpr int mistaken = 2;
constexpr int acted = 3;

int GetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int& level)
{
    IpcMessage request;
    IpcMessage reply;
    int error = request.Allocate(messages::getLogLevel, 0, nullptr);
    if (error == 0) {
        error = ConfirmedRequest(ipc, server, request, messages::getLogLevel, timeoutMs, &reply);
    }
    if (error == 0) {
        level = GetU32(reply.Payload() + 4);
    }
    return error;
}

/// \return whether \p text is a decimal number of 32 bits and nothing else
bool ReadLevel(const std::string& text, unsigned int& level)
{
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || value > std::numeric_limits<unsigned int>::max()) {
        return false;
    }
    level = static_cast<unsigned int>(value);
    return true;
}

}  // namespace

CommonCli::~CommonCli() = default;

int CommonCli::PostInit() { return configured; }

int CommonCli::SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int level)
{
    IpcMessage request;
    int error = request.Allocate(messages::setLogLevel, 4, nullptr);
    if (error == 0) {
        PutU32(request.Payload(), level);
        error = ConfirmedRequest(ipc, server, request, messages::setLogLevel, timeoutMs);
    }
    if (error != 0) {
        std::cerr << "Error setting the log level of " << server << ": " << WhyRequestFailed(error)
                  << std::endl;
        return 0;
    }
    return 1;
}

int CommonCli::HandleLogLevel(LinxIpc& ipc, const std::string& server)
{
    unsigned int level = 0;
    const int error = GetLogLevel(ipc, server, level);
    if (error != 0) {
        std::cerr << "Error getting the log level of " << server << ": " << WhyRequestFailed(error)
                  << std::endl;
        return mistaken;
    }
    std::cout << "Log level of " << server << " is " << level << std::endl
              << "New log level (a sum of bits, 2 for errors, 8 for notes): " << std::flush;
    std::string answer;
    std::cin >> answer;
    if (!ReadLevel(answer, level)) {
        std::cerr << "Error setting the log level of " << server
                  << ": not a number from 0 to 4294967295: " << answer << std::endl;
        return mistaken;
    }
    return SetLogLevel(ipc, server, level) == 1 ? acted : mistaken;
}

int CommonCli::Go(char** argv, int argc, const std::string& shortOptions,
                  struct option* longOptions)
{
    PreInit();
    int result = configured;
    bool hasOption = false;
    optind = 0;  // from the start, also when this is not the first command line of the process
    int option = 0;
    while (result != mistaken &&
           (option = getopt_long(argc, argv, shortOptions.c_str(), longOptions, nullptr)) != -1) {
        hasOption = true;
        result = ProcessOption(option, optarg);
    }
    if (result != mistaken && (!hasOption || optind < argc)) {
        Usage();
        result = mistaken;
    }
    RunIt();
    PostInit();
    return result == mistaken ? mistaken : configured;
}
