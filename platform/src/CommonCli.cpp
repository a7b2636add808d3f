#include <CommonCli.h>

#include "platform/src/big_endian.h"
#include "platform/src/confirmed_request.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>

#include <charconv>
#include <iostream>
#include <system_error>

using namespace platform;

namespace {

constexpr int timeoutMs = 2000;
constexpr int configured = 1;
constexpr int mistaken = 2;
constexpr int acted = 3;

void ReportFailure(const char* action, const std::string& server, const char* why,
                   const std::string& detail = {})
{
    std::cerr << "Error " << action << " the log level of " << server << ": " << why << detail
              << std::endl;
}

}  // namespace

CommonCli::~CommonCli() = default;

int CommonCli::PostInit() { return configured; }

int CommonCli::SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int level)
{
    IpcMessage message;
    const int error =
        ConfirmedRequest(ipc, server, message, messages::setLogLevel, {level}, timeoutMs);
    if (error != 0) {
        ReportFailure("setting", server, WhyRequestFailed(error));
    }
    return error == 0 ? 1 : 0;
}

int CommonCli::HandleLogLevel(LinxIpc& ipc, const std::string& server)
{
    IpcMessage message;
    const int error = ConfirmedRequest(ipc, server, message, messages::getLogLevel, {}, timeoutMs);
    if (error != 0) {
        ReportFailure("getting", server, WhyRequestFailed(error));
        return mistaken;
    }
    std::cout << "Log level of " << server << " is " << GetU32(message.Payload() + 4) << std::endl
              << "New log level (a sum of bits, 2 for errors, 8 for notes): " << std::flush;
    std::string answer;
    std::cin >> answer;
    unsigned int level = 0;
    const char* const end = answer.data() + answer.size();
    const std::from_chars_result read = std::from_chars(answer.data(), end, level);
    if (read.ec != std::errc() || read.ptr != end) {
        ReportFailure("setting", server, "not a number from 0 to 4294967295: ", answer);
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
    optind = 0;  // a process may handle several command lines
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
